#include <string.h>
#include <vexoservice/program.h>
#include <vexoservice/signals.h>

#include <cerrno>
#include <string>

#include <vexo/hook_limits.h>
#include <vexobase/bus_address.h>
#include <vexobase/log.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/ipv6/router/router6_watch.h>
#include <vexonetwork/network/gateway_follower.h>
#include <vexonetwork/network/module/module_manager.h>

#include "end_watch.h"
#include "event_thread.h"
#include "leftovers.h"
#include "pid_file.h"
#include "supervision.h"

namespace vexonetd {
namespace {

using vexo::network::ipv6::router::Router6Watch;
using vexonetwork::dbus::NetServer;
using vexonetwork::network::module::GatewayFollower;
using vexonetwork::network::module::MODULE_ROUTE;
using vexonetwork::network::module::MODULE_TYPE;
using vexonetwork::network::module::ModuleManager;

constexpr vexoservice::Program kProgram = {
    .name = "vexonetd",
    .purpose =
        "The network-management daemon. It stays in the foreground of its supervisor, logs to the\n"
        "system log and ends on SIGTERM.\n",
    .example =
        "on a message bus of its own for a trial:\n"
        "  dbus-run-session vexonetd --foreground\n",
};

/// All hooks of one request together; the bus and whoever asked wait for them.
constexpr int kRequestHookMilliseconds = 30'000;

std::string WhyNotOurs() {
    if (const int holder = PidFile::Holder(); holder != 0) {
        return "already running as pid " + std::to_string(holder);
    }
    return "cannot take /var/run/vexonetd.pid; is this root, or is another daemon just starting?";
}

std::string WhyNotServing(bool wasReady) {
    const std::string bus = "the bus " + vexobase::BusAddress();
    return wasReady ? bus + " went away"
                    : "cannot own the name " + std::string(vexonetwork::dbus::kBusName) + " on "
                          + bus
                          + "; does that bus run, does DBUS_SESSION_BUS_ADDRESS name the right"
                            " one, and may this user own the name there?";
}

/// The modules of the manager, taken down in the end.
class Modules {
  public:
    Modules() {
        ModuleManager& manager = ModuleManager::GetInstance();
        if (VEXOHookRequestBegin != nullptr && VEXOHookRequestEnd != nullptr) {
            manager.FrameRequests(
                {[] { VEXOHookRequestBegin(kRequestHookMilliseconds); }, VEXOHookRequestEnd});
        }
        const bool initialised = manager.Initialize();
        const bool started = manager.Start();
        if (!initialised || !started) {
            VEXO_LOG(LOG_ERR, "A module failed; the others go on serving");
        }
    }
    ~Modules() {
        for (int type = 1;
             vexonetwork::network::module::BaseModule::IsValidModule(MODULE_TYPE(type)); ++type) {
            // Its result tells whether there was a module, not whether anything failed.
            ModuleManager::GetInstance().RemoveModule(MODULE_TYPE(type));
        }
    }
    Modules(const Modules&) = delete;
    Modules& operator=(const Modules&) = delete;
};

/// Begins the end of the process with its own, however that comes.
class EndBeginning {
  public:
    explicit EndBeginning(EndWatch& watch) : endWatch(watch) {}
    ~EndBeginning() { endWatch.Begin(); }
    EndBeginning(const EndBeginning&) = delete;
    EndBeginning& operator=(const EndBeginning&) = delete;

  private:
    EndWatch& endWatch;
};

/// Null for a route module that knows no typed calls, or none.
GatewayFollower* FindGateways() {
    return dynamic_cast<GatewayFollower*>(ModuleManager::GetInstance().GetModule(MODULE_ROUTE));
}

/// @return why the daemon ends; "" when it was asked to
std::string Serve(int signals, EndWatch& endWatch) {
    const Modules modules;
    const EndBeginning atLeastBeforeModulesEnd(endWatch);
    NetServer server;
    const EventThread events(FindGateways());
    const Router6Watch routers;
    const EndBeginning end(endWatch);
    const Supervision supervision(signals, server);
    return server.StartLoop() == 0 ? "" : WhyNotServing(supervision.WasReady());
}

/// The same.
std::string Run() {
    const PidFile pidFile;
    if (!pidFile) {
        return WhyNotOurs();
    }
    const vexobase::UniqueFd signals = vexoservice::TakeSignals();
    if (!signals) {
        return std::string("cannot take signals: ") + ::strerror(errno);
    }
    RemoveLeftovers();
    EndWatch endWatch(signals.Get());
    return Serve(signals.Get(), endWatch);
}

}  // namespace
}  // namespace vexonetd

int main(int argc, char* argv[]) {
    return vexoservice::RunService(vexonetd::kProgram, argc, argv, vexonetd::Run);
}
