#include <spawn.h>
#include <sys/mman.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include <vexo/default_gateway.h>
#include <vexo/net_interface.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "dbus/net_handlers.h"
#include "fuzz.h"
#include "network/gateway/gateway_section.h"

// Each line of an input is the argument of a call of each of the bus's methods. Nothing is thrown
// on the way, what the caller is told fits what was asked, and the gateway lists can still be
// written.
//
// What would change the system that the fuzzer runs on is defined here in place of the libraries'
// own: files are written to memory and programs are not run.

namespace {

using namespace vexonetwork::network::module;

int exitStatus = 0;  ///< of each program that would have been run

/// In the place of the modules that would ask the network: answers with what it was asked.
class Echo : public BaseModule {
  public:
    using BaseModule::BaseModule;
    int HookEvents() const override { return 0; }
    int InitialModule() override { return 0; }
    int StartModule() override { return 0; }
    int TerminateModule() override { return 0; }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        out = in;
        return exitStatus;
    }
};

/// The gateway methods serve whatever has the form of a request, the others as their module does.
enum class Kind { kGateway, kDeviceJson, kPlainText };

struct Setter {
    gboolean (*handler)(GObject*, const char*, GError**);
    Kind kind;
};
constexpr Setter kSetters[] = {
    {net_add_gateway_data, Kind::kGateway},       {net_set_slave_data, Kind::kGateway},
    {net_copy_gateway_data, Kind::kGateway},      {net_refresh_gateway, Kind::kGateway},
    {net_del_gateway_data, Kind::kGateway},       {net_set_device_list_data, Kind::kDeviceJson},
    {net_del_device_list_data, Kind::kPlainText}, {net_reset_ipv6_module, Kind::kPlainText},
};

struct Getter {
    gboolean (*handler)(GObject*, const char*, char**, GError**);
    Kind kind;
};
constexpr Getter kGetters[] = {{net_get_gateway_list_data, Kind::kGateway},
                               {net_get_gateway_data_by_interface, Kind::kGateway},
                               {net_get_device_list_data, Kind::kPlainText}};

/// Text that is no JSON object or null fails without a reason, a module's failure with one.
void CheckOutcome(Kind kind, bool isRequest, gboolean done, GError* error) {
    if (kind != Kind::kPlainText && !isRequest) {
        Require(!done && error == nullptr);
    } else {
        Require(done == (kind == Kind::kGateway || exitStatus == 0));
        Require(done == (error == nullptr));
    }
    g_clear_error(&error);
}

void CheckReply(char* data) {
    Json::Value reply;
    Require(g_utf8_validate(data, -1, nullptr) && vexonetwork::utils::ParseJson(data, reply));
    g_free(data);
}

void Call(const char* argument) {
    static GObject* const object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    Json::Value parsed;
    const bool isRequest =
        vexonetwork::utils::ParseJson(argument, parsed) && (parsed.isObject() || parsed.isNull());
    for (const Setter& method : kSetters) {
        GError* error = nullptr;
        const gboolean done = method.handler(object, argument, &error);
        CheckOutcome(method.kind, isRequest, done, error);
    }
    for (const Getter& method : kGetters) {
        GError* error = nullptr;
        char* data = nullptr;
        const gboolean done = method.handler(object, argument, &data, &error);
        CheckOutcome(method.kind, isRequest, done, error);
        if (done) {
            CheckReply(data);
        }
    }
}

void WriteLists(RouteModule& module) {
    for (const GATEWAY_TYPE type : {GTYPE_V4, GTYPE_V6}) {
        Require(module.WriteGatewayListToFile(type) == 0);
        Require(module.WriteGatewayToDatabase(type, true, true) == 0);
    }
}

}  // namespace

int vexonetwork::network::module::LoadSections(utils::ConfigSection& /*file*/) {
    return 0;
}

extern "C" {

int mkdir(const char* /*path*/, mode_t /*mode*/) noexcept {
    return 0;
}

int mkostemp(char* /*path*/, int /*flags*/) {
    return ::memfd_create("request", MFD_CLOEXEC);
}

int rename(const char* /*from*/, const char* /*to*/) noexcept {
    return 0;
}

int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                char* const*, char* const*) {
    return EPERM;
}

int VLIBCExecl(int /*options*/, const char* /*path*/, ...) {
    return exitStatus;
}

int VLIBCFileExist(const char* /*path*/) {
    return 1;
}

int unlink(const char* /*path*/) noexcept {
    return 0;
}

int VEXONetDefaultGatewayGet(char* gateway, int /*size*/) {
    *gateway = '\0';
    return 0;
}

int VEXONetDefaultGatewaySet(const char* /*gateway*/) {
    return 0;
}

int VEXONetIFGetInfo(const char* /*ifname*/, VEXONETIFINFO* /*info*/, int /*options*/) {
    return 0;
}

void syslog(int /*priority*/, const char* format, ...) {
    // What is logged of something that was thrown.
    Require(std::strstr(format, "Failed to process request: ") == nullptr);
    Require(std::strcmp(format, "%s:%d %s: %s") != 0);
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    exitStatus = static_cast<int>(size % 2);
    ModuleManager& manager = ModuleManager::GetInstance();
    manager.AddModule({MODULE_IPV6, true, []() -> BaseModule* { return new Echo(MODULE_IPV6); }});
    manager.AddModule(
        {MODULE_DEVICE_LIST, true, []() -> BaseModule* { return new Echo(MODULE_DEVICE_LIST); }});
    manager.AddModule({MODULE_ROUTE, true, RouteModule::Create});
    auto& routes = static_cast<RouteModule&>(*manager.GetModule(MODULE_ROUTE));
    std::istringstream lines(std::string(reinterpret_cast<const char*>(bytes), size));
    for (std::string line; std::getline(lines, line);) {
        // The bus lets only UTF-8 through.
        char* argument = g_utf8_make_valid(line.data(), static_cast<gssize>(line.size()));
        Call(argument);
        WriteLists(routes);
        g_free(argument);
    }
    for (const MODULE_TYPE type : {MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST}) {
        manager.RemoveModule(type);
    }
    return 0;
}
}
