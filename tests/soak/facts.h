#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "world.h"

namespace vexosoak {

/// Whether neither the kernel nor the daemon is about to do anything: every carrier has been told
/// of, no address is still being tried, and the daemon has slept for longer than an election may
/// be put off.
bool IsSettled(World& world);

/// What the daemon has at rest; a restart begins it anew.
struct Usage {
    pid_t pid = 0;
    long descriptors = 0;
    long threads = 0;
    long kibibytes = 0;
};

/// Holds everything against everything else.
class Inspector {
  public:
    explicit Inspector(World& theWorld) : world(theWorld) {}

    /// @return what does not hold, each with its facts; nothing when all is well
    std::vector<std::string> Inspect();

    /// What there is to see, for a person.
    static std::string Everything();

    /// The lines that the daemon has logged since the last call.
    std::string NewLog();

  private:
    void Look();
    void CheckElection(const std::string& family);
    void CheckPolicy(const std::string& family);
    void CheckStaticRoutes();
    void CheckFiles(const std::string& type);
    void CheckUsage();
    void CheckLog();
    std::string FirstUsable(const std::string& family) const;
    const Json::Value* Interface(const std::string& ifname) const;
    void Broken(std::string what) { broken.push_back(std::move(what)); }

    World& world;
    Json::Value interfaces;
    Json::Value lists[2];
    std::vector<std::string> broken;
    Usage first;
    std::size_t logRead = 0;
    std::size_t logChecked = 0;
};

}  // namespace vexosoak
