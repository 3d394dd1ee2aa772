#include "vexo/services/system_manager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>

#include <vexobase/log.h>

namespace vexoplatform {

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr char kDestination[] = "org.freedesktop.systemd1";
constexpr char kPath[] = "/org/freedesktop/systemd1";
constexpr char kInterface[] = "org.freedesktop.systemd1.Manager";
constexpr microseconds kCallTimeout = std::chrono::seconds(30);
// A unit has 90 s to start or stop, and may have others to wait for.
constexpr microseconds kJobTimeout = std::chrono::seconds(180);

class Error {
  public:
    Error() = default;
    ~Error() { sd_bus_error_free(&error); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    sd_bus_error* Get() { return &error; }
    const char* Text(int result) const {
        return error.message != nullptr ? error.message : std::strerror(-result);
    }

  private:
    sd_bus_error error{};
};

void LogFailure(const char* method, const std::string& unit, const char* reason) {
    VEXO_LOG(LOG_ERR, "The system manager failed to %s [%s]: %s", method, unit.c_str(), reason);
}

/// Hears of the jobs that end. It listens before a job is queued, for the job may end before its
/// name has come back.
class EndedJobs {
  public:
    explicit EndedJobs(sd_bus* connection) : bus(connection) {}
    ~EndedJobs() { sd_bus_slot_unref(slot); }
    EndedJobs(const EndedJobs&) = delete;
    EndedJobs& operator=(const EndedJobs&) = delete;

    int Listen() {
        return sd_bus_match_signal(bus, &slot, kDestination, kPath, kInterface, "JobRemoved",
                                   Notice, &results);
    }

    /// @return 0 with the job's result, or a negative error number
    int Wait(const std::string& job, std::string& result) {
        const auto deadline = steady_clock::now() + kJobTimeout;
        while (!results.contains(job)) {
            const auto left = std::chrono::ceil<microseconds>(deadline - steady_clock::now());
            if (left <= microseconds::zero()) {
                return -ETIMEDOUT;
            }
            int progress = sd_bus_process(bus, nullptr);
            if (progress == 0) {
                progress = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
            }
            if (progress < 0 && progress != -EINTR) {
                return progress;
            }
        }
        result = results[job];
        return 0;
    }

  private:
    static int Notice(sd_bus_message* message, void* results, sd_bus_error* /*error*/) {
        const char* job = nullptr;
        const char* result = nullptr;
        if (sd_bus_message_read(message, "uoss", nullptr, &job, nullptr, &result) >= 0) {
            (*static_cast<std::map<std::string, std::string>*>(results))[job] = result;
        }
        return 0;
    }

    sd_bus* bus;
    sd_bus_slot* slot = nullptr;
    std::map<std::string, std::string> results;
};

}  // namespace

bool SystemManager::Runs() {
    if (sd_booted() > 0) {
        return true;
    }
    VEXO_LOG(LOG_ERR, "No system manager is running");
    return false;
}

std::optional<SystemManager> SystemManager::Connect() {
    if (!Runs()) {
        return std::nullopt;
    }
    sd_bus* connection = nullptr;
    const int result = sd_bus_open_system(&connection);
    if (result < 0) {
        VEXO_LOG(LOG_ERR, "Failed to connect to the system bus: %s", std::strerror(-result));
        return std::nullopt;
    }
    sd_bus_set_method_call_timeout(connection, kCallTimeout.count());
    return SystemManager(Bus(connection));
}

template <typename... Arguments>
SystemManager::Message SystemManager::Call(const char* method, const std::string& unit,
                                           const char* types, Arguments... arguments) {
    Error error;
    Message reply;
    const int result = sd_bus_call_method(bus.Get(), kDestination, kPath, kInterface, method,
                                          error.Get(), reply.Address(), types, arguments...);
    if (result < 0) {
        LogFailure(method, unit, error.Text(result));
        return Message();
    }
    return reply;
}

bool SystemManager::SetEnabled(const std::string& unit, bool enabled) {
    constexpr int kPermanently = 0;
    constexpr int kKeepOtherLinks = 0;
    const Message changed =
        enabled
            ? Call("EnableUnitFiles", unit, "asbb", 1, unit.c_str(), kPermanently, kKeepOtherLinks)
            : Call("DisableUnitFiles", unit, "asb", 1, unit.c_str(), kPermanently);
    return changed && Call("Reload", unit, "");
}

bool SystemManager::QueueJob(const char* method, const std::string& unit) {
    return static_cast<bool>(Call(method, unit, "ss", unit.c_str(), "replace"));
}

bool SystemManager::RunJob(const char* method, const std::string& unit) {
    EndedJobs jobs(bus.Get());
    // The manager tells of jobs only while someone has subscribed.
    if (!Call("Subscribe", unit, "")) {
        return false;
    }
    int error = jobs.Listen();
    if (error < 0) {
        LogFailure(method, unit, std::strerror(-error));
        return false;
    }
    const Message reply = Call(method, unit, "ss", unit.c_str(), "replace");
    if (!reply) {
        return false;
    }
    const char* job = nullptr;
    std::string result;
    error = sd_bus_message_read(reply.Get(), "o", &job);
    if (error >= 0) {
        error = jobs.Wait(job, result);
    }
    if (error < 0 || result != "done") {
        LogFailure(method, unit, error < 0 ? std::strerror(-error) : result.c_str());
        return false;
    }
    return true;
}

int SystemManager::IsActive(const std::string& unit) {
    // Units that nothing refers to are not in memory; loading one that does not exist succeeds.
    const Message reply = Call("LoadUnit", unit, "s", unit.c_str());
    const char* path = nullptr;
    if (!reply || sd_bus_message_read(reply.Get(), "o", &path) < 0) {
        return -1;
    }
    Error error;
    char* state = nullptr;
    const int result =
        sd_bus_get_property_string(bus.Get(), kDestination, path, "org.freedesktop.systemd1.Unit",
                                   "ActiveState", error.Get(), &state);
    if (result < 0) {
        LogFailure("tell the state of", unit, error.Text(result));
        return -1;
    }
    const std::string text(state);
    std::free(state);
    return text == "active" || text == "reloading" ? 1 : 0;
}

std::string FullUnitName(const std::string& unit) {
    constexpr const char* kSuffixes[] = {".service", ".socket", ".target",    ".timer",
                                         ".path",    ".mount",  ".automount", ".swap",
                                         ".slice",   ".scope",  ".device"};
    const bool isFull =
        std::ranges::any_of(kSuffixes, [&](const char* suffix) { return unit.ends_with(suffix); });
    return isFull ? unit : unit + ".service";
}

}  // namespace vexoplatform
