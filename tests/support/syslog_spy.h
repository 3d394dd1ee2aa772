#pragma once

#include <string>
#include <vector>

namespace vexotest {

/// One line as it went to the system log.
struct LogLine {
    int level = 0;        ///< LOG_ERR
    std::string source;   ///< "route_module"
    int line = 0;         ///< number that the message carries
    std::string message;  ///< without source and line
};

/// Collects what the process logs while the spy lives, in place of sending it to the system log.
/// One spy at a time; lines may come from any thread.
class SyslogSpy {
  public:
    SyslogSpy();
    ~SyslogSpy();
    SyslogSpy(const SyslogSpy&) = delete;
    SyslogSpy& operator=(const SyslogSpy&) = delete;

    std::vector<LogLine> Lines() const;

    /// The messages alone, for comparing with a whole list.
    std::vector<std::string> Messages() const;

    /// Whether a line of this source with exactly this message was logged.
    bool Has(const std::string& source, const std::string& message) const;

    /// The same with the level, LOG_ERR; for tables of a room's messages.
    bool Has(int level, const std::string& source, const std::string& message) const;

    /// Forgets what was collected.
    void Clear();
};

}  // namespace vexotest
