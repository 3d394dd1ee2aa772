#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>

#include <csignal>
#include <map>
#include <set>
#include <thread>

#include "support/appliance.h"

// The daemon on a bridge, its neighbours in network namespaces: a second daemon with a bus of its
// own, and a stranger who sends what he likes.

namespace vexotest {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

sockaddr_in At(const char* address) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(29470);
    EXPECT_EQ(::inet_pton(AF_INET, address, &place.sin_addr), 1);
    return place;
}

/// A socket in the stranger's namespace, or in that of a container, which lies about its address
/// when it is told one that is not its own.
class Stranger {
  public:
    explicit Stranger(const char* address, const std::string& name = "stranger",
                      const char* daemonsAddress = "192.0.2.1")
        : daemon(At(daemonsAddress)) {
        std::thread([&] {
            const vexobase::UniqueFd space(
                ::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC));
            EXPECT_EQ(::setns(space.Get(), CLONE_NEWNET), 0);
            socket.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        }).join();
        const sockaddr_in own = At(address);
        const int on = 1;
        ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        ::setsockopt(socket.Get(), IPPROTO_IP, IP_TRANSPARENT, &on, sizeof on);
        EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    }

    void Send(const Json::Value& message) const {
        const std::string text = message.toStyledString();
        ::sendto(socket.Get(), text.data(), text.size(), 0,
                 reinterpret_cast<const sockaddr*>(&daemon), sizeof daemon);
    }

    /// @return null when nothing comes in time
    Json::Value Receive(int milliseconds) const {
        pollfd ready{socket.Get(), POLLIN, 0};
        char text[2048];
        const ssize_t length =
            ::poll(&ready, 1, milliseconds) == 1 ? ::recv(ready.fd, text, sizeof text, 0) : 0;
        return length > 0 ? Parsed(std::string(text, static_cast<size_t>(length))) : Json::Value();
    }

    /// @return the answer, past the daemon's own questions; null when none comes in time
    Json::Value Ask(int milliseconds = 400) const {
        Send(question);
        for (;;) {
            const Json::Value message = Receive(milliseconds);
            if (message["type"] != "question") {
                return message;
            }
        }
    }

    const Json::Value question =
        Parsed(R"({"version":1,"type":"question","token":"00000000000000aa"})");

  private:
    const sockaddr_in daemon;
    vexobase::UniqueFd socket;
};

class HostFinderStory : public testing::Test {
  protected:
    HostFinderStory() {
        WriteFile("/etc/vexoinfo.conf", "model=N4\nserial=17\nfirmware=2.1 \"beta\"\n");
        Must("hostname cellar");
        Must("ip link add lbr0 address 02:00:00:00:00:01 type bridge");
        Must("ip address add 192.0.2.1/24 dev lbr0");
        Must("ip address add 203.0.113.1/24 dev lbr0 label lbr0:1");
        // Tells the neighbours a new MAC, to which they send their answers.
        WriteFile("/proc/sys/net/ipv4/conf/lbr0/arp_notify", "1");
        Must("ip link set lbr0 up");
        for (const std::string lan : {"lbr0", "xbr7"}) {
            WriteFile("/etc/sysconfig/network-scripts/ifcfg-" + lan, "BOOTPROTO=none\n");
        }
        AddHost("attic", "lbr0");
        AddHost("stranger", "lbr0");
        Must("ip -n stranger link set far address 02:00:00:00:00:09");
        Must("ip -n stranger address add 192.0.2.9/24 dev far");
        Must("ip -n stranger address add 203.0.113.9/24 dev far");
        Must("ip -n stranger address add 198.51.100.9/24 dev far");
        Must("ip -n stranger link set far up");
    }

    static void AddHost(const std::string& name, const std::string& bridge) {
        Must("ip netns add " + name);
        Must("ip link add " + name + " master " + bridge + " type veth peer name far netns "
             + name);
        Must("ip link set up dev " + name);
    }

    /// Begins a round, as a minute would.
    static void ChangeLan(int number) {
        Must("ip link set lbr0 address 02:00:00:00:00:1" + std::to_string(number));
    }

    Json::Value Found() {
        std::string reply;
        EXPECT_EQ(appliance.Call("GetDeviceListData", "kelo", &reply), 0) << appliance.Log();
        return Parsed(reply)["ClientList"];
    }

    Appliance appliance;
};

TEST_F(HostFinderStory, TwoAppliancesFindEachOtherAndMissWhoLeft) {
    Must("ip -n attic link add xbr7 address 02:00:00:00:00:02 type bridge");
    Must("ip -n attic address add 192.0.2.2/24 dev xbr7");
    Must("ip -n attic link set far master xbr7 up");
    Must("ip -n attic link set xbr7 up");
    appliance.StartDaemon();
    TempFolder folder;
    WriteScript(folder / "attic",
                "set -e; mount -t tmpfs none /run; mkdir /run/vexonet\n"
                "printf 'model=N2\\n' >/run/info; mount --bind /run/info /etc/vexoinfo.conf\n"
                "dbus-daemon --session --address=unix:path=/run/vexonet/bus --fork\n"
                "hostname attic; exec '"
                    + DaemonProgram() + "' --foreground\n");
    Process attic({"ip", "netns", "exec", "attic", "unshare", "--uts", folder / "attic"},
                  folder / "log");
    const Arguments ask = Words("nsenter -m -t " + std::to_string(attic.Pid())
                            + " dbus-send --bus=unix:path=/run/vexonet/bus --print-reply=literal --dest=com.vexo.network"
                              " / com.vexo.network.GetDeviceListData string:kelo");
    EXPECT_TRUE(Eventually([&] {
        return vexotest::Run(ask).out.find("\"cellar\"") != std::string::npos;
    })) << ReadFile(folder / "log");

    ChangeLan(1);
    EXPECT_TRUE(Eventually([&] { return Found().size() == 1; })) << appliance.Log();
    const Json::Value other = Found()[0];
    EXPECT_EQ(other["ipAddr"], "192.0.2.2");
    EXPECT_EQ(other["macAddr"], "02:00:00:00:00:02");
    EXPECT_EQ(other["friendlyName"], "attic");
    EXPECT_EQ(other["modelName"], "N2");
    EXPECT_FALSE(other.isMember("serial") || other.isMember("firmware"));

    attic.Signal(SIGKILL);
    attic.Wait();
    ChangeLan(2);
    EXPECT_TRUE(Eventually([&] { return Found().empty(); }));
}

TEST_F(HostFinderStory, StrangersAreNotBelieved) {
    const Stranger stranger("0.0.0.0");
    const Stranger outside("198.51.100.9");
    const Stranger forger("192.0.2.7");
    const Stranger nobody("192.0.2.6");
    // The forger's victim is known, and does not see what the forger says in its name.
    Must("ip neighbour add 192.0.2.7 lladdr 02:00:00:00:00:07 dev lbr0 nud permanent");
    appliance.StartDaemon();
    Json::Value truth = Parsed(R"({"version":1,"type":"answer","ipAddr":"192.0.2.9",
        "macAddr":"02:00:00:00:00:09","serial":"true","friendlyName":9})");
    const auto lie = [&truth](const Stranger& liar,
                              const std::map<std::string, std::string>& lies) {
        Json::Value told = truth;
        told["serial"] = "lie";
        for (const auto& [key, value] : lies) {
            told[key] = value;
        }
        liar.Send(told);
    };
    std::set<std::string> tokens;
    EXPECT_TRUE(Eventually([&] {
        const Json::Value question = stranger.Receive(1000);
        if (question["type"] == "question") {
            truth["token"] = question["token"];
            tokens.insert(question["token"].asString());
            lie(outside, {{"ipAddr", "198.51.100.9"}});
            lie(stranger, {{"ipAddr", "192.0.2.8"}});
            lie(stranger, {{"token", "0123456789abcdef"}});
            lie(stranger, {{"macAddr", "9"}});
            lie(stranger, {{"macAddr", "02:00:00:00:00:08"}});
            lie(forger, {{"ipAddr", "192.0.2.7"}, {"macAddr", "02:00:00:00:00:07"}});
            lie(nobody, {{"ipAddr", "192.0.2.6"}, {"macAddr", "02:00:00:00:00:09"}});
            stranger.Send(truth);
        }
        return !Found().empty();
    })) << appliance.Log();
    EXPECT_GE(tokens.size(), 2U) << "who answers is asked alone";
    const Json::Value found = Found();
    ASSERT_EQ(found.size(), 1U) << found;
    EXPECT_EQ(found[0]["serial"], "true");
    EXPECT_FALSE(found[0].isMember("friendlyName"));
}

TEST_F(HostFinderStory, OnlyLansAreServedAndNotWithoutEnd) {
    Must("ip link add br-c0 type bridge");
    Must("ip address add 172.18.0.1/16 dev br-c0");
    Must("ip link set br-c0 up");
    AddHost("container", "br-c0");
    Must("ip -n container address add 172.18.0.2/16 dev far");
    Must("ip -n container link set far up");
    const Stranger stranger("0.0.0.0");
    const Stranger outside("198.51.100.9");
    const Stranger container("0.0.0.0", "container", "172.18.0.1");
    appliance.StartDaemon();
    EXPECT_EQ(stranger.Receive(20'000)["type"], "question");
    EXPECT_TRUE(outside.Ask().isNull());
    EXPECT_EQ(Stranger("203.0.113.9").Ask(20'000)["ipAddr"], "203.0.113.1");
    EXPECT_EQ(stranger.Ask(20'000),
              Parsed(R"({"version":1,"type":"answer","token":"00000000000000aa",
        "ipAddr":"192.0.2.1","macAddr":"02:00:00:00:00:01","friendlyName":"cellar",
        "modelName":"N4","serial":"17","firmware":"2.1 \"beta\""})"));
    container.Send(container.question);
    EXPECT_TRUE(container.Receive(400).isNull()) << "neither asked nor answered";
    int answers = 0;
    const auto start = steady_clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(steady_clock::now() - start); };
    while (elapsed() < 1s) {
        for (int i = 0; i < 100; ++i) {
            stranger.Send(stranger.question);
        }
        answers += stranger.Receive(1)["type"] == "answer";
    }
    EXPECT_GE(answers, 1);
    EXPECT_LE(answers, 5 * (1 + elapsed().count()));

    // With so much time between the questions, silence is not for want of a turn.
    const auto isSilent = [&] { return stranger.Ask().isNull() && stranger.Ask().isNull(); };
    WriteFile("/etc/vexoinfo.conf", "host_finder=no\n");
    EXPECT_TRUE(Eventually(isSilent));
    ChangeLan(1);
    EXPECT_TRUE(stranger.Receive(6000).isNull()) << "it does not ask either";
    WriteFile("/etc/vexoinfo.conf", "host_finder=yes\n");
    ChangeLan(2);
    EXPECT_EQ(stranger.Receive(20'000)["type"], "question");
    EXPECT_TRUE(Eventually([&] { return !isSilent(); }));
}

TEST_F(HostFinderStory, APortThatIsBusyIsOpenedWhenItIsFree) {
    vexobase::UniqueFd other(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in place = At("0.0.0.0");
    ASSERT_EQ(::bind(other.Get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    const Stranger stranger("0.0.0.0");
    appliance.StartDaemon();
    EXPECT_TRUE(Eventually([&] { return Count(appliance.Log(), "to be tried again") != 0; }));
    other.Reset();
    ChangeLan(1);
    EXPECT_TRUE(Eventually([&] { return !stranger.Ask().isNull(); })) << appliance.Log();
}

}  // namespace
}  // namespace vexotest
