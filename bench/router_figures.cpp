// How soon the default route follows an advertisement, and how many of them can be looked at.

#include <fcntl.h>
#include <netinet/icmp6.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>

#include <vexobase/unique_fd.h>
#include <vexonetwork/dbus/net_client.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vexonetwork/ipv6/router/tunnel_6in4.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/network/module/route_module.h>
#include <vlib/exec.h>

#include "ratio.h"
#include "support/advertiser.h"
#include "support/appliance.h"

namespace vexobench {
namespace {

using vexo::network::ipv6::router::Router6Attr;
using vexo::network::ipv6::router::Router6Prefix;
using vexo::network::ipv6::router::Tunnel6in4;
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
        // The far end drops what it is given for up to a second after its link has come.
        vexotest::Eventually([this] {
            Advertise(kRouters[0]);
            return ReceiveBare(MSG_DONTWAIT);
        });
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

Measurement RouterFiles() {
    constexpr int kCount = 200;
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    constexpr char kFolder[] = "/etc/sysconfig/networking";
    std::filesystem::create_directories(kFolder);
    for (int i = 0; i < kCount; ++i) {
        const std::string n = std::to_string(i);
        Router6Attr attr("6in4", "wan" + n, "2001:db8:" + n + "::/48", "192.0.2.10", "192.0.2.1",
                         "2001:db8:f::2/64", false);
        attr.AddLan("eth1", "2001:db8:" + n + "::");
        attr.SaveConfig();
    }
    Router6Prefix prefixes;
    const auto ours = [&] { prefixes.Load(); };
    Json::Value question;
    question["type"] = "GTYPE_V6";
    const auto bare = [&] {
        std::array<char, 4096> text{};
        Json::Value answer;
        vexonetwork::dbus::NetClient().GetGatewayListData(question, answer);
        for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
            const vexobase::UniqueFd file(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
            while (::read(file.Get(), text.data(), text.size()) > 0) {
            }
        }
    };
    const Measurement result = Alternate(200, ours, bare);
    for (const Router6Attr& router : prefixes.routers) {
        router.RemoveConfig();
    }
    return result;
}

int Ip(const std::string& arguments) {
    std::vector<std::string> words = vexotest::Words(arguments);
    std::vector<const char*> vector;
    for (const std::string& word : words) {
        vector.push_back(word.c_str());
    }
    vector.push_back(nullptr);
    return VLIBCExec("/sbin/ip", vector.data());
}

Measurement TunnelUpAndDown() {
    const vexotest::Uplink uplink = vexotest::MakeUplink(1);
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    vexotest::Must("mkdir -p /etc/sysconfig/networking /etc/sysconfig/network-scripts");
    const Tunnel6in4 tunnel(
        {"6in4", uplink.ifname, "", uplink.address, uplink.gateway, "2001:db8:f::2/64", true});
    const auto ours = [&] {
        tunnel.Create();
        tunnel.Destroy();
    };
    const auto bare = [&] {
        Ip("tunnel add bare mode sit remote " + uplink.gateway + " local " + uplink.address
           + " ttl 255");
        Ip("link set bare up");
        Ip("-6 address add 2001:db8:f::2/64 dev bare");
        Ip("-6 route add default dev bare");
        Ip("tunnel del bare");
    };
    return Alternate(20, ours, bare);
}

/// Tunnels are a module that the kernel of this machine may not have; that of the vm box does.
bool HasTunnels() {
    const bool has = Ip("tunnel add probe mode sit remote 192.0.2.1") == 0;
    Ip("tunnel del probe");
    return has;
}

}  // namespace

std::vector<Figure> RouterFigures() {
    std::vector<Figure> figures = {
        {"default route follows an advertisement", "a bare loop that runs the same /sbin/ip", 1.5,
         NewRoute},
        {"advertisement that says nothing new", "recv", 3, Throughput},
        {"200 IPv6 routers loaded", "open, read, close of each file, one question to the daemon", 2,
         RouterFiles}};
    if (HasTunnels()) {
        figures.push_back({"IPv6 tunnel made and taken away",
                           "a bare loop that runs the same /sbin/ip", 1.3, TunnelUpAndDown});
    }
    return figures;
}

}  // namespace vexobench
