#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include <vexonetwork/network/keloscanner.h>
#include <vexonetwork/network/upnpscanner.h>

#include "support/appliance.h"
#include "support/event_queue.h"
#include "support/syslog_spy.h"

// The scanner on bridges whose ports lead to network namespaces: real devices, and a stranger who
// says and serves what he likes.

namespace vexotest {
namespace {

using vexobase::UniqueFd;
using vexonetwork::network::KeloScanner;
using vexonetwork::network::UpnpScanner;

/// A bridge with a second network 192.0.N.1/24, a port of it in the namespace of this name.
void MakeBridge(const std::string& ifname, int network, const std::string& space) {
    const std::string prefix = "192.0." + std::to_string(network) + ".";
    Must("ip link add " + ifname + " type bridge");
    Must("ip address add 10.0." + std::to_string(network) + ".1/24 dev " + ifname);
    Must("ip address add " + prefix + "1/24 dev " + ifname + " label " + ifname + ":1");
    Must("ip link set " + ifname + " up");
    Must("ip netns add " + space);
    Must("ip link add " + space + " master " + ifname + " type veth peer name eth0 netns " + space);
    Must("ip link set " + space + " up");
    // A tentative link-local address would keep the device from starting.
    Must("ip netns exec " + space + " sysctl -q net.ipv6.conf.all.disable_ipv6=1");
    Must("ip -n " + space + " link set lo up");
    Must("ip -n " + space + " link set eth0 up");
    Must("ip -n " + space + " address add " + prefix + "2/24 dev eth0");
    Must("ip -n " + space + " route add 224.0.0.0/4 dev eth0");
}

/// "ADDRESS NAME" of each device.
std::vector<std::string> Found() {
    const Json::Value data = UpnpScanner::Inst()->GetData();
    std::vector<std::string> found;
    for (const Json::Value& entry : data["ClientList"]) {
        found.push_back(entry["ipAddr"].asString() + " " + entry["friendlyName"].asString());
    }
    return found;
}

bool Finds(const std::vector<std::string>& devices) {
    return Eventually([&] { return Found() == devices; });
}

class UpnpTest : public testing::Test {
  protected:
    UpnpTest() { MakeBridge("br0", 2, "tv"); }
    ~UpnpTest() override { UpnpScanner::Inst()->Stop(); }

    Process Device(const std::string& space, const std::string& name) {
        return Process({"ip", "netns", "exec", space, VEXO_UPNP_DEVICE, "eth0", "49200", name},
                       folder / "log");
    }

    TempFolder folder;
};

TEST_F(UpnpTest, DevicesAreFoundFollowedAndMissedOnEveryBridge) {
    Process screen = Device("tv", "screen");
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    UpnpScanner::Inst()->Stop();
    const int descriptors = OpenDescriptors();
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    EXPECT_EQ(UpnpScanner::Inst()->Start(), 0);
    ASSERT_TRUE(Finds({"192.0.2.2 screen"})) << ReadFile(folder / "log");
    const Json::Value entry = UpnpScanner::Inst()->GetData()["ClientList"][0];
    EXPECT_EQ(entry["modelName"], "M-1");
    EXPECT_EQ(entry["modelDescription"], "A screen");
    EXPECT_EQ(entry["manufacturer"], "Maker");
    EXPECT_EQ(entry["upnp_location"], "http://192.0.2.2:49200/description.xml");

    MakeBridge("xbr1", 0, "kitchen");
    const Process radio = Device("kitchen", "radio");
    EXPECT_TRUE(Finds({"192.0.0.2 radio", "192.0.2.2 screen"})) << ReadFile(folder / "log");
    screen.Signal(SIGTERM);
    EXPECT_TRUE(Finds({"192.0.0.2 radio"}));
    UpnpScanner::Inst()->Stop();
    EXPECT_THAT(Found(), testing::ElementsAre("192.0.0.2 radio"));
    EXPECT_EQ(OpenDescriptors(), descriptors);

    screen.Wait();
    screen = Device("tv", "screen");
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    EXPECT_TRUE(Finds({"192.0.0.2 radio", "192.0.2.2 screen"})) << ReadFile(folder / "log");
}

sockaddr_in At(const char* address, in_port_t port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    EXPECT_EQ(::inet_pton(AF_INET, address, &place.sin_addr), 1) << address;
    return place;
}

const sockaddr* Generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/// It has many addresses, and a web server whose behaviour the path chooses. It lies about its
/// address when it is told one that is not its own.
class Stranger {
  public:
    Stranger() {
        for (int host = 10; host < 20; ++host) {
            Must("ip -n tv address add 192.0.2." + std::to_string(host) + "/24 dev eth0");
        }
        // One of them is asked for first by us.
        for (int host = 10; host < 19; ++host) {
            Must("ping -q -c 1 192.0.2." + std::to_string(host));
        }
        Must("ip -n tv address add 198.51.100.9/24 dev eth0");
        std::thread([this] {
            const UniqueFd space(::open("/run/netns/tv", O_RDONLY | O_CLOEXEC));
            EXPECT_EQ(::setns(space.Get(), CLONE_NEWNET), 0);
            listener.Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
            mouth.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
            ear.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
            index = static_cast<int>(::if_nametoindex("eth0"));
        }).join();
        const int on = 1;
        ::setsockopt(mouth.Get(), IPPROTO_IP, IP_TRANSPARENT, &on, sizeof on);
        ::setsockopt(ear.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        ::setsockopt(ear.Get(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
        const ip_mreqn membership{At("239.255.255.250", 0).sin_addr, At("192.0.2.10", 0).sin_addr,
                                  0};
        ::setsockopt(ear.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership);
        const sockaddr_in group = At("239.255.255.250", 1900);
        EXPECT_EQ(::bind(ear.Get(), Generic(group), sizeof group), 0);
        const sockaddr_in web = At("0.0.0.0", 80);
        EXPECT_EQ(::bind(listener.Get(), Generic(web), sizeof web), 0);
        EXPECT_EQ(::listen(listener.Get(), 100), 0);
        server = std::thread([this] { Serve(); });
    }

    ~Stranger() {
        ::shutdown(listener.Get(), SHUT_RDWR);
        server.join();
    }

    /// Waits until it is searched for, on its own network or the bridge's other one.
    void AwaitSearch() {
        pollfd ready{ear.Get(), POLLIN, 0};
        ASSERT_EQ(::poll(&ready, 1, 30'000), 1);
        char text[2048];
        socklen_t size = sizeof searcher;
        ::recvfrom(ear.Get(), text, sizeof text, 0, reinterpret_cast<sockaddr*>(&searcher), &size);
        searcher.sin_addr = At("192.0.2.1", 0).sin_addr;
    }

    /// Announces a device from an address, whose description is on a host.
    void Announce(const std::string& address, const std::string& host, const std::string& path,
                  const std::string& name = "1") const {
        Send(address, At("239.255.255.250", 1900),
             "NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:alive", host + path, name);
    }

    /// The same as an answer to the search.
    void Answer(const std::string& address, const std::string& host, const std::string& path,
                const std::string& name = "1") const {
        Send(address, searcher, "HTTP/1.1 200 OK\r\nST: upnp:rootdevice", host + path, name);
    }

    /// How often each path was asked for.
    std::map<std::string, int> Asked() const {
        const std::lock_guard guard(mutex);
        return asked;
    }

  private:
    void Send(const std::string& address, const sockaddr_in& to, const std::string& beginning,
              const std::string& location, const std::string& name) const {
        const std::string text = beginning + "\r\nUSN: uuid:" + name
                                 + "::upnp:rootdevice\r\nLOCATION: http://" + location + "\r\n\r\n";
        const in_pktinfo from{index, At(address.c_str(), 0).sin_addr, {}};
        char control[CMSG_SPACE(sizeof from)] = {};
        sockaddr_in receiver = to;
        iovec bytes{const_cast<char*>(text.data()), text.size()};
        msghdr message{&receiver, sizeof receiver, &bytes, 1, control, sizeof control, 0};
        cmsghdr* const part = CMSG_FIRSTHDR(&message);
        part->cmsg_level = IPPROTO_IP;
        part->cmsg_type = IP_PKTINFO;
        part->cmsg_len = CMSG_LEN(sizeof from);
        std::memcpy(CMSG_DATA(part), &from, sizeof from);
        EXPECT_GT(::sendmsg(mouth.Get(), &message, 0), 0) << std::strerror(errno);
    }

    void Serve() {
        std::vector<std::jthread> visits;
        for (;;) {
            const int visitor = ::accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
            if (visitor < 0) {
                return;
            }
            visits.emplace_back([this, visitor] { Describe(UniqueFd(visitor)); });
        }
    }

    void Describe(const UniqueFd& visitor) {
        char request[4096] = {};
        ::recv(visitor.Get(), request, sizeof request - 1, 0);
        const std::string path = Words(request).at(1);
        {
            const std::lock_guard guard(mutex);
            ++asked[path];
        }
        const std::string description =
            "\r\n\r\n<root><device><friendlyName>stranger</friendlyName></device></root>";
        const std::string blanks(65536, ' ');
        const std::map<std::string, std::string> answers = {
            {"/endless", "HTTP/1.1 200 OK" + description + blanks},
            {"/huge", "HTTP/1.1 200 OK\r\nContent-Length: 104857600" + description},
            {"/silent", ""},
            {"/redirect", "HTTP/1.1 302 Found\r\nLocation: /target" + description},
            {"/missing", "HTTP/1.1 404 Not Found" + description},
            {"/cut", "HTTP/1.1 200 OK\r\nContent-Length: 200" + description},
            {"/entities", "HTTP/1.1 200 OK\r\n\r\n<!DOCTYPE x>" + description}};
        const auto found = answers.find(path);
        const std::string answer =
            found == answers.end() ? "HTTP/1.1 200 OK" + description : found->second;
        ssize_t sent = ::send(visitor.Get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        while (sent > 0 && (path == "/endless" || path == "/huge")) {
            sent = ::send(visitor.Get(), blanks.data(), blanks.size(), MSG_NOSIGNAL);
        }
        while (sent == 0 && ::recv(visitor.Get(), request, sizeof request, 0) > 0) {
        }
    }

    UniqueFd listener;
    UniqueFd mouth;
    UniqueFd ear;
    int index = 0;
    sockaddr_in searcher{};
    mutable std::mutex mutex;
    std::map<std::string, int> asked;
    std::thread server;
};

TEST_F(UpnpTest, StrangersCostLittleAndDevicesBesideThemAreFound) {
    const SyslogSpy log;
    Stranger stranger;
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    stranger.AwaitSearch();
    ASSERT_TRUE(Eventually([&] {
        stranger.Answer("192.0.2.19", "192.0.2.19", "/first");
        return stranger.Asked()["/first"] != 0;
    }));
    const std::vector<std::string> refused = {"/endless", "/huge", "/silent",  "/redirect",
                                              "/missing", "/cut",  "/entities"};
    for (int i = 0; i < 50; ++i) {
        int host = 10;
        for (const std::string& path : refused) {
            const std::string address = "192.0.2." + std::to_string(host++);
            stranger.Answer(address, address, path);
        }
        stranger.Answer("192.0.2.17", "192.0.2.17", "/good");
        stranger.Announce("192.0.2.17", "192.0.2.17", "/announced", "2");
        stranger.Answer("192.0.2.2", "192.0.2.17", "/elsewhere");
        stranger.Answer("198.51.100.9", "198.51.100.9", "/alien");
        stranger.Answer("192.0.2.18", "192.0.2.18", "/many", std::to_string(i));
    }
    EXPECT_TRUE(Finds({"192.0.2.17 stranger", "192.0.2.18 stranger", "192.0.2.19 stranger"}));
    const auto has = [&](const std::string& text) {
        return Eventually([&] {
            return testing::Matches(testing::Contains(testing::HasSubstr(text)))(log.Messages());
        });
    };
    for (const std::string& path : refused) {
        EXPECT_TRUE(has(path + "]; the next search asks again")) << path;
    }
    EXPECT_TRUE(has("192.0.2.2 on [br0] is left out: its description is not on itself"));
    EXPECT_TRUE(has("198.51.100.9 on [br0] is left out: it is not of the bridge's network"));
    EXPECT_TRUE(has("192.0.2.18 on [br0] is left out: there are too many"));
    stranger.Announce("192.0.2.10", "192.0.2.10", "/" + std::string(1500, 'x'));
    stranger.Announce("192.0.2.11", "192.0.2.11", "/" + std::string(9000, 'x'));
    EXPECT_TRUE(has("What 192.0.2.10 on [br0] says of a UPnP device is malformed"));
    EXPECT_TRUE(has("What 192.0.2.11 on [br0] says of a UPnP device is malformed"));
    EXPECT_TRUE(Eventually([&] { return stranger.Asked()["/many"] == 16; }));

    // What comes after all that was asked before.
    int host = 10;
    for (const std::string& path : refused) {
        const std::string address = "192.0.2." + std::to_string(host++);
        stranger.Answer(address, address, path == "/endless" ? path : "/silent", path);
    }
    EXPECT_TRUE(Eventually([&] { return stranger.Asked()["/silent"] == 7; }));
    UpnpScanner::Inst()->Stop();
    const auto givenUp = testing::HasSubstr("/silent]; the next search asks again");
    EXPECT_LT(std::ranges::count_if(log.Messages(), testing::Matches(givenUp)), 7)
        << "it does not wait for those who are silent";
    EXPECT_EQ(ChildrenOf(::getpid()), "");
    EXPECT_EQ(Found().size(), 3U);
    auto asked = stranger.Asked();
    EXPECT_EQ(asked["/many"], 16);
    asked.erase("/many");
    asked.erase("/silent");
    asked.erase("/endless");
    EXPECT_THAT(asked, testing::UnorderedElementsAre(
                           testing::Pair("/first", 1), testing::Pair("/huge", 1),
                           testing::Pair("/redirect", 1), testing::Pair("/missing", 1),
                           testing::Pair("/cut", 1), testing::Pair("/entities", 1),
                           testing::Pair("/good", 1)));
}

TEST_F(UpnpTest, AThousandForgedDevicesKeepNoRealOneOut) {
    Stranger stranger;
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    stranger.AwaitSearch();
    for (int name = 0; name < 16; ++name) {
        // Hosts that are not there, and some that keep silent.
        for (int host = 10; host < 120; ++host) {
            const std::string address = "192.0.2." + std::to_string(host);
            stranger.Announce(address, address, "/silent", std::to_string(name));
            stranger.Answer(address, address, "/silent", std::to_string(name));
        }
    }
    const Process screen = Device("tv", "screen");
    EXPECT_TRUE(Finds({"192.0.2.2 screen"})) << ReadFile(folder / "log");
}

TEST_F(UpnpTest, ManyBridgesNeedFewDescriptors) {
    const SyslogSpy log;
    std::string commands;
    for (int i = 0; i < 200; ++i) {
        const std::string ifname = "br-" + std::to_string(i);
        commands += "link add " + ifname + " type bridge\naddress add 10.9." + std::to_string(i)
                    + ".1/24 dev " + ifname + "\nlink set " + ifname + " up\n";
        WriteFile("/etc/sysconfig/network-scripts/ifcfg-" + ifname, "");
    }
    WriteFile(folder / "commands", commands);
    Must({"ip", "-batch", folder / "commands"});
    const int before = OpenDescriptors();
    ASSERT_EQ(UpnpScanner::Inst()->Start(), 0);
    ASSERT_EQ(KeloScanner::Inst()->Start(), 0);
    const auto memberships = [] { return Count(ReadFile("/proc/net/igmp"), "FAFFFFEF"); };
    EXPECT_TRUE(Eventually([&] { return memberships() == 201; })) << memberships();
    const Process screen = Device("tv", "screen");
    EXPECT_TRUE(Finds({"192.0.2.2 screen"})) << ReadFile(folder / "log");
    EXPECT_LE(OpenDescriptors() - before, 20);
    KeloScanner::Inst()->Stop();
    Must("ip address del 10.9.7.1/24 dev br-7");
    EXPECT_TRUE(Eventually([&] { return memberships() == 200; })) << memberships();
    Must("ip address add 10.9.7.1/24 dev br-7");
    EXPECT_TRUE(Eventually([&] { return memberships() == 201; })) << memberships();
    EXPECT_THAT(log.Messages(), testing::IsEmpty());
}

}  // namespace
}  // namespace vexotest
