#pragma once

#include <chrono>
#include <optional>

namespace vexoservice {

/// Tells the supervisor something, as sd_notify(3) does, but never waits: a supervisor that does
/// not listen must not stop what it supervises.
/// @param state  "READY=1", "WATCHDOG=1"
/// @return whether there is no more to do: it was told, nobody wants to hear it, or a log line says
///         why it cannot be told. False, without a line, when the supervisor's queue is full: what
///         must arrive is then told again later
bool TellSupervisor(const char* state);

/// How long to wait for a queue that is full.
constexpr std::chrono::milliseconds kTellAgain(100);

/// How often the supervisor is to be told "WATCHDOG=1": half of what it asks for.
/// @return nothing when it does not ask
std::optional<std::chrono::microseconds> WatchdogInterval();

}  // namespace vexoservice
