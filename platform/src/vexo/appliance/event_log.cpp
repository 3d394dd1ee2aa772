#include "vexo/event_log.h"

#include <fcntl.h>
#include <json/value.h>
#include <json/writer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>

#include "vlib/error.h"

namespace {

constexpr char kFolder[] = "/var/log/vexo";
constexpr char kFile[] = "/var/log/vexo/events.jsonl";

int Priority(int level) {
    constexpr int kPriorities[] = {LOG_INFO, LOG_WARNING, LOG_ERR};
    return kPriorities[level - 1];
}

/// ISO 8601 in UTC, to the millisecond.
std::string Now() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    ::gmtime_r(&now.tv_sec, &parts);
    char seconds[32];
    std::strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03ldZ", seconds, now.tv_nsec / 1000000);
    return text;
}

/// One line; jsoncpp writes whatever the arguments hold as plain ASCII.
std::string EntryLine(int level, int event, const std::vector<std::string>& arguments) {
    Json::Value entry(Json::objectValue);
    entry["time"] = Now();
    entry["event"] = event;
    entry["level"] = level;
    entry["arguments"] = Json::Value(Json::arrayValue);
    for (const std::string& argument : arguments) {
        entry["arguments"].append(argument);
    }
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    return Json::writeString(compact, entry) + "\n";
}

/// One write, so that entries of several processes do not mix.
int AppendLine(const std::string& line) {
    ::mkdir(kFolder, 0755);
    const vexobase::UniqueFd file(::open(kFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    if (!file) {
        return -1;
    }
    const ssize_t written = ::write(file.Get(), line.data(), line.size());
    if (written >= 0 && written != static_cast<ssize_t>(line.size())) {
        errno = ENOSPC;
        return -1;
    }
    return written < 0 ? -1 : 0;
}

}  // namespace

int VEXOLogSet1(int level, int /*kind*/, int event, const char* a1, const char* a2, const char* a3,
                const char* a4, const char* a5, const char* a6, const char* a7) {
    if (level < 1 || level > 3) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    std::vector<std::string> arguments;
    for (const char* argument : {a1, a2, a3, a4, a5, a6, a7}) {
        arguments.emplace_back(argument == nullptr ? "" : argument);
    }
    // Those after the last that says something are only there because a call has seven places.
    while (!arguments.empty() && arguments.back().empty()) {
        arguments.pop_back();
    }
    std::string shown;
    for (const std::string& argument : arguments) {
        shown += " [" + argument + "]";
    }
    VEXO_LOG(Priority(level), "Event %d%s", event, shown.c_str());
    if (AppendLine(EntryLine(level, event, arguments)) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to write [%s]: %s", kFile, std::strerror(errno));
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return -1;
    }
    return 0;
}
