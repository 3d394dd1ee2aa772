#include "commands/router6_session.h"

#include <syslog.h>
#include <unistd.h>

#include <vexonetwork/ipv6/router/router6_lans.h>
#include <vlib/file.h>

#include "failure.h"

namespace vexonetctl {

using vexo::network::ipv6::router::Router6Attr;

Router6Session::Router6Session() {
    if (::geteuid() != 0) {
        throw Failure(kRefused, "only root may change routers and prefixes");
    }
    ::setlogmask(LOG_UPTO(LOG_NOTICE));
    ::openlog("vexonetctl", LOG_PERROR, LOG_DAEMON);
    if (!lock.emplace("/run/vexo/router6_command.lock")) {
        throw Failure(kRefused, "another command changes routers since 30 seconds; try again");
    }
    sigset_t delayed;
    ::sigemptyset(&delayed);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        ::sigaddset(&delayed, signal);
    }
    ::sigprocmask(SIG_BLOCK, &delayed, &formerSignals);
}

Router6Session::~Router6Session() {
    lock.reset();
    ::sigprocmask(SIG_SETMASK, &formerSignals, nullptr);
}

void Router6Session::ApplyToLans() const {
    if (vexo::network::ipv6::router::ApplyRouter6Lans() != 0) {
        throw Failure(kRefused,
                      "it is stored, but not everything could be done on the LANs; when that is"
                      " mended: vexonetctl router6 restore");
    }
}

std::optional<Router6Attr> ConfiguredRouter(const std::string& wan) {
    Router6Attr attr;
    attr.wan = wan;
    const std::string file = attr.GetConfigName();
    if (::VLIBCFileExist(file.c_str()) != 1) {
        return std::nullopt;
    }
    if (attr.LoadConfig() != 0) {
        throw Failure(kRefused, file + " is no whole configuration of a router; mend it, or"
                                       " remove it and: vexonetctl router6 restore");
    }
    return attr;
}

std::string DelegationFile(const std::string& wan) {
    return "/run/vexo/router6/" + Router6Attr::ConvertInterface(wan) + ".delegated";
}

}  // namespace vexonetctl
