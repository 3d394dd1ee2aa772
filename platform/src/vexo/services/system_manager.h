#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>
#include <utility>

#include <vexobase/unique_handle.h>

namespace vexoplatform {

/// A connection to the system manager, org.freedesktop.systemd1. Every failure is logged.
class SystemManager {
  public:
    /// Whether a manager runs; when none does, the log says so. One look at a file.
    static bool Runs();

    /// @return nothing when no manager runs or it cannot be reached
    static std::optional<SystemManager> Connect();

    /// Makes or removes the links that start the unit with the system, then has the manager read
    /// its units again.
    bool SetEnabled(const std::string& unit, bool enabled);

    /// Queues a job and waits until it is done.
    /// @param method  of the manager: "StartUnit", "StopUnit", ...
    bool RunJob(const char* method, const std::string& unit);

    /// Queues a job in place of those of the unit that wait, and does not wait for its end.
    /// Those that must not wait for the bus either use QueueUnitJob.
    /// @param method  as for RunJob
    bool QueueJob(const char* method, const std::string& unit);

    /// @return 1 when the unit is active, 0 when not, -1 when the manager did not answer
    int IsActive(const std::string& unit);

  private:
    static void CloseBus(sd_bus* bus) { sd_bus_flush_close_unref(bus); }
    static void FreeMessage(sd_bus_message* message) { sd_bus_message_unref(message); }
    using Bus = vexobase::UniqueHandle<sd_bus, CloseBus>;
    using Message = vexobase::UniqueHandle<sd_bus_message, FreeMessage>;

    explicit SystemManager(Bus connection) : bus(std::move(connection)) {}

    /// Calls a method of the manager; the arguments are those of sd_bus_call_method.
    /// @return the reply, or nothing, then logged
    template <typename... Arguments>
    Message Call(const char* method, const std::string& unit, const char* types,
                 Arguments... arguments);

    Bus bus;
};

/// The unit's full name: one without the suffix of a unit type is a service's.
std::string FullUnitName(const std::string& unit);

}  // namespace vexoplatform
