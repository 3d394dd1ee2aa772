#include <linux/rtnetlink.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>
#include <thread>

#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexobase/unique_fd.h>
#include <vexonetlink/socket.h>
#include <vexonetwork/ipv6/router/router6_watch.h>

#include "ipv6/lan/lan_filter.h"
#include "ipv6/lan/outside.h"
#include "nftables/ruleset_events.h"

namespace vexo::network::ipv6::router {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPause(200);
constexpr milliseconds kBetweenLooks(1000);
constexpr char kChanged[] = "/run/vexo/router6/changed";

// Of a routing table with a million networks one route in that leads to all of them is told.
constexpr unsigned kDstLen = NLMSG_HDRLEN + offsetof(rtmsg, rtm_dst_len);
constexpr std::array<sock_filter, 4> kDefaultRoutes{
    {BPF_STMT(BPF_LD | BPF_B | BPF_ABS, kDstLen), BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, 3, 0, 1),
     BPF_STMT(BPF_RET | BPF_K, 0), BPF_STMT(BPF_RET | BPF_K, ~0U)}};

bool HasRouters() {
    std::error_code error;
    for (std::filesystem::directory_iterator each("/etc/sysconfig/networking", error), end;
         !error && each != end; each.increment(error)) {
        if (each->path().filename().string().starts_with("ipv6-")) {
            return true;
        }
    }
    return false;
}

void Wake() {
    if (HasRouters() && vexobase::ReplaceFile(kChanged, "", vexobase::FolderSync::kLater) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to write %s: %s", kChanged, std::strerror(errno));
    }
}

}  // namespace

class Router6Watch::Work {
  public:
    Work()
        : routes(
            vexonetlink::Socket::Open({.groups = RTMGRP_IPV6_ROUTE, .filter = kDefaultRoutes})),
          rulesets(vexonetwork::nftables::ListenToRulesets()),
          end(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!routes || !end) {
            throw std::system_error(errno, std::generic_category());
        }
        thread = std::thread([this] { Follow(); });
        ::pthread_setname_np(thread.native_handle(), "router6-watch");
    }
    ~Work() {
        ::eventfd_write(end.Get(), 1);
        thread.join();
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

  private:
    void Follow() {
        wasReached = IsOutsideReached();
        auto looked = steady_clock::now() - kBetweenLooks;
        while (Await(true, std::nullopt)) {
            // What follows in a burst is seen by the same look.
            const auto due = std::max(steady_clock::now() + kPause, looked + kBetweenLooks);
            if (!Await(false, due)) {
                return;
            }
            routes->Drain();
            vexonetwork::nftables::DrainRulesets(rulesets);
            looked = steady_clock::now();
            Look();
        }
    }

    /// @return false when the watch ends
    bool Await(bool listens, std::optional<steady_clock::time_point> until) const {
        std::array<pollfd, 3> events{{{end.Get(), POLLIN, 0},
                                      {listens ? routes->Descriptor() : -1, POLLIN, 0},
                                      {listens ? rulesets.Get() : -1, POLLIN, 0}}};
        for (;;) {
            using std::chrono::ceil;
            const auto left =
                until ? std::max(ceil<milliseconds>(*until - steady_clock::now()), milliseconds(0))
                      : milliseconds(-1);
            if (::poll(events.data(), events.size(), int(left.count())) >= 0 || errno != EINTR) {
                return events[0].revents == 0;
            }
        }
    }

    void Look() {
        const bool isReached = IsOutsideReached();
        if (isReached != wasReached || !IsLanFilterWhole()) {
            Wake();
        }
        wasReached = isReached;
    }

    std::optional<vexonetlink::Socket> routes;
    vexobase::UniqueFd rulesets;
    vexobase::UniqueFd end;
    bool wasReached = false;
    std::thread thread;
};

Router6Watch::Router6Watch() {
    try {
        work = std::make_unique<Work>();
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Failed to watch over IPv6 routers: %s", error.what());
    }
}

Router6Watch::~Router6Watch() = default;

}  // namespace vexo::network::ipv6::router
