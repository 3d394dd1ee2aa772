#include <string.h>
#include <syslog.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>

#include <vexobase/bus_address.h>
#include <vexobase/log.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vexonetwork/dbus/net_server.h>
#include <vexonetwork/network/module/module_manager.h>

#include "device_list_watch.h"
#include "end_watch.h"
#include "event_thread.h"
#include "leftovers.h"
#include "options.h"
#include "pid_file.h"
#include "supervision.h"

namespace vexonetd {
namespace {

using vexonetwork::dbus::NetServer;
using vexonetwork::network::module::MODULE_TYPE;
using vexonetwork::network::module::ModuleManager;

constexpr int kEnded = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

/// Says why the daemon ends, in the log and to who started it.
int EndWith(const Options& options, const std::string& why) {
    VEXO_LOG(LOG_ERR, "%s", why.c_str());
    if (!options.foreground) {  // else the log is on stderr already
        std::fprintf(stderr, "vexonetd: %s\n", why.c_str());
    }
    return kFailed;
}

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

int Serve(const Options& options, int signals, EndWatch& endWatch) {
    const Modules modules;
    NetServer server;
    const EventThread events;
    const DeviceListWatch deviceListWatch;
    const Supervision supervision(signals, server);
    const int result = server.StartLoop();
    endWatch.Begin();
    deviceListWatch.Check();
    if (result != 0) {
        return EndWith(options, WhyNotServing(supervision.WasReady()));
    }
    return kEnded;
}

int Run(const Options& options) {
    const PidFile pidFile;
    if (!pidFile) {
        return EndWith(options, WhyNotOurs());
    }
    const vexobase::UniqueFd signals = TakeSignals();
    if (!signals) {
        return EndWith(options, std::string("cannot take signals: ") + ::strerror(errno));
    }
    RemoveLeftovers();
    EndWatch endWatch(signals.Get());
    return Serve(options, signals.Get(), endWatch);
}

}  // namespace
}  // namespace vexonetd

int main(int argc, char* argv[]) {
    using namespace vexonetd;
    Options options;
    switch (ReadOptions(argc, argv, options)) {
        case Action::kDone:
            return kEnded;
        case Action::kWrongUsage:
            return kWrongUsage;
        case Action::kServe:
            break;
    }
    ::openlog("vexonetd", LOG_PID | (options.foreground ? LOG_PERROR : 0), LOG_DAEMON);
    try {
        return Run(options);
    } catch (const std::exception& error) {
        return EndWith(options, error.what());
    }
}
