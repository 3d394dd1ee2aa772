// The default route follows cables and addresses with nobody typing anything.

#include "event_story.h"

#include <sys/stat.h>

namespace vexotest {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kHooks[] = "/usr/vexo/hooks/net/ipv4_change";

void WriteHook(const std::string& name, const std::string& script, mode_t mode = 0755) {
    const std::string path = std::string(kHooks) + "/" + name;
    WriteFile(path, "#!/bin/sh\n" + script + "\n");
    ::chmod(path.c_str(), mode);
}

TEST_F(EventStory, TheDefaultRouteFollowsTheCables) {
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    Settle();
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));

    DefaultRouteChanges();
    SetLink(wan0, true);
    EXPECT_GT(DefaultRouteChanges(), 0);
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
    EXPECT_THAT(DefaultRoutes("-6"), ElementsAre("via 2001:db8:1::1 dev wan1"));
}

TEST_F(EventStory, AddressesOfTheListedMatterAndStrangersDoNot) {
    Must("ip addr del " + wan0.address + "/24 dev wan0");
    EXPECT_TRUE(MovesTo(wan1));
    DefaultRouteChanges();
    Must("ip addr add " + wan0.address + "/24 dev wan0");
    EXPECT_GT(DefaultRouteChanges(), 0) << "elected anew";
    Must("ip addr del " + wan1.address + "/24 dev wan1");
    EXPECT_TRUE(MovesTo(wan0));

    DefaultRouteChanges();
    for (const std::string ifname : {"docker7", "tap7", "vethc0ffee", "eth7"}) {
        Must("ip link add " + ifname + " up type veth peer name peer7");
        Must("ip addr add 10.7.7.7/24 dev " + ifname);
        Must("ip link set peer7 up");
        Must("ip link set peer7 down");
        Must("ip link del " + ifname);
    }
    EXPECT_EQ(DefaultRouteChanges(), 0);
}

TEST_F(EventStory, HooksOfAnAdministratorHearOfAddresses) {
    WriteHook("1-tell", "env >" + folder / "told");
    WriteHook("2-fails", "exit 3");
    WriteHook("3-everybodys", "touch " + folder / "bad", 0777);
    WriteHook("4-off", "touch " + folder / "bad", 0644);
    WriteHook("5-last", "touch " + folder / "last");
    Must("ip addr add 192.0.2.77/24 dev wan0");
    Settle();
    EXPECT_THAT(ReadFile(folder / "told"),
                AllOf(HasSubstr("IFNAME=wan0\n"), HasSubstr("ORIGIN_ADDRESS=192.0.2.10\n"),
                      HasSubstr("NEW_ADDRESS=192.0.2.77\n"), HasSubstr("PREFIX_LENGTH=24\n"),
                      HasSubstr("IS_LINK=true\n")));
    EXPECT_THAT(appliance.Log(),
                AllOf(HasSubstr("2-fails] failed with status 3"),
                      HasSubstr("3-everybodys] is skipped"), Not(HasSubstr("4-off"))));
    Must("rm " + folder / "last");  // fails the test when the hook has not run

    ::chmod(kHooks, 0777);
    Must("ip addr del 192.0.2.77/24 dev wan0");
    Settle();
    EXPECT_THAT(Must("ls " + folder.Path()), AllOf(Not(HasSubstr("last")), Not(HasSubstr("bad"))));
    EXPECT_TRUE(MovesTo(wan0));
}

TEST_F(EventStory, AFlappingLinkEndsInTheRightState) {
    for (int flap = 0; flap < 200; ++flap) {
        Must("ip -n isp-wan0 link set far down");
        Must("ip -n isp-wan0 link set far up");
    }
    SetLink(wan0, false);
    EXPECT_TRUE(MovesTo(wan1));
    Settle();
    EXPECT_EQ(ChildrenOf(appliance.Daemon().Pid()), "");
    EXPECT_EQ(DefaultRoutes("-6").size(), 1U);
}

TEST_F(EventStory, AHookThatHangsHoldsEventsUpButLosesNone) {
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
    EXPECT_TRUE(MovesTo(wan1) || MovesTo(wan1));
    EXPECT_EQ(ReadFile(folder / "heard"), "192.0.2.71\n192.0.2.72\n192.0.2.73\n");
    EXPECT_THAT(appliance.Log(), HasSubstr("hangs-once] was killed after 30000 ms"));
}

}  // namespace
}  // namespace vexotest
