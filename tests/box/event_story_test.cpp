// The default route follows cables and addresses with nobody typing anything.

#include "event_story.h"

#include <signal.h>

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
    Calm();
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

/// The daemon does not read while more happens than its socket has room for.
TEST_F(EventStory, WhatGoesAndComesBackWhileEventsAreLostIsElected) {
    const std::string batch = folder / "batch";
    std::string lines;
    for (int i = 0; i < 6'000; ++i) {
        lines +=
            std::string("addr ") + (i % 2 == 0 ? "add" : "del") + " 10.99.0.1/32 dev spacer0\n";
    }
    WriteFile(batch, lines);
    Settle();
    const pid_t daemon = appliance.Daemon().Pid();
    ::kill(daemon, SIGSTOP);
    Must("ip -batch " + batch);
    EXPECT_GT(EventQueueOf(daemon).dropped, 0);
    Must("ip link set wan0 down");
    Must("ip link set wan0 up");
    Must("ip addr replace 2001:db8:0::10/64 dev wan0 nodad");
    Must("ip addr del 198.51.100.10/24 dev wan1");
    Must("ip addr add 198.51.100.10/24 dev wan1");
    EXPECT_EQ(DefaultRoutes("-4"), std::vector<std::string>{});
    SetLink(wan0, true);
    ::kill(daemon, SIGCONT);
    EXPECT_TRUE(MovesTo(wan0));
    ExpectDefaultRoutes("-6", {"via 2001:db8::1 dev wan0"});
    EXPECT_EQ(Count(appliance.Log(), "Resync with the kernel"), 1U);
}

}  // namespace
}  // namespace vexotest
