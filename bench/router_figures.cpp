// How soon the default route follows an advertisement, and how many of them can be looked at.

#include <netinet/icmp6.h>
#include <sys/socket.h>

#include <array>
#include <memory>

#include <vexobase/unique_fd.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/network/module/route_module.h>
#include <vlib/exec.h>

#include "ratio.h"
#include "support/advertiser.h"
#include "support/appliance.h"

namespace vexobench {
namespace {

using vexonetwork::network::module::IPv6Module;
using vexonetwork::network::module::ModuleManager;
using vexonetwork::network::module::RouteModule;

constexpr std::size_t kPacketSize = 1500;
constexpr char kRouters[][8] = {"fe80::a", "fe80::b"};

/// An uplink with a sender of advertisements at its far end, the modules of the daemon, and the
/// raw limit's socket.
class World {
  public:
    World() {
        ModuleManager::GetInstance().AddModule(
            {vexonetwork::network::module::MODULE_ROUTE, true, RouteModule::Create});
        module.InitialModule();
        int fd = -1;
        module.open_icmpv6_socket(fd);
        socket.Reset(fd);
    }
    ~World() {
        ModuleManager::GetInstance().RemoveModule(vexonetwork::network::module::MODULE_ROUTE);
        vexotest::Must("ip link del " + uplink.ifname);
        vexotest::Must("ip netns del " + uplink.provider);
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void Advertise(const std::string& router) { advertiser.Send({.source = router}); }

    /// Waits for one advertisement and does what it means.
    void Handle() {
        sockaddr_in6 from{};
        in6_pktinfo* info = nullptr;
        const int length = module.recv_rs_ra(packet.data(), &from, &info);
        module.HandlePacket(packet.data(), length, from.sin6_addr, 255, uplink.ifname);
    }
    void Forget() {
        Json::Value request;
        request["method"] = "RESET_IPV6_MODULE";
        request["ifname"] = uplink.ifname;
        Json::Value reply;
        module.ProcessRequest(request, reply);
    }

    bool ReceiveBare(int flags = 0) {
        return ::recv(socket.Get(), packet.data(), packet.size(), flags) > 0;
    }

    /// Whatever both sockets still hold goes.
    void Drain() {
        while (ReceiveBare(MSG_DONTWAIT)) {
        }
        module.TerminateModule();
        module.InitialModule();
    }

    const vexotest::Uplink& Link() const { return uplink; }

  private:
    vexotest::Uplink uplink = vexotest::MakeUplink(7);
    vexotest::Advertiser advertiser{uplink.provider, "far"};
    IPv6Module module;
    vexobase::UniqueFd socket;
    std::array<unsigned char, kPacketSize> packet{};
};

void Ip6Route(const char* command, const std::string& router, const std::string& ifname) {
    VLIBCExecl(VLIB_EXEC_QUIET, "/sbin/ip", "-6", "route", command, "default", "via",
               router.c_str(), "dev", ifname.c_str(), nullptr);
}

Measurement NewRoute() {
    World world;
    int turn = 0;
    const auto router = [&] { return kRouters[turn % 2]; };
    const auto ours = [&] { world.Handle(); };
    const auto bare = [&] {
        world.ReceiveBare();
        Ip6Route("delete", kRouters[(turn + 1) % 2], world.Link().ifname);
        Ip6Route("add", router(), world.Link().ifname);
    };
    const auto prepare = [&] {
        ++turn;
        world.Drain();
        world.Forget();
        // Both begin with a default route by the other router.
        vexotest::Must("ip -6 route replace default via " + std::string(kRouters[(turn + 1) % 2])
                       + " dev " + world.Link().ifname);
        world.Advertise(router());
    };
    return Alternate(50, ours, bare, prepare);
}

Measurement Throughput() {
    constexpr int kBurst = 100;
    World world;
    world.Advertise(kRouters[0]);
    world.Handle();
    const auto prepare = [&] {
        world.Drain();
        for (int i = 0; i < kBurst; ++i) {
            world.Advertise(kRouters[0]);
        }
    };
    const auto ours = [&] {
        for (int i = 0; i < kBurst; ++i) {
            world.Handle();
        }
    };
    const auto bare = [&] {
        for (int i = 0; i < kBurst; ++i) {
            world.ReceiveBare();
        }
    };
    Measurement result = Alternate(200, ours, bare, prepare);
    result.ours /= kBurst;
    result.raw /= kBurst;
    return result;
}

}  // namespace

std::vector<Figure> RouterFigures() {
    return {{"default route follows an advertisement", "a bare loop that runs the same /sbin/ip",
             1.5, NewRoute},
            {"advertisement that says nothing new", "recv", 3, Throughput}};
}

}  // namespace vexobench
