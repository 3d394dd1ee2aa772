#include "emitter/agenda.h"

#include <gmock/gmock.h>

// The clock is the test's.

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork;
using namespace std::chrono_literals;
using Task = Agenda::Task;

Agenda::Time At(std::chrono::milliseconds time) {
    return Agenda::Time(1h) + time;
}

class AgendaTest : public Test {
  protected:
    /// When there is a task, if nothing but messages comes from now on, or if nothing comes.
    std::pair<Task, Task> TasksAt(std::chrono::milliseconds time) const {
        return {agenda.WithMessages(At(time)), agenda.WithoutMessages(At(time))};
    }

    static constexpr std::pair kNothing{Task::kListen, Task::kListen},
        kElectWhenIdle{Task::kListen, Task::kElect}, kElectNow{Task::kElect, Task::kElect},
        kResyncWhenIdle{Task::kListen, Task::kResync}, kResyncNow{Task::kResync, Task::kResync};

    Agenda agenda;
};

TEST_F(AgendaTest, AnElectionWaitsForThePauseAfterAddresses) {
    EXPECT_EQ(agenda.Deadline(), std::nullopt);
    EXPECT_EQ(TasksAt(0ms), kNothing);
    agenda.NoteChange("wan0", kIPv4Change, At(0ms));
    EXPECT_EQ(TasksAt(4ms), kNothing);
    agenda.NoteChange("wan0", kIPv6Change, At(4ms));
    EXPECT_EQ(agenda.Deadline(), At(9ms));
    EXPECT_EQ(TasksAt(8ms), kNothing);
    EXPECT_EQ(TasksAt(9ms), kElectWhenIdle);

    const Agenda::Changes changes = agenda.TakeChanges();
    EXPECT_FALSE(changes.everything);
    EXPECT_THAT(changes.interfaces, ElementsAre(Pair("wan0", kIPv4Change | kIPv6Change)));
    EXPECT_EQ(TasksAt(1000ms), kNothing);
}

TEST_F(AgendaTest, AfterALinkItWaitsForNothing) {
    agenda.NoteChange("wan1", kIPv4Change, At(0ms));
    agenda.NoteChange("wan0", kLinkChange, At(1ms));
    agenda.NoteChange("wan1", kIPv4Change, At(2ms));
    EXPECT_EQ(TasksAt(2ms), kElectWhenIdle);
    agenda.TakeChanges();
    // The next burst is again one of addresses.
    agenda.NoteChange("wan1", kIPv4Change, At(3ms));
    EXPECT_EQ(TasksAt(3ms), kNothing);
    agenda.NoteChangeOfAll(At(4ms));
    EXPECT_EQ(TasksAt(4ms), kElectWhenIdle);
    EXPECT_TRUE(agenda.TakeChanges().everything);
}

TEST_F(AgendaTest, MessagesHoldItUpNoLongerThanATenthOfASecond) {
    for (auto time = 0ms; time < 100ms; time += 4ms) {
        EXPECT_EQ(TasksAt(time), kNothing) << time.count();
        agenda.NoteChange("wan0", kIPv4Change, At(time));
    }
    EXPECT_EQ(TasksAt(100ms), kElectNow);
}

TEST_F(AgendaTest, AResyncWaitsForTheEndOfTheBurstAndEndsInOneElection) {
    agenda.NoteChange("wan0", kLinkChange, At(0ms));
    agenda.NoteLoss(At(1ms));
    agenda.NoteDatagram(At(4ms));
    EXPECT_TRUE(agenda.AwaitsResync());
    EXPECT_EQ(agenda.Deadline(), At(9ms));
    EXPECT_EQ(TasksAt(8ms), kNothing) << "not elected twice";
    EXPECT_EQ(TasksAt(9ms), kResyncWhenIdle);
    agenda.NoteResync(At(9ms));
    EXPECT_FALSE(agenda.AwaitsResync());
    EXPECT_EQ(TasksAt(9ms), kElectWhenIdle);
    EXPECT_TRUE(agenda.TakeChanges().everything);
    EXPECT_EQ(TasksAt(2000ms), kNothing);
}

TEST_F(AgendaTest, ABurstThatDoesNotEndHoldsUpNeither) {
    agenda.NoteLoss(At(0ms));
    agenda.NoteChange("wan0", kLinkChange, At(10ms));
    agenda.NoteDatagram(At(108ms));
    EXPECT_EQ(TasksAt(109ms), kNothing);
    EXPECT_EQ(TasksAt(110ms), kElectNow);
    agenda.TakeChanges();

    // What was queued before the loss would undo what a resync finds.
    agenda.NoteLoss(At(900ms));
    for (int i = 0; i < 4095; ++i) {
        agenda.NoteDatagram(At(1000ms));
    }
    EXPECT_EQ(TasksAt(1000ms), kResyncWhenIdle);
    agenda.NoteDatagram(At(1000ms));
    EXPECT_EQ(TasksAt(999ms), kNothing);
    EXPECT_EQ(TasksAt(1000ms), kResyncNow);
}

TEST_F(AgendaTest, AFailedResyncIsTriedAgainWhileEventsAreHandled) {
    agenda.NoteLoss(At(0ms));
    agenda.NoteFailedResync(At(10ms));
    EXPECT_FALSE(agenda.AwaitsResync());
    agenda.NoteChange("wan0", kLinkChange, At(20ms));
    EXPECT_EQ(TasksAt(20ms), kElectWhenIdle);
    EXPECT_EQ(agenda.Deadline(), At(20ms));
    agenda.TakeChanges();
    EXPECT_EQ(agenda.Deadline(), At(210ms));
    EXPECT_EQ(TasksAt(209ms), kNothing);
    EXPECT_EQ(TasksAt(210ms), kResyncNow);
    agenda.NoteResync(At(210ms));
    EXPECT_TRUE(agenda.TakeChanges().everything);
    EXPECT_EQ(TasksAt(1000ms), kNothing);
}

TEST_F(AgendaTest, RepairsOnceASecondAndHoldsNothingUp) {
    agenda.NoteHarm(At(0ms));
    agenda.NoteHarm(At(3ms));
    EXPECT_EQ(agenda.Deadline(), At(5ms)) << "tools take several steps";
    EXPECT_EQ(TasksAt(4ms), kNothing);
    EXPECT_EQ(TasksAt(5ms), (std::pair{Task::kListen, Task::kRepair}));
    EXPECT_EQ(TasksAt(105ms), (std::pair{Task::kRepair, Task::kRepair})) << "amid messages too";
    agenda.NoteRepair(At(6ms));
    EXPECT_FALSE(agenda.AwaitsRepair());
    agenda.NoteHarm(At(10ms));
    EXPECT_EQ(agenda.Deadline(), At(1006ms));
    agenda.NoteLoss(At(1000ms));
    agenda.NoteChange("wan0", kLinkChange, At(1000ms));
    EXPECT_EQ(TasksAt(1005ms), kResyncWhenIdle);
    agenda.NoteResync(At(1005ms));
    EXPECT_EQ(TasksAt(1006ms), kElectWhenIdle);
    agenda.TakeChanges();
    EXPECT_EQ(TasksAt(1006ms), (std::pair{Task::kListen, Task::kRepair}));
}

}  // namespace
}  // namespace vexotest
