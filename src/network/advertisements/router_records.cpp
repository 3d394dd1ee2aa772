#include "network/advertisements/router_records.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vexonetwork::network::module {
namespace {

constexpr double kSilenceAllowed = 900.0;  // seconds

}  // namespace

RaState StateOf(bool managed, bool other) {
    return managed ? RA_STATE_MANAGED : other ? RA_STATE_OTHER : RA_STATE_SLAAC;
}

bool IsChange(RaState applied, bool managed, bool other) {
    return applied != StateOf(managed, other);
}

double SilenceOf(const RaRecord& record, std::time_t now) {
    return std::fabs(std::difftime(now, record.last_ra_time));
}

bool IsSilent(const RaRecord& record, std::time_t now) {
    return SilenceOf(record, now) > kSilenceAllowed;
}

Verdict Decide(const RaRecord& record, const Claim& claim, const Answers& answers, std::time_t now,
               bool held) {
    if (!answers.follows) {
        return Verdict::kNotFollowed;
    }
    const bool isRemembered = record.gateway == claim.router;
    if (isRemembered && !IsChange(record.state, claim.managed, claim.other)) {
        return Verdict::kUnchanged;
    }
    if (held) {
        return Verdict::kLater;
    }
    if (isRemembered || record.gateway.empty()) {
        return Verdict::kApply;
    }
    if (!answers.neighbour || answers.neighbour->gateway != record.gateway) {
        return Verdict::kAskNeighbour;
    }
    const bool stays = answers.neighbour->isReachable && !IsSilent(record, now);
    return stays ? Verdict::kOriginalStays : Verdict::kApply;
}

RouterRecords::RouterRecords(std::function<bool(const std::string& ifname)> isThere)
    : exists(std::move(isThere)) {}

Decision RouterRecords::Judge(const std::string& ifname, const Claim& claim, const Answers& answers,
                              std::time_t now, std::optional<SteadyTime> paced) {
    const std::lock_guard guard(mutex);
    RaRecord& record = Find(ifname);
    Hold* hold = HoldOf(ifname, paced);
    const Verdict verdict = Decide(record, claim, answers, now, hold != nullptr);
    Remember(record, hold, verdict, claim);
    if (verdict == Verdict::kApply && paced) {
        holds[ifname] = {.until = *paced + kBetweenChanges, .waiting = {.ifname = ifname}};
    }
    return {verdict, record};
}

/// @return null when a change need not wait
RouterRecords::Hold* RouterRecords::HoldOf(const std::string& ifname,
                                           std::optional<SteadyTime> paced) {
    const auto found = holds.find(ifname);
    return paced && found != holds.end() && *paced < found->second.until ? &found->second : nullptr;
}

void RouterRecords::Remember(RaRecord& record, Hold* hold, Verdict verdict, const Claim& claim) {
    const bool isRemembered = record.gateway == claim.router;
    switch (verdict) {
        case Verdict::kNotFollowed:
            record = {};
            break;
        case Verdict::kApply:
            record = {claim.router, claim.heard, StateOf(claim.managed, claim.other)};
            break;
        case Verdict::kUnchanged:
        case Verdict::kLater:
            record.last_ra_time = isRemembered ? claim.heard : record.last_ra_time;
            break;
        case Verdict::kAskNeighbour:
        case Verdict::kOriginalStays:
            return;
    }
    hasNews = true;
    if (hold == nullptr) {
        return;
    }
    if (verdict == Verdict::kNotFollowed) {
        hold->waiting = {.ifname = hold->waiting.ifname};
    } else if (isRemembered) {
        hold->waiting.own = verdict == Verdict::kLater ? std::optional(claim) : std::nullopt;
    } else if (verdict == Verdict::kLater) {
        hold->waiting.rival = claim;
    }
}

/// Names of interfaces can be invented: who makes and removes them without end leaves no more
/// records than there are interfaces, or kMaxUnchecked.
RaRecord& RouterRecords::Find(const std::string& ifname) {
    if (records.size() >= kMaxUnchecked && !records.contains(ifname)) {
        std::erase_if(records, [this](const auto& each) { return !exists(each.first); });
    }
    return records[ifname];
}

RaRecord RouterRecords::Of(const std::string& ifname) {
    const std::lock_guard guard(mutex);
    return Find(ifname);
}

bool RouterRecords::Remembers(const std::string& ifname, const std::string& router) const {
    const std::lock_guard guard(mutex);
    const auto found = records.find(ifname);
    return found != records.end() && found->second.gateway == router;
}

bool RouterRecords::Forget(const std::string& ifname) {
    const std::lock_guard guard(mutex);
    holds.erase(ifname);
    const bool wasThere = records.erase(ifname) != 0;
    hasNews = hasNews || wasThere;
    return wasThere;
}

std::vector<RouterRecords::Waiting> RouterRecords::TakeDue(SteadyTime now) {
    const std::lock_guard guard(mutex);
    std::vector<Waiting> due;
    for (auto each = holds.begin(); each != holds.end();) {
        const auto& [until, waiting] = each->second;
        if (until > now) {
            ++each;
            continue;
        }
        if ((waiting.rival || waiting.own) && exists(each->first)) {
            due.push_back(waiting);
        }
        each = holds.erase(each);
    }
    return due;
}

std::optional<SteadyTime> RouterRecords::NextDue() const {
    const std::lock_guard guard(mutex);
    std::optional<SteadyTime> next;
    for (const auto& [ifname, hold] : holds) {
        next = Earlier(next, hold.until);
    }
    return next;
}

void RouterRecords::DropWaiting() {
    const std::lock_guard guard(mutex);
    holds.clear();
}

void RouterRecords::Publish(
    const std::function<void(const std::map<std::string, RaRecord>&)>& publish) {
    const std::lock_guard guard(mutex);
    publish(records);
    hasNews = false;
}

bool RouterRecords::HasNews() const {
    const std::lock_guard guard(mutex);
    return hasNews;
}

void RouterRecords::MarkNews() {
    const std::lock_guard guard(mutex);
    hasNews = true;
}

}  // namespace vexonetwork::network::module
