// The default route follows cables and addresses with nobody typing anything.

#include "event_story.h"

namespace vexotest {
namespace {

using namespace testing;

TEST_F(EventStory, TheDefaultRouteFollowsTheCables) {
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    DefaultRouteChanges();
    ExpectDefaultRoutes("-6", {"via 2001:db8:1::1 dev wan1"});
    SetLink(wan0, true);
    EXPECT_GT(DefaultRouteChanges(), 0U);
    EXPECT_TRUE(MovesTo(wan1)) << "who has won once stays in front";

    SetLink(wan1, false);
    EXPECT_TRUE(MovesTo(wan0));
    SetLink(wan0, false);
    Settle();
    EXPECT_THAT(DefaultRoutes("-4"), ElementsAre(HasSubstr("via 192.0.2.1 dev wan0")))
        << "the last one stays until there is a better one";
    SetLink(wan1, true);
    EXPECT_TRUE(MovesTo(wan1));
    Settle();
    ExpectDefaultRoutes("-6", {"via 2001:db8:1::1 dev wan1"});
}

TEST_F(EventStory, AddressesOfTheListedMatterAndStrangersDoNot) {
    Must("ip addr del 192.0.2.10/24 dev wan0");
    EXPECT_TRUE(MovesTo(wan1));
    Must("ip addr add 192.0.2.10/24 dev wan0");
    Must("ip addr del 198.51.100.10/24 dev wan1");
    EXPECT_TRUE(MovesTo(wan0));
    DefaultRouteChanges();
    for (const std::string ifname : {"docker7", "tap7", "vethc0ffee", "eth7"}) {
        Must("ip link add " + ifname + " up type veth peer name peer7");
        Must("ip addr add 10.7.7.7/24 dev " + ifname);
        Must("ip link set peer7 up");
        Must("ip link del " + ifname);
    }
    Must("ip addr add 198.51.100.10/24 dev wan1");
    std::size_t changed = 0;
    EXPECT_TRUE(Eventually([&] { return (changed += DefaultRouteChanges()) >= 2U; }));
    EXPECT_EQ(changed + DefaultRouteChanges(), 2U) << "more than the election because of wan1";
}

}  // namespace
}  // namespace vexotest
