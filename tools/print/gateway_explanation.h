#pragma once

#include <json/json.h>

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "facts/default_route.h"
#include "facts/family.h"

namespace vexonetctl {

/// What an election makes of one entry.
struct Explained {
    Json::Value entry;
    std::string verdict;  ///< one word: "taken", "no_link", ...
    std::string reason;   ///< a sentence of it; "" where the verdict says it all
};

/// What an election would do now, beside what the kernel has.
struct Explanation {
    const Family& family;
    std::vector<Explained> candidates;      ///< in list order
    std::optional<DefaultRoute> elected;    ///< of the entry that an election would take
    std::optional<DefaultRoute> installed;  ///< the kernel's
    bool agree = false;                     ///< whether both are the same, or both none
};

/// Walks the list as the daemon's election does. Where that would try a route, the kernel is asked
/// whether it has what it demands of one; nothing is installed.
Explanation ExplainElection(const Family& family, const Json::Value& entries);

/// What the difference of the two means, and the command against it; "" where there is none.
struct Advice {
    std::string meaning;
    std::string command;
};
Advice AdviceOn(const Explanation& explanation);

void Print(std::ostream& out, const Explanation& explanation);
Json::Value ToJson(const Explanation& explanation);

}  // namespace vexonetctl
