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
    Generator(World& world, std::uint32_t seed);

    /// One round; the last events have the daemon run, and elect where nobody else would.
    std::vector<Event> Draw();

  private:
    std::uint32_t Below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    }
    bool Chance(std::uint32_t percent) { return Below(100) < percent; }
    std::size_t AnyUplink() { return Below(World::kUplinks); }

    void Add(std::string text, std::function<void()> play);
    void AddLines(const std::string& netns, std::vector<std::string> lines);
    void AddCall(const std::string& method, const Json::Value& argument);
    void AddCtl(const std::string& arguments);
    void AddPause();
    void AddFlood(bool alongside);

    void DrawKernel();
    void DrawLink();
    void DrawFlap();
    void DrawAddress();
    void DrawAddressV6();
    void DrawMadeAnew();
    void DrawRename();
    void DrawStranger();
    void DrawLan();
    void DrawRequest();
    void DrawListRequest();
    void DrawPolicy();
    void DrawStaticRoute();
    void DrawAdvertisement();
    void DrawRestart();
    void DrawStopped();
    void Heal();

    World& world;
    std::mt19937 random;
    std::vector<bool> renamed = std::vector<bool>(World::kUplinks);
    std::vector<Event> events;
    bool needsElection = false;  ///< what no kernel event and no request elects after

    std::string NameOf(std::size_t uplink) const;
};

}  // namespace vexosoak
