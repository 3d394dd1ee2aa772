#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <memory>

#include <vexonetwork/utils/json_reader.h>

#include "commands/commands.h"
#include "facts/hook_events.h"
#include "facts/kernel_events.h"
#include "facts/time_text.h"
#include "failure.h"
#include "print/line_writer.h"
#include "print/printable.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

constexpr std::size_t kKindWidth = 9;

/// Readable once the program is asked to end, which then no longer happens by itself.
vexobase::UniqueFd TakeStopSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    vexobase::UniqueFd stop(::signalfd(-1, &signals, SFD_CLOEXEC));
    if (!stop) {
        throw Failure(kRefused, "cannot wait for signals");
    }
    return stop;
}

std::string ToJsonLine(const Event& event) {
    Json::Value object = event.details;
    object["kind"] = event.kind;
    object["time"] = ToUtcText(Now());
    std::string line = vexonetwork::utils::ToCompactText(object);
    line.pop_back();  // its newline
    return line;
}

std::string ToTextLine(const Event& event) {
    std::string kind = event.kind;
    kind.resize(kKindWidth, ' ');
    return Printable(ToLocalText(Now().tv_sec) + "  " + kind + event.text);
}

/// @return false when it is time to end
bool Wait(const KernelEvents& kernel, const HookEvents& hooks, int stop) {
    // Of standard output only its reader's end is of interest. A negative descriptor is none.
    pollfd events[] = {{stop, POLLIN, 0},
                       {STDOUT_FILENO, 0, 0},
                       {kernel.Descriptor(), POLLIN, 0},
                       {hooks.Descriptor(), POLLIN, 0}};
    if (::poll(events, std::size(events), -1) < 0) {
        return errno == EINTR;
    }
    return events[0].revents == 0 && events[1].revents == 0;
}

std::vector<Event> Take(KernelEvents& kernel, HookEvents& hooks) {
    std::vector<Event> events = kernel.Read();
    if (hooks.Descriptor() >= 0) {
        if (auto event = hooks.Read()) {
            events.push_back(std::move(*event));
        }
    }
    return events;
}

void Monitor(bool json) {
    const vexobase::UniqueFd stop = TakeStopSignals();
    KernelEvents kernel;
    HookEvents hooks;
    if (!hooks.Trouble().empty()) {
        std::cerr << "vexonetctl: kernel events only: " << hooks.Trouble() << '\n';
    }
    LineWriter writer(stop.Get());
    while (Wait(kernel, hooks, stop.Get())) {
        for (const Event& event : Take(kernel, hooks)) {
            if (!writer.Write(json ? ToJsonLine(event) : ToTextLine(event))) {
                return;
            }
        }
    }
}

}  // namespace

void AddMonitorCommand(CLI::App& app, Command& chosen) {
    CLI::App* monitor = app.add_subcommand("monitor", "Print link, address, route and hook events");
    const auto json = std::make_shared<bool>(false);
    monitor->add_flag("--json", *json, "Print one JSON object per line");
    monitor->footer(
        "Runs until it is interrupted. Needs no daemon.\n\n"
        "Example: vexonetctl monitor --json");
    monitor->callback([json, &chosen] { chosen = [json] { Monitor(*json); }; });
}

}  // namespace vexonetctl
