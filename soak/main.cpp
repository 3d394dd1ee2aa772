// soak [--rounds N] [--keep-going] [SECONDS [SEED]]: rounds of random events around the daemon,
// after each of which everything must be in step. Runs in the namespace box.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <string>

#include "events.h"
#include "facts.h"
#include <CLI/CLI.hpp>

namespace vexosoak {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

/// A carrier is told of after a second, an address tried for two; the machine may be busy.
constexpr seconds kUntilSettled(30);

/// What the daemon may take from there on.
constexpr seconds kUntilInStep(4);

struct Options {
    long duration = 60;
    std::uint32_t seed = static_cast<std::uint32_t>(std::time(nullptr));
    unsigned rounds = 0;  ///< 0: as many as there is time for
    bool keepGoing = false;
    std::vector<std::string> known;  ///< words of faults that are looked for no more
};

class Soak {
  public:
    explicit Soak(const Options& given) : options(given) {}

    /// @return whether everything held
    bool Run();

  private:
    bool IsOver() const;
    std::vector<std::string> Inspect();
    void PlayRound();
    std::vector<std::string> Hold();
    void Tell(const std::vector<std::string>& broken);
    void ShowProgress() const;

    Options options;
    World world;
    Generator generator{world, options.seed};
    Inspector inspector{world};
    std::vector<Event> events;
    unsigned rounds = 0;
    std::size_t played = 0;
    unsigned brokenRounds = 0;
    std::map<std::string, unsigned> kinds;  ///< broken rounds by what broke
    steady_clock::time_point start = steady_clock::now();
};

bool Soak::IsOver() const {
    if (options.rounds != 0) {
        return rounds >= options.rounds;
    }
    return steady_clock::now() - start >= seconds(options.duration);
}

std::vector<std::string> Soak::Inspect() {
    auto broken = inspector.Inspect();
    std::erase_if(broken, [this](const std::string& each) {
        return std::ranges::any_of(
            options.known, [&](const std::string& word) { return each.find(word) != each.npos; });
    });
    return broken;
}

std::vector<std::string> Soak::Hold() {
    const auto settleUntil = steady_clock::now() + kUntilSettled;
    while (!IsSettled(world)) {
        if (steady_clock::now() > settleUntil) {
            return {"not quiet: children of the daemon are " + vexotest::Run({"ps", "-ef"}).out};
        }
        ::usleep(5'000);
    }
    const auto until = steady_clock::now() + kUntilInStep;
    auto broken = Inspect();
    while (!broken.empty() && steady_clock::now() < until) {
        ::usleep(50'000);
        broken = Inspect();
    }
    return broken;
}

void Soak::PlayRound() {
    events = generator.Draw();
    ++rounds;
    played += events.size();
    for (const Event& event : events) {
        event.play();
    }
    if (const auto broken = Hold(); !broken.empty()) {
        ++brokenRounds;
        Tell(broken);
    }
    inspector.NewLog();
}

void Soak::Tell(const std::vector<std::string>& broken) {
    std::printf("round %u of seed %u is broken:\n", rounds, options.seed);
    for (const std::string& each : broken) {
        std::printf("  %s\n", each.c_str());
        ++kinds[each.substr(0, each.find(':'))];
    }
    std::printf("its events:\n");
    for (const Event& event : events) {
        std::printf("  %s\n", event.text.c_str());
    }
    std::printf("%s--- log of the round\n%s\n", Everything().c_str(), inspector.NewLog().c_str());
    std::fflush(stdout);
}

void Soak::ShowProgress() const {
    if (::isatty(STDERR_FILENO)) {
        std::fprintf(stderr, "\rround %u, %zu events, %u broken ", rounds, played, brokenRounds);
    }
}

bool Soak::Run() {
    std::printf("seed %u\n", options.seed);
    std::fflush(stdout);
    while (!IsOver() && (brokenRounds == 0 || options.keepGoing)) {
        PlayRound();
        ShowProgress();
    }
    std::printf("\n%u rounds, %zu events, %u broken; again with seed %u\n", rounds, played,
                brokenRounds, options.seed);
    for (const auto& [kind, count] : kinds) {
        std::printf("  %s: %u\n", kind.c_str(), count);
    }
    return brokenRounds == 0 && !testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
}

}  // namespace
}  // namespace vexosoak

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    vexosoak::Options options;
    CLI::App app("Rounds of random events around the daemon");
    app.add_option("SECONDS", options.duration, "How long")->check(CLI::PositiveNumber);
    app.add_option("SEED", options.seed, "The same one gives the same events");
    app.add_option("--rounds", options.rounds, "So many rounds, however long they take");
    app.add_flag("--keep-going", options.keepGoing, "Go on after a broken round");
    app.add_option("--known", options.known, "Pass over what has this word")
        ->allow_extra_args(false);
    CLI11_PARSE(app, argc, argv);
    return vexosoak::Soak(options).Run() ? 0 : 1;
}
