#include "vexonetsdk/dbus_server.h"

#include <dbus/dbus-glib-lowlevel.h>
#include <dbus/dbus.h>

#include <atomic>

#include <vexobase/log.h>

namespace vexonetsdk::dbus {

struct DBusServer::State {
    State(const std::string& name, const std::string& objectPath, int type)
        : busName(name), path(objectPath), busType(static_cast<DBusBusType>(type)) {}
    ~State() { Disconnect(); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    bool Connect();
    void Disconnect();
    void Export(GType type, const DBusGObjectInfo* info, GObject* toExport);
    bool TakeName();

    DBusConnection* Raw() const { return dbus_g_connection_get_connection(connection); }

    const std::string busName;
    const std::string path;
    const DBusBusType busType;
    DBusGConnection* connection = nullptr;
    gpointer object = nullptr;  // a weak pointer: its owner may let it go before us
    bool lost = false;
    std::atomic<bool> quit = false;
};

namespace {

DBusHandlerResult NoticeLoss(DBusConnection* /*connection*/, DBusMessage* message, void* lost) {
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
        *static_cast<bool*>(lost) = true;
    }
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

}  // namespace

bool DBusServer::State::Connect() {
    dbus_threads_init_default();
    GError* error = nullptr;
    connection = dbus_g_bus_get_private(busType, nullptr, &error);
    if (connection == nullptr) {
        VEXO_LOG(LOG_ERR, "Failed to connect to the message bus: %s", error->message);
        g_error_free(error);
        return false;
    }
    // The end of the bus ends the loop, so that the modules are taken down, not the process.
    dbus_connection_set_exit_on_disconnect(Raw(), false);
    return dbus_connection_add_filter(Raw(), NoticeLoss, &lost, nullptr);
}

void DBusServer::State::Disconnect() {
    if (connection == nullptr) {
        return;
    }
    if (object != nullptr) {
        dbus_g_connection_unregister_g_object(connection, G_OBJECT(object));
        g_object_remove_weak_pointer(G_OBJECT(object), &object);
        object = nullptr;
    }
    dbus_connection_remove_filter(Raw(), NoticeLoss, &lost);
    dbus_connection_close(Raw());
    dbus_g_connection_unref(connection);
    connection = nullptr;
}

void DBusServer::State::Export(GType type, const DBusGObjectInfo* info, GObject* toExport) {
    dbus_g_object_type_install_info(type, info);
    dbus_g_connection_register_g_object(connection, path.c_str(), toExport);
    object = toExport;
    g_object_add_weak_pointer(toExport, &object);
}

bool DBusServer::State::TakeName() {
    DBusError error = DBUS_ERROR_INIT;
    const int result =
        dbus_bus_request_name(Raw(), busName.c_str(), DBUS_NAME_FLAG_DO_NOT_QUEUE, &error);
    if (result == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER) {
        return true;
    }
    VEXO_LOG(LOG_ERR, "Failed to take the bus name [%s]: %s", busName.c_str(),
             dbus_error_is_set(&error) ? error.message : "it has an owner");
    dbus_error_free(&error);
    return false;
}

DBusServer::DBusServer(const std::string& busName, const std::string& path, int busType)
    : state(std::make_unique<State>(busName, path, busType)) {}

DBusServer::~DBusServer() = default;

int DBusServer::Initialize(GType type, const DBusGObjectInfo* info, GObject* object) {
    if (state->connection != nullptr || info == nullptr || object == nullptr
        || !dbus_validate_bus_name(state->busName.c_str(), nullptr)
        || !dbus_validate_path(state->path.c_str(), nullptr)) {
        VEXO_LOG(LOG_ERR, "Bad parameter");
        return -1;
    }
    if (!state->Connect()) {
        state->Disconnect();
        return -1;
    }
    state->Export(type, info, object);
    if (!state->TakeName()) {
        state->Disconnect();
        return -1;
    }
    return 0;
}

int DBusServer::StartLoop() {
    if (state->connection == nullptr) {
        VEXO_LOG(LOG_ERR, "There is no connection to the message bus to serve");
        return -1;
    }
    while (!state->quit && !state->lost) {
        g_main_context_iteration(nullptr, true);
    }
    // Whoever quits before the loop has begun is heard, too.
    if (state->quit.exchange(false)) {
        return 0;
    }
    VEXO_LOG(LOG_ERR, "The message bus of [%s] went away", state->busName.c_str());
    return -1;
}

void DBusServer::QuitLoop() {
    state->quit = true;
    g_main_context_wakeup(nullptr);
}

}  // namespace vexonetsdk::dbus
