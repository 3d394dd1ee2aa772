#include "network/devices/upnp/upnp_devices.h"

#include <gtest/gtest.h>

#include <vexonetwork/network/clientlist.h>

namespace vexotest {
namespace {

using namespace vexonetwork::network;
using Kind = SsdpMessage::Kind;
using std::chrono::seconds;

class UpnpDevicesTest : public testing::Test {
  protected:
    bool Hear(Kind kind, const std::string& usn = "1", const std::string& location = "a",
              std::optional<std::uint32_t> bootId = {}, in_addr_t host = 2) {
        return devices.Hear({kind, usn, location, seconds(100), bootId, {}},
                            {htonl(0xC0000200 + host)}, "br0", now);
    }

    /// Whether a description is due, which is then there or not.
    bool Fetches(bool succeeds = true) {
        now += seconds(11);
        const auto fetch = devices.NextFetch(now);
        if (fetch) {
            const DeviceDescription read{fetch->usn + fetch->location, "", "", ""};
            devices.Describe(*fetch, succeeds ? std::optional(read) : std::nullopt);
        }
        return fetch.has_value();
    }

    std::string Shown() const {
        ClientList list;
        devices.AppendTo(list);
        std::string names;
        for (const Json::Value data = list.GetClientList();
             const auto& entry : data["ClientList"]) {
            names += entry["friendlyName"].asString() + " ";
        }
        return names;
    }

    UpnpDevices devices;
    UpnpDevices::Clock::time_point now = UpnpDevices::Clock::now();
};

TEST_F(UpnpDevicesTest, ADescriptionIsFetchedOnceForEachChange) {
    Hear(Kind::kHere);
    EXPECT_TRUE(Fetches());
    const std::tuple<Kind, std::string, std::optional<std::uint32_t>, bool> changes[] = {
        {Kind::kHere, "a", {}, false},    {Kind::kHere, "b", {}, true},
        {Kind::kHere, "b", 7, false},     {Kind::kHere, "b", 8, true},
        {Kind::kHere, "b", {}, false},    {Kind::kUpdate, "b", 9, false},
        {Kind::kHere, "b", 9, false},     {Kind::kUpdate, "c", 9, true},
        {Kind::kFarewell, "", {}, false}, {Kind::kHere, "c", 9, true}};
    for (const auto& [kind, location, bootId, isChange] : changes) {
        Hear(kind, "1", location, bootId);
        EXPECT_EQ(Shown().empty(),
                  kind == Kind::kFarewell || (location == "c" && kind == Kind::kHere));
        EXPECT_EQ(Fetches(), isChange) << location;
        EXPECT_FALSE(Fetches());
    }
    EXPECT_EQ(Shown(), "1c ");

    Hear(Kind::kHere, "1", "d");
    EXPECT_TRUE(Fetches(false));
    EXPECT_EQ(Shown(), "");
    Hear(Kind::kHere, "1", "d");
    EXPECT_FALSE(Fetches());
    devices.ForgetFailed(now);
    EXPECT_FALSE(Fetches());
    Hear(Kind::kAnswer, "1", "d");
    EXPECT_TRUE(Fetches());
    now += seconds(88);
    devices.Expire(now);
    EXPECT_EQ(Shown(), "1d ");
    now += seconds(1);
    EXPECT_EQ(devices.NextExpiry(), now);
    devices.Expire(now);
    EXPECT_EQ(Shown(), "");
}

TEST_F(UpnpDevicesTest, WhoChangesAllTheTimeIsFetchedNowAndThen) {
    Hear(Kind::kHere);
    const auto late = devices.NextFetch(now);
    Hear(Kind::kFarewell);
    Hear(Kind::kHere, "1", "b");
    devices.Describe(*late, DeviceDescription{"late", "", "", ""});
    EXPECT_EQ(Shown(), "");
    now += seconds(9);
    EXPECT_FALSE(devices.NextFetch(now));
    EXPECT_TRUE(Fetches());
    Hear(Kind::kFarewell);
    devices.Expire(now);
    Hear(Kind::kHere, "1", "c");
    EXPECT_FALSE(devices.NextFetch(now + seconds(1))) << "whoever comes back is not new";
}

TEST_F(UpnpDevicesTest, OneIsFetchedAtATimeFromAnAddressAndFirstWhereNoneHasFailed) {
    for (const char* usn : {"0", "1", "2"}) {
        Hear(Kind::kAnswer, usn);
    }
    const auto first = devices.NextFetch(now);
    now += seconds(1);
    EXPECT_FALSE(devices.NextFetch(now));
    EXPECT_EQ(devices.NextFetchTime(), now + seconds(9)) << "it is given up then";
    Hear(Kind::kAnswer, "3", "a", {}, 3);
    devices.Describe(*first, std::nullopt);
    EXPECT_EQ(devices.NextFetchTime(), now - seconds(1) + std::chrono::milliseconds(50));
    EXPECT_EQ(devices.NextFetch(now)->usn, "3");
    EXPECT_FALSE(devices.NextFetch(now));
    EXPECT_EQ(devices.NextFetchTime(), now + std::chrono::milliseconds(50));
    now += std::chrono::milliseconds(50);
    EXPECT_EQ(devices.NextFetch(now)->usn, "1");
    now += seconds(10);
    EXPECT_TRUE(devices.NextFetch(now)) << "those above were given up";
}

TEST_F(UpnpDevicesTest, ThereIsRoomForSomeAtAnAddressAndForManyInAll) {
    for (int i = 0; i < 1024; ++i) {
        EXPECT_TRUE(Hear(Kind::kHere, std::to_string(i), "a", {}, in_addr_t(2 + i / 16)));
    }
    EXPECT_FALSE(Hear(Kind::kHere, "more"));
    EXPECT_FALSE(Hear(Kind::kHere, "more", "a", {}, 100));
    EXPECT_TRUE(Fetches(false));
    EXPECT_TRUE(Hear(Kind::kHere, "more", "a", {}, 100));
    EXPECT_FALSE(Hear(Kind::kHere, "most", "a", {}, 100));
}

}  // namespace
}  // namespace vexotest
