// More events than the daemon can take.

#include <signal.h>

#include <chrono>
#include <fstream>

#include "event_story.h"

namespace vexotest {
namespace {

constexpr int kAddresses = 20'000;
constexpr int kPairs = 1'000;

class EventFlood : public EventStory {
  protected:
    std::string WriteBatch() {
        const std::string path = folder / "batch";
        std::ofstream lines(path);
        for (const char* change : {"add", "del"}) {
            for (int i = 0; i < kAddresses; ++i) {
                lines << "addr " << change << " 10.99." << i / 250 << "." << i % 250
                      << "/32 dev spacer0\n";
            }
        }
        for (int i = 0; i < kPairs; ++i) {
            lines << "link add many" << i << " group 7 type veth peer name more" << i
                  << " group 7\n";
        }
        lines << "link del group 7\n";
        return path;
    }

    long ResidentPages() {
        std::ifstream statm("/proc/" + std::to_string(appliance.Daemon().Pid()) + "/statm");
        long size = 0, resident = 0;
        statm >> size >> resident;
        return resident;
    }
};

TEST_F(EventFlood, LeavesNothingBehindAndLosesNoCable) {
    const std::string batch = WriteBatch();
    const long before = ResidentPages();
    Must("ip -batch " + batch);
    Settle();
    const auto start = std::chrono::steady_clock::now();
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    constexpr long kRoom = 512;  // 2 MiB
    EXPECT_LT(ResidentPages(), before + kRoom);

    // Nothing that happens now can be told message by message.
    const auto overruns = Count(appliance.Log(), "Taking stock of all interfaces");
    appliance.Daemon().Signal(SIGSTOP);
    Must("ip -batch " + batch);
    SetLink(wan0, true);
    SetLink(wan1, false);
    appliance.Daemon().Signal(SIGCONT);
    EXPECT_TRUE(MovesTo(wan0));
    Settle();
    EXPECT_EQ(Count(appliance.Log(), "Taking stock of all interfaces"), overruns + 1);
    EXPECT_EQ(ChildrenOf(appliance.Daemon().Pid()), "");
}

TEST_F(EventFlood, SigtermIsHeardInTheRain) {
    const std::string batch = WriteBatch();
    const Process rain({"sh", "-c", "while ip -batch " + batch + "; do :; done"}, folder / "rain");
    EXPECT_TRUE(Eventually([this] { return EventQueueOf(appliance.Daemon().Pid()).unread > 0; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(appliance.StopDaemon(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace vexotest
