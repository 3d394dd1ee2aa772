#pragma once

#include <gmock/gmock.h>

#include <vexonetwork/dbus/dbus_client.h>

#include "support/appliance.h"
#include "support/event_queue.h"

namespace vexotest {

/// The daemon with two uplinks in its lists, wan0 before wan1, and an ear on the kernel's routes.
class EventStory : public testing::Test {
  protected:
    void SetUp() override {
        appliance.StartDaemon();
        for (const Uplink& uplink : {wan0, wan1}) {
            const std::string n = uplink.ifname.substr(3);
            for (const auto& [type, gateway] :
                 {std::pair{"GTYPE_V4", uplink.gateway}, {"GTYPE_V6", "2001:db8:" + n + "::1"}}) {
                EXPECT_TRUE(vexonetwork::utils::SetGatewayInfo(uplink.ifname, type, gateway, "",
                                                               "ethernet", -1, false));
            }
        }
        EXPECT_TRUE(Eventually([this] {
            Must("ip route replace 198.18.0.0/24 dev lo");
            return !ReadFile(changes).empty();
        }));
        Settle();
    }

    /// Waits until the daemon has handled everything that the kernel has told, and the monitor has
    /// written what came of it.
    void Settle() {
        WaitForMarker();
        EXPECT_TRUE(Eventually([this] { return IsQuiet(appliance.Daemon().Pid()); }));
        WaitForMarker();
    }

    bool MovesTo(const Uplink& uplink) {
        const std::vector<std::string> expected = {"via " + uplink.gateway + " dev " + uplink.ifname
                                                   + " src " + uplink.address};
        return Eventually([&] { return DefaultRoutes("-4") == expected; });
    }

    /// How often the IPv4 default route came or went since the last call.
    long DefaultRouteChanges() {
        Settle();
        const std::string all = ReadFile(changes);
        const long count = Count(all.substr(counted), "default ");
        counted = all.size();
        return count;
    }

    static long Count(const std::string& text, const std::string& word) {
        long count = 0;
        for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
            ++count;
        }
        return count;
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
        Must("ip route add " + marker + " dev lo");
        EXPECT_TRUE(
            Eventually([&] { return ReadFile(changes).find(marker) != std::string::npos; }));
    }

    std::string changes = folder / "changes";
    Process monitor{{"ip", "-4", "monitor", "route"}, changes};
    std::size_t counted = 0;
    int markers = 0;
};

}  // namespace vexotest
