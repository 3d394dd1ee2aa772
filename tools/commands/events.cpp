#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <vexonetwork/utils/json_reader.h>

#include "commands/commands.h"
#include "facts/event_file.h"
#include "failure.h"
#include "print/logged_event.h"
#include "print/table.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t kUsualCount = 100;

struct KnownEvent {
    int number;
    const char* text;  ///< %1, %2 and so on are arguments
};

constexpr std::array<KnownEvent, 6> kKnownEvents = {{
    {293606159, "default gateway is none still"},
    {293606160, "default gateway %1 removed"},
    {293606161, "default gateway changed from %1 to %2"},
    {0x11801322, "link of %1 is up"},
    {0x11801323, "link of %1 is down"},
    {kConflictEvent, "address %2 of %1 is also used by %3"},
}};

struct EventsOptions {
    bool json = false;
    std::size_t count = kUsualCount;
};

/// The text with the arguments in place; those it has no place for are left out.
std::string Fill(const std::string& pattern, const Texts& arguments) {
    std::string text;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            text += pattern[i];
            continue;
        }
        const auto index = std::size_t(pattern[++i] - '1');
        const bool isEmpty = index >= arguments.size() || arguments[index].empty();
        text += isEmpty ? "none" : arguments[index];
    }
    return text;
}

std::string Say(const LoggedEvent& event) {
    const auto known = std::ranges::find(kKnownEvents, event.number, &KnownEvent::number);
    if (known != kKnownEvents.end()) {
        return Fill(known->text, event.arguments);
    }
    std::string text = "event " + std::to_string(event.number);
    for (const std::string& argument : event.arguments) {
        text += " [" + argument + "]";
    }
    return text;
}

Table::Row RowOf(const LoggedEvent& event) {
    constexpr std::array kLevels = {"info", "warning", "error"};
    const bool isKnown = event.level >= 1 && event.level <= int(kLevels.size());
    return {LocalTimeOf(event),
            isKnown ? kLevels[std::size_t(event.level - 1)] : std::to_string(event.level),
            Say(event)};
}

void SayDamaged(int damaged) {
    if (damaged > 0) {
        std::cout.flush();
        std::cerr << "vexonetctl: " << damaged
                  << (damaged == 1 ? " damaged line of " : " damaged lines of ") << kEventLog
                  << (damaged == 1 ? " is left out\n" : " are left out\n");
    }
}

void ShowEvents(const EventsOptions& options) {
    Table table({"TIME", "LEVEL", "EVENT"});
    int shown = 0;
    int damaged = 0;
    VisitLastLines(kEventLog, options.count, [&](const std::string& line) {
        Json::Value entry;
        const bool isJson = vexonetwork::utils::ParseJson(line, entry);
        const auto event = isJson ? ReadLoggedEvent(entry) : std::nullopt;
        if (!event) {
            ++damaged;
        } else if (options.json) {
            std::cout << vexonetwork::utils::ToCompactText(entry);
        } else {
            table.Add(RowOf(*event));
        }
        shown += event ? 1 : 0;
    });
    if (shown == 0 && !options.json) {
        std::cout << "no events yet\n";
    } else if (!options.json) {
        table.Print(std::cout);
    }
    SayDamaged(damaged);
}

}  // namespace

void AddEventsCommand(CLI::App& app, Command& chosen) {
    CLI::App* events = app.add_subcommand("events", "Show the appliance's event log");
    const auto options = std::make_shared<EventsOptions>();
    events->add_flag("--json", options->json, "Print one JSON object per line, as it is stored");
    events->add_option("-n,--count", options->count, "Show the last COUNT; 100 otherwise")
        ->option_text("COUNT")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1'000'000}));
    events->footer(
        "Times are local. With --json they are in UTC.\n\n"
        "Example: vexonetctl events -n 20");
    events->callback([options, &chosen] { chosen = [options] { ShowEvents(*options); }; });
}

}  // namespace vexonetctl
