#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <vexonetwork/network/module/ipv6_module.h>

#include "network/advertisements/wait.h"

namespace vexonetwork::network::module {

/// What a usable advertisement says.
struct Claim {
    std::string router;  ///< the sender's address
    bool managed = false;
    bool other = false;
    std::time_t heard = 0;  ///< wall-clock time of its arrival
};

/// Whether a router answers neighbour discovery.
struct NeighbourAnswer {
    std::string gateway;  ///< the router that was asked for
    bool isReachable = false;
};

/// What has to be known beside record and claim.
struct Answers {
    bool follows = false;                      ///< the interface follows advertisements
    std::optional<NeighbourAnswer> neighbour;  ///< nothing until it was asked for
};

enum class Verdict {
    kNotFollowed,    ///< the interface does not follow advertisements
    kUnchanged,      ///< the remembered router says what it said before
    kAskNeighbour,   ///< depends on whether the remembered router answers
    kOriginalStays,  ///< another router's claim, refused
    kLater,          ///< a change too soon after another one
    kApply           ///< gateway and flags are to be applied
};

struct Decision {
    Verdict verdict;
    RaRecord record;  ///< as it is now
};

RaState StateOf(bool managed, bool other);

/// Whether the flags differ from those that were last applied.
bool IsChange(RaState applied, bool managed, bool other);

/// Seconds since the remembered router's last advertisement, also when the clock was set back.
double SilenceOf(const RaRecord& record, std::time_t now);

/// More than 900 seconds of it.
bool IsSilent(const RaRecord& record, std::time_t now);

/// What a claim means for the record of its interface. Pure.
/// @param held  whether a change has to wait
Verdict Decide(const RaRecord& record, const Claim& claim, const Answers& answers, std::time_t now,
               bool held);

/// The remembered routers and the changes that wait. Any thread may call; All() is the exception.
///
/// Each change takes the default route away for a moment, and anyone on the link can ask for one
/// with every packet. A router does not advertise to all more often than every three seconds (RFC
/// 4861 section 10, MIN_DELAY_BETWEEN_RAS), so with pacing a change that soon after another waits
/// until these are over. The last word of the remembered router waits, and beside it that of the
/// last other one, so that nobody can talk away what another has said.
class RouterRecords {
  public:
    static constexpr auto kBetweenChanges = std::chrono::seconds(3);

    /// So many records are kept without looking whether their interfaces still exist.
    static constexpr std::size_t kMaxUnchecked = 256;

    /// What waits for an interface. The other router's claim is to be judged first: whether the
    /// remembered one still answers decides about both.
    struct Waiting {
        std::string ifname;
        std::optional<Claim> rival = {};  ///< of another router
        std::optional<Claim> own = {};    ///< of the remembered one: other flags
    };

    /// @param exists  whether there is an interface of this name
    explicit RouterRecords(std::function<bool(const std::string& ifname)> exists);

    /// Decides, and remembers what that means.
    /// @param paced  nothing for a change that waits for no other; else the time by which it does
    Decision Judge(const std::string& ifname, const Claim& claim, const Answers& answers,
                   std::time_t now, std::optional<SteadyTime> paced);

    /// The record of an interface, which is made when there is none.
    RaRecord Of(const std::string& ifname);

    bool Remembers(const std::string& ifname, const std::string& router) const;

    /// Forgets an interface with all that waits for it. @return whether there was a record
    bool Forget(const std::string& ifname);

    /// Takes what need not wait any longer; what was for interfaces that are gone is dropped.
    std::vector<Waiting> TakeDue(SteadyTime now);

    /// When TakeDue is to be called next; nothing while nothing waits.
    std::optional<SteadyTime> NextDue() const;

    void DropWaiting();

    /// Hands all records to `publish` while nobody else can change or publish them.
    void Publish(const std::function<void(const std::map<std::string, RaRecord>&)>& publish);

    /// Whether something was remembered since Publish() or since the beginning.
    bool HasNews() const;
    void MarkNews();

    /// For when no other thread uses the object.
    const std::map<std::string, RaRecord>& All() const { return records; }

  private:
    struct Hold {
        SteadyTime until;
        Waiting waiting;
    };

    RaRecord& Find(const std::string& ifname);
    Hold* HoldOf(const std::string& ifname, std::optional<SteadyTime> paced);
    void Remember(RaRecord& record, Hold* hold, Verdict verdict, const Claim& claim);

    const std::function<bool(const std::string& ifname)> exists;
    mutable std::mutex mutex;
    std::map<std::string, RaRecord> records;
    std::map<std::string, Hold> holds;  ///< of the interfaces that changed in the last 3 s
    bool hasNews = false;
};

}  // namespace vexonetwork::network::module
