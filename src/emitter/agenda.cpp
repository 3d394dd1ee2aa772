#include "emitter/agenda.h"

#include <algorithm>
#include <utility>

namespace vexonetwork {
namespace {

using std::chrono::milliseconds;

/// Addresses come in flocks.
constexpr milliseconds kPause(5);

/// How long messages that keep coming may hold up an election, and a resync.
constexpr milliseconds kMaxElectionDelay(100);
constexpr milliseconds kMaxResyncDelay(1000);

constexpr milliseconds kRetryDelay(200);

/// From one repair to the next.
constexpr milliseconds kRepairInterval(1000);

/// After a loss the kernel queues nothing more until all is read, and no datagram takes less than
/// 512 of the 2 MiB that the socket's buffer has room for.
constexpr int kMaxQueued = 4096;

std::optional<Agenda::Time> Earlier(std::optional<Agenda::Time> one,
                                    std::optional<Agenda::Time> other) {
    return one && other ? std::min(*one, *other) : one ? one : other;
}

}  // namespace

void Agenda::Touch(Time now, bool urgent) {
    if (!HasChanges()) {
        firstChange = now;
        hasUrgent = false;
    }
    hasUrgent = hasUrgent || urgent;
    lastChange = now;
}

void Agenda::NoteChange(const std::string& ifname, ChangeKind kind, Time now) {
    Touch(now, kind == kLinkChange);
    changes.interfaces[ifname] |= kind;
}

void Agenda::NoteChangeOfAll(Time now) {
    Touch(now, true);
    changes.everything = true;
}

Agenda::Changes Agenda::TakeChanges() {
    return std::exchange(changes, {});
}

void Agenda::NoteLoss(Time now) {
    if (!lostAt) {
        lostAt = now;
    }
    lastDatagram = now;
    staleDatagrams = kMaxQueued;
}

void Agenda::NoteDatagram(Time now) {
    lastDatagram = now;
    staleDatagrams = std::max(0, staleDatagrams - 1);
}

void Agenda::NoteResync(Time now) {
    lostAt.reset();
    retryAt.reset();
    NoteChangeOfAll(now);
}

void Agenda::NoteFailedResync(Time now) {
    lostAt.reset();
    retryAt = now + kRetryDelay;
}

void Agenda::NoteHarm(Time now) {
    harmedAt = harmedAt.value_or(now);
}

void Agenda::NoteRepair(Time now) {
    harmedAt.reset();
    repairedAt = now;
}

/// Tools that bring a network up or down do it in several steps.
std::optional<Agenda::Time> Agenda::RepairDue() const {
    return harmedAt && repairedAt ? std::max(*harmedAt + kPause, *repairedAt + kRepairInterval)
           : harmedAt             ? std::optional(*harmedAt + kPause)
                                  : std::nullopt;
}

std::optional<Agenda::Time> Agenda::ResyncDue() const {
    return lostAt ? std::min(lastDatagram + kPause, *lostAt + kMaxResyncDelay) : retryAt;
}

std::optional<Agenda::Time> Agenda::ElectionDue() const {
    if (!HasChanges()) {
        return std::nullopt;
    }
    return std::min(hasUrgent ? lastChange : lastChange + kPause, firstChange + kMaxElectionDelay);
}

Agenda::Task Agenda::WithMessages(Time now) const {
    const bool hasPassedLoss = lostAt && now >= *lostAt + kMaxResyncDelay && staleDatagrams == 0;
    if (hasPassedLoss || (!lostAt && retryAt && now >= *retryAt)) {
        return Task::kResync;
    }
    if (HasChanges() && now >= firstChange + kMaxElectionDelay) {
        return Task::kElect;
    }
    const auto due = RepairDue();
    return due && now >= *due + kMaxElectionDelay ? Task::kRepair : Task::kListen;
}

Agenda::Task Agenda::WithoutMessages(Time now) const {
    if (const auto due = ResyncDue(); due && now >= *due) {
        return Task::kResync;
    }
    if (const Task task = WithMessages(now); task != Task::kListen) {
        return task;
    }
    // The resync that is about to come ends in the one election of the burst.
    if (const auto due = ElectionDue(); !lostAt && due && now >= *due) {
        return Task::kElect;
    }
    const auto due = RepairDue();
    return due && now >= *due ? Task::kRepair : Task::kListen;
}

std::optional<Agenda::Time> Agenda::Deadline() const {
    const auto resync = ResyncDue();
    const auto election = lostAt ? std::nullopt : ElectionDue();
    return Earlier(Earlier(resync, election), RepairDue());
}

}  // namespace vexonetwork
