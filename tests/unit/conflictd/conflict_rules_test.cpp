// What is done about an address, and what is told, as time goes by and packets come.

#include <gtest/gtest.h>

#include <sstream>

#include "conflictd/address_watch.h"
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
          "1000 time probe 1000 answer conflict 3000 time - 3000 probe - 4000 claim defended",
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
}

}  // namespace
}  // namespace conflictd
