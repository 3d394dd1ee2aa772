#include <cstddef>
#include <cstring>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include <vexobase/log.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/utils/json_reader.h>

#include "dbus/net_handlers.h"

// Generated; it needs the handlers to be declared.
#include "net_glue.h"

using namespace vexonetwork::network::module;

namespace {

/// How one bus method becomes a request to a module, and what is said when that fails.
struct BusMethod {
    MODULE_TYPE module;
    const char* name;             ///< the request's "method"
    const char* failure;          ///< what the log says when the module fails
    const char* error = nullptr;  ///< what the caller is told then, when it is another text
    /// Member that takes the argument; null when the argument is the request's own JSON text.
    const char* key = nullptr;
    const char* parseFailure = "Failed to parse info";
    bool nullArgumentAllowed = false;  ///< it then counts as text that is no JSON
};

/// Requests are far shorter. Parsed, JSON text takes up to fifty times its length.
constexpr std::size_t kMaxArgument = 256 << 10;

/// The appliance's bus cuts off whoever sends a longer message.
constexpr std::size_t kMaxReply = 16 << 20;

gboolean Fail(GError** error, const char* domain, const char* message) {
    g_set_error_literal(error, g_quark_from_static_string(domain), 1, message);
    return FALSE;
}

bool BuildRequest(const BusMethod& method, const char* argument, Json::Value& request) {
    if (method.key != nullptr) {
        request[method.key] = argument;
    } else if (argument == nullptr || !vexonetwork::utils::ParseJson(argument, request)) {
        return false;
    }
    // NetClient sends a Json::Value without members as null.
    if (!request.isObject() && !request.isNull()) {
        return false;
    }
    request["method"] = method.name;
    return true;
}

/// toStyledString's text; that function would make a writer for each reply.
std::string StyledText(const Json::Value& value) {
    thread_local const std::unique_ptr<Json::StreamWriter> writer(
        Json::StreamWriterBuilder().newStreamWriter());
    std::ostringstream text;
    if (value.hasComment(Json::commentBefore)) {
        text << '\n';
    }
    writer->write(value, &text);
    text << '\n';
    return std::move(text).str();
}

/// Strings come out of the renderer as ASCII, comments that a module read with its data do not;
/// the bus library ends the process when it is given anything that is not UTF-8.
/// @return null when the reply is too long for the bus
char* RenderReply(const Json::Value& response) {
    const std::string text = StyledText(response);
    if (text.size() > kMaxReply) {
        VEXO_LOG(LOG_ERR, "Reply of [%zu] bytes is too long for the bus", text.size());
        return nullptr;
    }
    return g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
}

gboolean FailModule(const BusMethod& method, GError** error) {
    return Fail(error, "error", method.error != nullptr ? method.error : method.failure);
}

gboolean Dispatch(const BusMethod& method, const char* argument, char** reply, GError** error) {
    if (argument != nullptr && ::strnlen(argument, kMaxArgument + 1) > kMaxArgument) {
        VEXO_LOG(LOG_ERR, "Argument of [%s] is too long", method.name);
        return FailModule(method, error);
    }
    Json::Value request;
    if (!BuildRequest(method, argument, request)) {
        VEXO_LOG(LOG_ERR, "%s", method.parseFailure);
        return FALSE;
    }
    Json::Value response;
    if (ModuleManager::GetInstance().ProcessRequest(method.module, request, response) != 0) {
        VEXO_LOG(LOG_ERR, "%s", method.failure);
        return FailModule(method, error);
    }
    if (reply == nullptr) {
        return TRUE;
    }
    *reply = RenderReply(response);
    return *reply != nullptr ? TRUE : FailModule(method, error);
}

/// The callers are C: nothing may be thrown past this.
gboolean Serve(const BusMethod& method, GObject* object, const char* argument, char** reply,
               GError** error) noexcept {
    if (object == nullptr || (!method.nullArgumentAllowed && argument == nullptr)) {
        VEXO_LOG(LOG_ERR, "Bad parameter");
        return Fail(error, "badparameter", "Bad parameter");
    }
    try {
        return Dispatch(method, argument, reply, error);
    } catch (const std::exception& exception) {
        VEXO_LOG(LOG_ERR, "%s: %s", method.failure, exception.what());
        return FailModule(method, error);
    }
}

}  // namespace

gboolean net_get_device_list_data(GObject* object, const char* type, char** data, GError** error) {
    static constexpr BusMethod method{.module = MODULE_DEVICE_LIST,
                                      .name = "get",
                                      .failure = "failed to get upnp data",
                                      .key = "scannertype"};
    return Serve(method, object, type, data, error);
}

gboolean net_set_device_list_data(GObject* object, const char* data, GError** error) {
    static constexpr BusMethod method{.module = MODULE_DEVICE_LIST,
                                      .name = "set",
                                      .failure = "failed to set device type",
                                      .parseFailure = "Failed to parse device data",
                                      .nullArgumentAllowed = true};
    return Serve(method, object, data, nullptr, error);
}

gboolean net_del_device_list_data(GObject* object, const char* mac, GError** error) {
    static constexpr BusMethod method{.module = MODULE_DEVICE_LIST,
                                      .name = "del",
                                      .failure = "failed to delete data",
                                      // Callers match on this text, so it stays as it is.
                                      .error = "failed to set delete data",
                                      .key = "macAddr"};
    return Serve(method, object, mac, nullptr, error);
}

gboolean net_get_gateway_list_data(GObject* object, const char* info, char** data, GError** error) {
    static constexpr BusMethod method{.module = MODULE_ROUTE,
                                      .name = "GET_GATEWAY_LIST_DATA",
                                      .failure = "failed to get gateway list data"};
    return Serve(method, object, info, data, error);
}

gboolean net_add_gateway_data(GObject* object, const char* info, GError** error) {
    static constexpr BusMethod method{.module = MODULE_ROUTE,
                                      .name = "ADD_GATEWAY_DATA",
                                      .failure = "failed to add gateway data"};
    return Serve(method, object, info, nullptr, error);
}

gboolean net_del_gateway_data(GObject* object, const char* info, GError** error) {
    static constexpr BusMethod method{.module = MODULE_ROUTE,
                                      .name = "DEL_GATEWAY_DATA",
                                      .failure = "failed to del gateway data"};
    return Serve(method, object, info, nullptr, error);
}

gboolean net_get_gateway_data_by_interface(GObject* object, const char* info, char** data,
                                           GError** error) {
    static constexpr BusMethod method{.module = MODULE_ROUTE,
                                      .name = "GET_GATEWAY_DATA_BY_INTERFACE",
                                      .failure = "failed to get gateway data by interface"};
    return Serve(method, object, info, data, error);
}

gboolean net_set_slave_data(GObject* object, const char* info, GError** error) {
    static constexpr BusMethod method{
        .module = MODULE_ROUTE, .name = "SET_SLAVE_DATA", .failure = "failed to set slave data"};
    return Serve(method, object, info, nullptr, error);
}

gboolean net_copy_gateway_data(GObject* object, const char* info, GError** error) {
    static constexpr BusMethod method{.module = MODULE_ROUTE,
                                      .name = "COPY_GATEWAY_DATA",
                                      .failure = "failed to copy gateway data"};
    return Serve(method, object, info, nullptr, error);
}

gboolean net_refresh_gateway(GObject* object, const char* type, GError** error) {
    static constexpr BusMethod method{
        .module = MODULE_ROUTE, .name = "REFRESH_GATEWAY", .failure = "failed to refresh gateway"};
    return Serve(method, object, type, nullptr, error);
}

gboolean net_reset_ipv6_module(GObject* object, const char* info, GError** error) {
    static constexpr BusMethod method{.module = MODULE_IPV6,
                                      .name = "RESET_IPV6_MODULE",
                                      .failure = "failed to reset ipv6 module",
                                      .key = "ifname"};
    return Serve(method, object, info, nullptr, error);
}

namespace vexonetwork::dbus {

NetServer::NetServer() : DBusServer(kBusName, kObjectPath, kBusType) {
    object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    Initialize(G_OBJECT_TYPE(object), &dbus_glib_net_object_info, object);
}

NetServer::~NetServer() {
    if (object != nullptr) {
        g_object_unref(object);
    }
}

}  // namespace vexonetwork::dbus
