#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace vexonetwork {

/// What of an interface has changed, or-ed together.
enum ChangeKind : unsigned {
    kLinkChange = 1,
    kIPv4Change = 2,
    kIPv6Change = 4,
    kOtherChange = 8  ///< matters to routes, not to the gateway lists
};

/// When to elect and when to bring the book in step with the kernel. It knows the time only from
/// its callers.
///
/// An election takes the default route away for a moment, so all changes of a burst get one: at
/// once when no message is left after a link has changed, after a pause when only addresses have.
/// Messages that keep coming hold neither up for ever.
class Agenda {
  public:
    using Time = std::chrono::steady_clock::time_point;

    enum class Task { kListen, kResync, kElect, kRepair };

    struct Changes {
        bool everything = false;                     ///< any interface may have changed
        std::map<std::string, unsigned> interfaces;  ///< ChangeKind by interface
    };

    /// Something has changed, of one interface or perhaps of all. The latter is urgent as a link
    /// is.
    void NoteChange(const std::string& ifname, ChangeKind kind, Time now);
    void NoteChangeOfAll(Time now);

    /// The changes since the last call; an election follows.
    Changes TakeChanges();

    /// Messages were lost.
    void NoteLoss(Time now);

    /// A datagram was received.
    void NoteDatagram(Time now);

    /// Whether a loss waits for its resync, which will tell everything that queued messages of
    /// addresses could.
    bool AwaitsResync() const { return lostAt.has_value(); }

    /// The end of a resync, after which everything may have changed; or its failure, after which
    /// it is tried again.
    void NoteResync(Time now);
    void NoteFailedResync(Time now);

    /// Others may have taken away what is ours. Who does so again and again is answered once a
    /// second, and holds nothing else up.
    void NoteHarm(Time now);
    bool AwaitsRepair() const { return harmedAt.has_value(); }
    void NoteRepair(Time now);

    /// What is to be done even though messages may be waiting, or when none is.
    Task WithMessages(Time now) const;
    Task WithoutMessages(Time now) const;

    /// When WithoutMessages() will have a task if nothing happens; nothing when never.
    std::optional<Time> Deadline() const;

  private:
    std::optional<Time> ResyncDue() const;
    std::optional<Time> ElectionDue() const;
    std::optional<Time> RepairDue() const;
    bool HasChanges() const { return changes.everything || !changes.interfaces.empty(); }
    void Touch(Time now, bool urgent);

    Changes changes;
    bool hasUrgent = false;
    Time firstChange;
    Time lastChange;

    std::optional<Time> lostAt;
    Time lastDatagram;
    int staleDatagrams = 0;  ///< as many may have been queued before the loss
    std::optional<Time> retryAt;

    std::optional<Time> harmedAt;
    std::optional<Time> repairedAt;
};

}  // namespace vexonetwork
