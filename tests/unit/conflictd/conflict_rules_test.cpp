// What is done about an address, and what is told, as time goes by and packets come.

#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include <sstream>

#include <vexonetlink/exchange.h>

#include "conflictd/address_watch.h"
#include "conflictd/kernel_follower.h"
#include "conflictd/report_budget.h"

namespace conflictd {
namespace {

using namespace std::chrono_literals;

constexpr Ipv4Address kAddress = 0xc000020a;
constexpr MacAddress kOther = {2, 0, 0, 0, 0, 9};
const auto kStart = Clock::time_point() + 1h;

/// What `event` brings about: "time" passes, or a packet of another host comes.
std::string Outcome(AddressWatch& watch, const std::string& event, Clock::time_point now) {
    if (event == "time") {
        static constexpr const char* kSent[] = {"-", "probe", "announcement"};
        return kSent[int(watch.Advance(now))];
    }
    ArpPacket packet =
        event == "probe" ? ArpProbe(kOther, kAddress) : ArpAnnouncement(kOther, kAddress);
    packet.operation = event == "answer" ? ArpPacket::kReply : ArpPacket::kRequest;
    packet.senderIp += event == "question" ? 1 : 0;  // a neighbour that wants to talk to us
    const auto verdict = watch.Judge(packet, now);
    return verdict.isDefended ? "defended" : verdict.isConflict ? "conflict" : "-";
}

TEST(AddressWatch, ChecksAnnouncesAndDefendsInTheTimesOfTheRfc) {
    for (const char* story :
         {"999 time - 1000 time probe 2999 time - 3000 time probe 5000 time probe 6000 question - "
          "6999 time - 7000 time announcement 7000 probe - 9000 time announcement 300000 time - "
          "360000 answer defended 369999 claim conflict 370000 claim defended 371000 question -",
          "1000 time probe 1000 answer conflict 3000 time - 3000 probe - "
          "4000 claim conflict 400000 answer conflict",
          "1000 probe conflict 300000 time -"}) {
        AddressWatch watch(kAddress, kStart, [](auto, auto most) { return most; });
        std::istringstream steps(story);
        std::string event, outcome;
        for (int time = 0; steps >> time >> event >> outcome;) {
            EXPECT_EQ(Outcome(watch, event, kStart + std::chrono::milliseconds(time)), outcome)
                << event << " at " << time << " ms";
        }
    }
}

TEST(ReportBudget, AStormIsToldInAFewEntriesAMinute) {
    ReportBudget budget;
    const auto storm = [&budget](Ipv4Address address, Clock::time_point now) {
        int told = 0;
        for (std::uint8_t i = 0; i < 200; ++i) {
            told += budget.Ask(address, {2, 0, 0, 0, 0, i}, now) == ReportBudget::Answer::kTell;
        }
        return told;
    };
    EXPECT_EQ(storm(0, kStart), 3);
    int told = 0;
    for (Ipv4Address address = 0; address < 50; ++address) {
        told += storm(address, kStart + 30s);
    }
    EXPECT_EQ(told, 27);
    EXPECT_EQ(storm(0, kStart + 60s), 3);
    told = 0;
    for (int minute = 2; minute < 60; ++minute) {
        for (Ipv4Address address = 0; address < 50; ++address) {
            told += storm(address, kStart + minute * 60s);
        }
    }
    EXPECT_EQ(told, 300 - 33) << "not more in an hour";
}

/// Adds or removes addresses of lo, which has the index 1.
void ChangeAddresses(std::uint16_t type, int count) {
    auto socket = *vexonetlink::Socket::Open();
    vexonetlink::Batch batch(socket);
    for (int i = 0; i < count; ++i) {
        const in_addr address{htonl(0x0a000000U + unsigned(i))};
        batch.Add(vexonetlink::AddressRequest(type, NLM_F_CREATE,
                                              {.family = AF_INET,
                                               .index = 1,
                                               .local = vexonetlink::FromInet(address),
                                               .prefixLength = 32}));
    }
    EXPECT_TRUE(batch.Finish().empty());
}

TEST(KernelFollower, HasAfterALossWhatTheKernelHas) {
    KernelFollower follower;
    InterfaceTable table;
    const auto count = [&table] { return table.Interfaces().at(1).addresses.size(); };
    EXPECT_FALSE(follower.IsWhole());
    ASSERT_TRUE(follower.Read(table));
    EXPECT_EQ(count(), 1U);
    EXPECT_FALSE(follower.Read(table)) << "nothing has changed";
    // The socket has room for the first messages; of the last nothing is told.
    ChangeAddresses(RTM_NEWADDR, 2000);
    ChangeAddresses(RTM_DELADDR, 1500);
    EXPECT_FALSE(follower.Read(table)) << "what waits comes first";
    EXPECT_FALSE(follower.IsWhole());
    while (!follower.Read(table)) {
    }
    EXPECT_EQ(count(), 501U);
    ChangeAddresses(RTM_NEWADDR, 3);
    ASSERT_TRUE(follower.Read(table)) << "it follows again";
    EXPECT_EQ(count(), 504U);
}

}  // namespace
}  // namespace conflictd
