#include "network/devices/side_by_side.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace vexonetwork::network {

void SideBySide::Add(PipedProgram program, Heard heard) {
    programs.push_back({std::move(program), Clock::now() + limits.patience, std::move(heard)});
}

void SideBySide::AppendTo(std::vector<pollfd>& events) const {
    for (const Program& program : programs) {
        events.push_back({::fileno(program.stream.get()), POLLIN, 0});
    }
}

SideBySide::Clock::time_point SideBySide::Deadline() const {
    auto first = Clock::time_point::max();
    for (const Program& program : programs) {
        first = std::min(first, program.deadline);
    }
    return first;
}

void SideBySide::Serve(std::span<const pollfd> events) {
    struct Told {
        Heard heard;
        std::string output;
        bool isWhole;
    };
    std::vector<Told> told;
    const auto now = Clock::now();
    auto event = events.begin();
    std::erase_if(programs, [&](Program& program) {
        const bool isSilent = (event++)->revents == 0;
        const Progress progress = isSilent ? Progress::kGoesOn : Hear(program);
        const bool isWhole = progress == Progress::kEnded;
        const bool isOver = progress != Progress::kGoesOn || now >= program.deadline
                            || program.output.size() >= limits.output;
        if (isOver) {
            told.push_back({std::move(program.heard), std::move(program.output), isWhole});
        }
        return isOver;
    });
    for (const Told& each : told) {
        each.heard(each.output, each.isWhole);
    }
}

SideBySide::Progress SideBySide::Hear(Program& program) {
    char part[4096];
    const ssize_t length = ::read(::fileno(program.stream.get()), part, sizeof part);
    if (length < 0) {
        return errno == EINTR ? Progress::kGoesOn : Progress::kBroken;
    }
    program.output.append(part, static_cast<std::size_t>(length));
    return length > 0 ? Progress::kGoesOn : Progress::kEnded;
}

int TimeoutUntil(SideBySide::Clock::time_point moment) {
    using std::chrono::milliseconds;
    const auto left = moment - SideBySide::Clock::now();
    constexpr milliseconds::rep kMax = std::numeric_limits<int>::max();
    const auto rounded = std::chrono::ceil<milliseconds>(left).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(rounded, 0, kMax));
}

}  // namespace vexonetwork::network
