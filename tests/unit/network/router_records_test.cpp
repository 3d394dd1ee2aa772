#include "network/advertisements/router_records.h"

#include <gmock/gmock.h>

#include "network/advertisements/solicitations.h"

// What is decided about routers, by table: no socket, no clock, no thread.

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network::module;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::time_t kNow = 1'000'000;
constexpr SteadyTime kStart{std::chrono::hours(24 * 45)};

Claim From(const std::string& router, bool managed = false, bool other = false,
           std::time_t heard = kNow) {
    return {router, managed, other, heard};
}

const Answers kFollowed{true, std::nullopt};

TEST(RouterDecision, ByTable) {
    const auto record = [](RaState state, std::time_t silence = 0) {
        return RaRecord{.gateway = "fe80::a", .last_ra_time = kNow - silence, .state = state};
    };
    const Answers answers{true, NeighbourAnswer{"fe80::a", true}};
    const Answers silent{true, NeighbourAnswer{"fe80::a", false}};
    const Answers ofAnother{true, NeighbourAnswer{"fe80::9", true}};
    const Claim managed = From("fe80::a", true);
    const Claim both = From("fe80::a", true, true);
    const Claim slaac = From("fe80::a");
    const Claim rival = From("fe80::b", true);
    const std::tuple<RaRecord, Claim, Answers, bool, Verdict> rows[] = {
        {{}, slaac, {}, false, Verdict::kNotFollowed},
        {record(RA_STATE_SLAAC), slaac, {}, true, Verdict::kNotFollowed},
        {{}, slaac, kFollowed, false, Verdict::kApply},
        {{}, slaac, kFollowed, true, Verdict::kLater},
        // What the flags do without haste, the module's own test holds.
        {record(RA_STATE_NONE), slaac, kFollowed, false, Verdict::kApply},
        {record(RA_STATE_SLAAC), slaac, kFollowed, true, Verdict::kUnchanged},
        {record(RA_STATE_SLAAC), managed, kFollowed, true, Verdict::kLater},
        {record(RA_STATE_MANAGED), both, kFollowed, false, Verdict::kUnchanged},
        // Another router.
        {record(RA_STATE_SLAAC), rival, answers, true, Verdict::kLater},
        {record(RA_STATE_SLAAC), rival, kFollowed, false, Verdict::kAskNeighbour},
        {record(RA_STATE_SLAAC), rival, ofAnother, false, Verdict::kAskNeighbour},
        {record(RA_STATE_SLAAC), rival, silent, false, Verdict::kApply},
        {record(RA_STATE_SLAAC, 900), rival, answers, false, Verdict::kOriginalStays},
        {record(RA_STATE_SLAAC, -900), rival, answers, false, Verdict::kOriginalStays},
        {record(RA_STATE_SLAAC, 901), rival, answers, false, Verdict::kApply},
        {record(RA_STATE_SLAAC, -901), rival, answers, false, Verdict::kApply},
    };
    int row = 0;
    for (const auto& [known, claim, answer, held, verdict] : rows) {
        EXPECT_EQ(Decide(known, claim, answer, kNow, held), verdict) << "row " << row;
        ++row;
    }
}

class Pacing : public testing::Test {
  protected:
    Verdict Hear(const Claim& claim, SteadyTime::duration after,
                 const Answers& answers = kFollowed) {
        return records.Judge("eth0", claim, answers, claim.heard, kStart + after).verdict;
    }
    auto Due(SteadyTime::duration after) { return records.TakeDue(kStart + after); }

    bool isThere = true;
    RouterRecords records{[this](const std::string&) { return isThere; }};
};

TEST_F(Pacing, AChangeSoonAfterAnotherWaitsAndIsMade) {
    EXPECT_EQ(Hear(From("fe80::a", true), seconds(0)), Verdict::kApply);
    EXPECT_EQ(records.NextDue(), kStart + seconds(3));
    // The flags of a stray packet, taken back by the router's next word; its time counts at once.
    EXPECT_EQ(Hear(From("fe80::a", false, false, kNow + 1), seconds(1)), Verdict::kLater);
    EXPECT_EQ(records.Of("eth0").last_ra_time, kNow + 1);
    EXPECT_EQ(records.Of("eth0").state, RA_STATE_MANAGED);
    EXPECT_EQ(Hear(From("fe80::a", true, false, kNow + 2), seconds(2)), Verdict::kUnchanged);
    EXPECT_THAT(Due(seconds(3)), IsEmpty());
    EXPECT_EQ(records.NextDue(), std::nullopt);

    // The other way round: the stray packet was applied, and the router's answer waits.
    EXPECT_EQ(Hear(From("fe80::a"), seconds(10)), Verdict::kApply);
    EXPECT_EQ(Hear(From("fe80::a", false, true), seconds(10)), Verdict::kLater);
    EXPECT_EQ(Hear(From("fe80::a", true), milliseconds(12'999)), Verdict::kLater);
    EXPECT_THAT(Due(milliseconds(12'999)), IsEmpty());
    const auto due = Due(seconds(13));
    ASSERT_THAT(due, SizeIs(1));
    EXPECT_EQ(due[0].ifname, "eth0");
    EXPECT_FALSE(due[0].rival);
    EXPECT_TRUE(due[0].own.value().managed);
    EXPECT_EQ(Hear(*due[0].own, seconds(13)), Verdict::kApply);
}

TEST_F(Pacing, WhatAnotherRouterSaysCannotTalkTheFirstOneDown) {
    Hear(From("fe80::a"), seconds(0));
    Hear(From("fe80::a", true), seconds(1));
    for (int i = 0; i < 1'000; ++i) {
        EXPECT_EQ(Hear(From("fe80::b:" + std::to_string(i)), seconds(2)), Verdict::kLater);
    }
    EXPECT_EQ(records.Of("eth0").last_ra_time, kNow);
    const auto due = Due(seconds(3));
    ASSERT_THAT(due, SizeIs(1));
    EXPECT_EQ(due[0].rival.value().router, "fe80::b:999");
    EXPECT_TRUE(due[0].own.value().managed);
    EXPECT_THAT(Due(seconds(3)), IsEmpty());
}

TEST_F(Pacing, NothingWaitsForWhatIsForgottenUnfollowedOrGone) {
    const auto wait = [this] {
        records.Forget("eth0");
        Hear(From("fe80::a"), seconds(0));
        Hear(From("fe80::b"), seconds(1));
        Hear(From("fe80::a", true), seconds(1));
    };
    wait();
    EXPECT_THAT(Due(seconds(3)), SizeIs(1));
    wait();
    EXPECT_TRUE(records.Forget("eth0"));
    EXPECT_THAT(Due(seconds(3)), IsEmpty());
    wait();
    EXPECT_EQ(Hear(From("fe80::a", true), seconds(2), {}), Verdict::kNotFollowed);
    EXPECT_EQ(records.Of("eth0").gateway, "");
    EXPECT_THAT(Due(seconds(3)), IsEmpty());
    wait();
    isThere = false;
    EXPECT_THAT(Due(seconds(3)), IsEmpty());
}

TEST_F(Pacing, InventedInterfacesLeaveNoRecords) {
    const auto hear = [&](const std::string& prefix) {
        for (int i = 0; i < 1'000; ++i) {
            records.Judge(prefix + std::to_string(i), From("fe80::a"), kFollowed, kNow,
                          std::nullopt);
        }
    };
    isThere = false;
    hear("veth");
    EXPECT_THAT(records.All(), SizeIs(Le(RouterRecords::kMaxUnchecked)));
    isThere = true;
    hear("eth");
    EXPECT_THAT(records.All(), SizeIs(Ge(1'000U)));
    EXPECT_EQ(records.NextDue(), std::nullopt);
}

TEST(RouterSolicitation, AsksThreeTimesOrUntilOneAnswers) {
    Solicitations solicitations;
    std::vector<unsigned> asked;
    int result = 0;
    const auto run = [&](SteadyTime::duration after) {
        asked.clear();
        solicitations.Run(kStart + after, [&](unsigned index) {
            asked.push_back(index);
            return result;
        });
        return asked;
    };
    solicitations.Begin(7, kStart);
    solicitations.Begin(8, kStart + seconds(1));
    EXPECT_THAT(run(seconds(0)), ElementsAre(7));
    EXPECT_THAT(run(seconds(1)), ElementsAre(8));
    EXPECT_THAT(run(milliseconds(3'999)), IsEmpty());
    EXPECT_EQ(solicitations.NextDue(), kStart + seconds(4));
    EXPECT_THAT(run(seconds(5)), ElementsAre(7, 8));
    solicitations.End(8);
    EXPECT_THAT(run(seconds(60)), ElementsAre(7));
    EXPECT_EQ(solicitations.NextDue(), std::nullopt);
    // What could not be sent is no try.
    solicitations.Begin(7, kStart);
    result = -1;
    for (int i = 0; i < 29; ++i) {
        EXPECT_THAT(run(seconds(i)), ElementsAre(7));
        EXPECT_EQ(solicitations.NextDue(), kStart + seconds(i + 1));
    }
    result = 0;
    EXPECT_THAT(run(seconds(29)), ElementsAre(7));
    result = -1;
    EXPECT_THAT(run(seconds(33)), ElementsAre(7));
    EXPECT_EQ(solicitations.NextDue(), std::nullopt);
    EXPECT_THAT(run(seconds(60)), IsEmpty());
}

}  // namespace
}  // namespace vexotest
