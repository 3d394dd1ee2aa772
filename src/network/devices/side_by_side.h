#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "network/piped_program.h"

namespace vexonetwork::network {

/// Programs that run side by side and whose outputs are gathered, none of them waited for: whoever
/// owns it polls their descriptors among others. Those that still run are killed when it dies.
class SideBySide {
  public:
    using Clock = std::chrono::steady_clock;

    struct Limits {
        std::size_t atOnce;        ///< programs
        Clock::duration patience;  ///< that each is given; it is killed then
        std::size_t output;        ///< bytes of each; one that says more is killed
    };

    /// Takes what a program has said.
    /// @param isWhole  whether it came to an end within the limits
    using Heard = std::function<void(const std::string& output, bool isWhole)>;

    explicit SideBySide(const Limits& given) : limits(given) {}

    bool HasRoom() const { return programs.size() < limits.atOnce; }
    bool IsIdle() const { return programs.empty(); }

    /// @param heard  called once, by Serve, unless the object dies before
    void Add(PipedProgram program, Heard heard);

    /// Appends an event to wait for of each program.
    void AppendTo(std::vector<pollfd>& events) const;

    /// When Serve is to be called although nobody says anything; max() when nothing runs.
    Clock::time_point Deadline() const;

    /// Hears those that speak and ends those whose time is over. No program may have been added
    /// since the events were appended.
    /// @param events  what AppendTo appended
    void Serve(std::span<const pollfd> events);

  private:
    struct Program {
        PipedProgram stream;
        Clock::time_point deadline;
        Heard heard;
        std::string output = {};
    };

    enum class Progress { kGoesOn, kEnded, kBroken };

    static Progress Hear(Program& program);

    Limits limits;
    std::vector<Program> programs;
};

/// The timeout for poll(2) so that it returns at `moment`, and not before.
int TimeoutUntil(SideBySide::Clock::time_point moment);

}  // namespace vexonetwork::network
