// More events than the daemon can take, and a hook that does not let it take any.

#include <fstream>

#include "event_story.h"

namespace vexotest {
namespace {

class EventFlood : public EventStory {
  protected:
    /// 20,000 addresses that come and go, a thousand at a time, and 2,000 interfaces.
    std::string WriteBatch() {
        const std::string path = folder / "batch";
        std::ofstream lines(path);
        for (int change = 0; change < 40'000; ++change) {
            const int i = change % 1'000;
            lines << "addr " << (change / 1'000 % 2 == 0 ? "add" : "del") << " 10.99." << i / 250
                  << "." << i % 250 << "/32 dev spacer0\n";
        }
        for (int i = 0; i < 1'000; ++i) {
            lines << "link add many" << i << " group 7 type veth peer name more" << i
                  << " group 7\n";
        }
        lines << "link del group 7\n";
        return path;
    }

    /// In KiB, of memory that is the daemon's own.
    long Memory() {
        const std::string pid = std::to_string(appliance.Daemon().Pid());
        const std::string line = Must("grep ^RssAnon: /proc/" + pid + "/status");
        return std::stol(line.substr(line.find_first_of("0123456789")));
    }
};

TEST_F(EventFlood, LeavesNothingBehindAndLosesNoCable) {
    const std::string batch = WriteBatch();
    const long before = Memory();
    Must("ip -batch " + batch);
    Settle();
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    EXPECT_LT(Memory(), before + 2048);
    Settle();
    EXPECT_EQ(ChildrenOf(appliance.Daemon().Pid()), "");
}

/// Events come without a pause, faster than they are read.
TEST_F(EventFlood, NeitherAPulledCableNorSigtermWaitsForItsEnd) {
    const std::string batch = WriteBatch();
    const Process flood({"sh", "-c", "while ip -batch " + batch + "; do :; done"},
                        folder / "flood");
    EXPECT_TRUE(Eventually([this] { return EventQueueOf(appliance.Daemon().Pid()).unread > 0; }));
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    EXPECT_EQ(appliance.StopDaemon(), 0);
}

TEST_F(EventFlood, AHookThatHangsHoldsEventsUpButLosesNone) {
    WriteHook("hangs-once", "[ -e " + folder / "hung" + " ] && exec echo $NEW_ADDRESS >>"
                                + folder / "heard" + "\necho >" + folder / "hung"
                                + "\nexec tail -f /dev/null");
    Must("ip addr add 192.0.2.70/24 dev wan0");
    EXPECT_TRUE(Eventually([this] { return !ReadFile(folder / "hung").empty(); }));
    for (const char* address : {"192.0.2.71", "192.0.2.72", "192.0.2.73"}) {
        Must(std::string("ip addr add ") + address + "/24 dev wan0");
    }
    SetLink(wan0, false);
    EXPECT_EQ(appliance.GatewayList("GTYPE_V4").size(), 2U) << "requests are served meanwhile";
    EXPECT_TRUE(MovesTo(wan1));
    EXPECT_TRUE(Eventually([this] {
        return ReadFile(folder / "heard") == "192.0.2.71\n192.0.2.72\n192.0.2.73\n";
    })) << ReadFile(folder / "heard");
    EXPECT_THAT(appliance.Log(), testing::HasSubstr("hangs-once] was killed after 30000 ms"));
}

}  // namespace
}  // namespace vexotest
