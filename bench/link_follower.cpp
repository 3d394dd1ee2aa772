// The raw limit of following a cable: reads the messages on the links of some uplinks and moves
// the default route to the first that runs, which is then the first, by the least that does it.
//
//   vexobench-follower {IFNAME GATEWAY SOURCE}...

#include <net/if.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-daemon.h>

#include <algorithm>
#include <vector>

#include "kernel_watch.h"

namespace {

struct Uplink {
    char* ifname;
    char* gateway;
    char* source;
    unsigned index;
    bool running;
};

void AddDefaultRoute(const Uplink& uplink) {
    static char ip[] = "/sbin/ip", route[] = "route", add[] = "add", all[] = "default",
                via[] = "via", dev[] = "dev", src[] = "src";
    char* const arguments[] = {ip,  route,         add, all,           via,    uplink.gateway,
                               dev, uplink.ifname, src, uplink.source, nullptr};
    char* const none[] = {nullptr};
    pid_t pid = -1;
    if (::posix_spawn(&pid, ip, nullptr, nullptr, arguments, none) == 0) {
        ::waitpid(pid, nullptr, 0);
    }
}

void Elect(std::vector<Uplink>& uplinks, vexobench::KernelSocket& requests) {
    const auto winner = std::ranges::find(uplinks, true, &Uplink::running);
    if (winner != uplinks.end()) {
        vexobench::RemoveDefaultRoute(requests);
        AddDefaultRoute(*winner);
        std::rotate(uplinks.begin(), winner, winner + 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Uplink> uplinks;
    for (int i = 1; i + 2 < argc; i += 3) {
        uplinks.push_back({argv[i], argv[i + 1], argv[i + 2], ::if_nametoindex(argv[i]), true});
    }
    // First, so that its port is the pid, by which the bench finds its queue.
    vexobench::KernelWatch watch;
    vexobench::KernelSocket requests = vexobench::OpenKernelSocket();
    Elect(uplinks, requests);
    sd_notify(0, "READY=1");
    watch.WaitForLink([&](unsigned index, bool running) {
        const auto uplink = std::ranges::find(uplinks, index, &Uplink::index);
        if (uplink != uplinks.end() && uplink->running != running) {
            uplink->running = running;
            Elect(uplinks, requests);
        }
        return false;
    });
}
