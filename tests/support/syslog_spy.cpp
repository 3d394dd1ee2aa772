#include "support/syslog_spy.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <mutex>

namespace vexotest {
namespace {

std::mutex mutex;
bool listening = false;
std::vector<LogLine> lines;

/// Takes "source:line message" apart.
LogLine Parse(int level, const std::string& text) {
    const auto colon = text.find(':');
    const auto end = text.find_first_not_of("0123456789", colon + 1);
    if (colon == text.npos || end == text.npos || end == colon + 1 || text[end] != ' ') {
        return {level, "", 0, text};
    }
    return {level, text.substr(0, colon), std::atoi(text.c_str() + colon + 1),
            text.substr(end + 1)};
}

void Collect(int level, const char* format, va_list arguments) {
    char text[8192];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::lock_guard guard(mutex);
    if (listening) {
        lines.push_back(Parse(level, text));
    }
}

}  // namespace

SyslogSpy::SyslogSpy() {
    const std::lock_guard guard(mutex);
    listening = true;
    lines.clear();
}

SyslogSpy::~SyslogSpy() {
    const std::lock_guard guard(mutex);
    listening = false;
}

std::vector<LogLine> SyslogSpy::Lines() const {
    const std::lock_guard guard(mutex);
    return lines;
}

std::vector<std::string> SyslogSpy::Messages() const {
    std::vector<std::string> messages;
    std::ranges::transform(Lines(), std::back_inserter(messages), &LogLine::message);
    return messages;
}

bool SyslogSpy::Has(const std::string& source, const std::string& message) const {
    return std::ranges::any_of(Lines(), [&](const LogLine& line) {
        return line.source == source && line.message == message;
    });
}

bool SyslogSpy::Has(int level, const std::string& source, const std::string& message) const {
    return std::ranges::any_of(Lines(), [&](const LogLine& line) {
        return line.level == level && line.source == source && line.message == message;
    });
}

void SyslogSpy::Clear() {
    const std::lock_guard guard(mutex);
    lines.clear();
}

}  // namespace vexotest

// The libraries' calls end here: the test program's definitions come before libc's.
extern "C" {

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vexotest::Collect(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vexotest::Collect(priority, format, arguments);
    va_end(arguments);
}
}
