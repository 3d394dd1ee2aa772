#pragma once

#include <json/json.h>

#include <set>
#include <string>
#include <vector>

#include "world.h"

namespace vexosoak {

/// Whether neither the kernel nor the daemon is about to do anything: every carrier has been told
/// of, no address is still being tried, and the daemon has slept for longer than an election may
/// be put off.
bool IsSettled(World& world);

/// What there is to see, for a person.
std::string Everything();

/// Holds everything against everything else.
class Inspector {
  public:
    explicit Inspector(World& theWorld) : world(theWorld) {}

    /// @return what does not hold, each with its facts; nothing when all is well
    std::vector<std::string> Inspect();

    /// The lines that the daemon has logged since the last call.
    std::string NewLog();

  private:
    struct Usage {
        pid_t pid = 0;
        long descriptors = 0;
        long threads = 0;
        long kibibytes = 0;
    };
    using Words = std::set<std::string>;

    void CheckElection(const std::string& family);
    void CheckPolicy(const std::string& family);
    void CheckStaticRoutes();
    void CheckFiles(const std::string& family);
    void CheckUsage();
    void CheckLog();

    std::string FirstUsable(const std::string& family);
    const Json::Value& Interface(const std::string& ifname) const;
    static Usage UsageOf(pid_t pid);

    World& world;
    Json::Value interfaces;
    Json::Value lists;  ///< by family
    std::vector<std::string> broken;
    Usage first;  ///< of this process of the daemon at rest
    std::size_t logTold = 0;
};

}  // namespace vexosoak
