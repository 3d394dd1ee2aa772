#include "vexonetsdk/dbus_server.h"

#include <dbus/dbus-glib-lowlevel.h>
#include <dbus/dbus.h>

#include <atomic>
#include <utility>

#include <vexobase/log.h>

#include "vexonetsdk/bus_connection.h"

namespace vexonetsdk::dbus {

struct DBusServer::State {
    State(const std::string& name, const std::string& objectPath, int type)
        : busName(name), path(objectPath), busType(type) {}
    ~State() { Disconnect(); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    bool Connect();
    void Disconnect();
    void Export(GType type, const DBusGObjectInfo* info, GObject* toExport);
    bool TakeName();

    DBusGConnection* ForGlib() const { return dbus_connection_get_g_connection(connection); }

    const std::string busName;
    const std::string path;
    const int busType;
    DBusConnection* connection = nullptr;
    gpointer object = nullptr;  // a weak pointer: its owner may let it go before us
    bool lost = false;
    std::atomic<bool> quit = false;
};

namespace {

/// While more than this of requests is waiting here, the rest waits at the bus, which bounds it.
constexpr long kMaxWaitingBytes = 1 << 20;

DBusHandlerResult NoticeLoss(DBusConnection* /*connection*/, DBusMessage* message, void* lost) {
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
        *static_cast<bool*>(lost) = true;
    }
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

}  // namespace

bool DBusServer::State::Connect() {
    BusError error;
    connection = OpenBus(busType, error);
    if (connection == nullptr) {
        VEXO_LOG(LOG_ERR, "Failed to connect to the message bus: %s", error.Text().c_str());
        return false;
    }
    dbus_connection_set_max_received_size(connection, kMaxWaitingBytes);
    dbus_connection_setup_with_g_main(connection, nullptr);
    return dbus_connection_add_filter(connection, NoticeLoss, &lost, nullptr);
}

void DBusServer::State::Disconnect() {
    if (connection == nullptr) {
        return;
    }
    if (object != nullptr) {
        dbus_g_connection_unregister_g_object(ForGlib(), G_OBJECT(object));
        g_object_remove_weak_pointer(G_OBJECT(object), &object);
        object = nullptr;
    }
    dbus_connection_remove_filter(connection, NoticeLoss, &lost);
    CloseBus(std::exchange(connection, nullptr));
}

void DBusServer::State::Export(GType type, const DBusGObjectInfo* info, GObject* toExport) {
    dbus_g_object_type_install_info(type, info);
    dbus_g_connection_register_g_object(ForGlib(), path.c_str(), toExport);
    object = toExport;
    g_object_add_weak_pointer(toExport, &object);
}

bool DBusServer::State::TakeName() {
    BusError error;
    const int result = dbus_bus_request_name(connection, busName.c_str(),
                                             DBUS_NAME_FLAG_DO_NOT_QUEUE, error.Get());
    if (result == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER) {
        return true;
    }
    VEXO_LOG(LOG_ERR, "Failed to take the bus name [%s]: %s", busName.c_str(),
             error.IsSet() ? error.Text().c_str() : "it has an owner");
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
    // A QuitLoop from before the loop began ends it too.
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
