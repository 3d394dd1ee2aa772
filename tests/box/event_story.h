#pragma once

#include <gmock/gmock.h>

#include <utility>

#include "support/appliance.h"
#include "support/event_queue.h"

namespace vexotest {

/// The daemon with two uplinks in its lists, wan0 before wan1, and an ear on the kernel's routes.
class EventStory : public testing::Test {
  protected:
    void SetUp() override {
        appliance.StartDaemon();
        appliance.ListUplinks();
    }

    /// Waits until the daemon has read all events, and the monitor has written what came of them.
    void Settle() {
        WaitForMarker();
        EXPECT_TRUE(Eventually([this] { return IsQuiet(appliance.Daemon().Pid()); }));
        WaitForMarker();
    }

    static bool MovesTo(const Uplink& to) {
        return Eventually([&] { return DefaultRoutes("-4") == std::vector{RouteOf(to)}; });
    }

    /// How often the IPv4 default route came or went since the last call.
    std::size_t DefaultRouteChanges() {
        Settle();
        const std::string all = ReadFile(changes);
        return Count(all.substr(std::exchange(counted, all.size())), "default ");
    }

    /// Waits until nothing has changed the IPv4 default route for longer than any election waits.
    void Calm() {
        EXPECT_TRUE(Eventually([this] { return DefaultRouteChanges() == 0; }));
    }

    TempFolder folder;
    Appliance appliance;
    // The kernel tells at once of a changed carrier when the two ends have different numbers.
    std::string spacer = Must("ip link add spacer0 type veth peer name spacer1");
    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);

  private:
    void WaitForMarker() {
        const std::string marker = "198.18." + std::to_string(++markers) + ".0/24";
        EXPECT_TRUE(Eventually([&] {
            Must("ip route replace " + marker + " dev lo");
            return ReadFile(changes).find(marker) != marker.npos;
        }));
    }

    std::string changes = folder / "changes";
    Process monitor{{"ip", "-4", "monitor", "route"}, changes};
    std::size_t counted = 0;
    int markers = 0;
};

/// Puts a script where an administrator would, to hear of IPv4 addresses.
inline void WriteHook(const std::string& name, const std::string& script) {
    WriteScript("/usr/vexo/hooks/net/ipv4_change/" + name, script);
}

}  // namespace vexotest
