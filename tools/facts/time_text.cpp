#include "facts/time_text.h"

#include <array>
#include <cstdio>

namespace vexonetctl {
namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;

std::string Format(const char* format, const tm& parts) {
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &parts);
    return text.data();
}

}  // namespace

timespec Now() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

std::string ToUtcText(const timespec& time) {
    tm parts{};
    ::gmtime_r(&time.tv_sec, &parts);
    std::array<char, 32> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03ldZ",
                  time.tv_nsec / kNanosecondsPerMillisecond);
    return Format("%Y-%m-%dT%H:%M:%S", parts) + fraction.data();
}

std::optional<std::time_t> FromUtcText(const std::string& text) {
    tm parts{};
    const char* rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (rest == nullptr || *rest != '.' || !text.ends_with('Z')) {
        return std::nullopt;
    }
    return ::timegm(&parts);
}

std::string ToLocalText(std::time_t time) {
    tm parts{};
    ::localtime_r(&time, &parts);
    return Format("%Y-%m-%d %H:%M:%S", parts);
}

}  // namespace vexonetctl
