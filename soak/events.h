#pragma once

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "world.h"

namespace vexosoak {

struct Event {
    std::string text;  ///< what a person reads
    std::function<void()> play;
};

/// Draws events. What it draws depends on the seed and what it drew before, on nothing else.
class Generator {
  public:
    Generator(World& theWorld, std::uint32_t seed) : world(theWorld), random(seed) {}

    /// The events of one round. They leave the daemon running, and end with an election where
    /// none of them elects although it changes what an election would find.
    std::vector<Event> Draw();

  private:
    std::uint32_t Below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    }
    bool Chance(std::uint32_t percent) { return Below(100) < percent; }

    void Add(std::string text, std::function<void()> play);
    void AddLines(const std::string& netns, std::vector<std::string> lines);
    void AddCall(const std::string& method, const std::string& argument);
    void AddCtl(const std::string& arguments);
    void AddPause();
    void AddFlood(bool alongside);

    void DrawKernel();
    void DrawMadeAnew(std::size_t port);
    void DrawRename(std::size_t port);
    void DrawRequest();
    void DrawListRequest();
    void DrawAdvertisement();
    void DrawStranger();
    void DrawStopped();
    void DrawRestart();
    void Heal();

    std::string NameOf(std::size_t port) const;

    World& world;
    std::mt19937 random;
    std::vector<bool> renamed = std::vector<bool>(World::kPorts);
    std::vector<Event> events;
    bool needsElection = false;
};

}  // namespace vexosoak
