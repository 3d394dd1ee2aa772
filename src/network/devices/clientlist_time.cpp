#include <array>
#include <cstdlib>
#include <ctime>
#include <string>

#include "vexonetwork/network/clientlist.h"

namespace vexonetwork::network {

namespace {

/// Texts of the last second, as many updates come at once.
struct TimeText {
    std::time_t time = -1;
    std::string text;
};

int IsoYear(const std::tm& parts) {
    std::array<char, sizeof "2147485547"> text{};
    std::strftime(text.data(), text.size(), "%G", &parts);
    return std::atoi(text.data());
}

}  // namespace

std::string ClientList::GetLocalTime() {
    thread_local TimeText last;
    const std::time_t now = std::time(nullptr);
    if (now != last.time) {
        std::tm local{};
        std::array<char, 1024> text;
        // The zone may have been changed since; localtime_r alone would not look.
        ::tzset();
        ::localtime_r(&now, &local);
        last.text.assign(text.data(),
                         std::strftime(text.data(), text.size(), "%T %G/%m/%d", &local));
        last.time = now;
    }
    return last.text;
}

std::optional<std::time_t> ClientList::ParseLocalTime(const std::string& text, std::time_t now) {
    constexpr int kFirstYear = 1900;
    std::tm parts{};
    const char* rest = ::strptime(text.c_str(), "%H:%M:%S %Y/%m/%d", &parts);
    if (rest == nullptr || *rest != '\0') {
        return std::nullopt;
    }
    // The last days of December may bear the next year's number, the first of January the last's.
    const int isoYear = parts.tm_year + kFirstYear;
    for (const int year : {isoYear + 1, isoYear, isoYear - 1}) {
        std::tm candidate = parts;
        candidate.tm_year = year - kFirstYear;
        candidate.tm_isdst = -1;
        const std::time_t time = ::mktime(&candidate);
        const bool isSameDay = candidate.tm_mday == parts.tm_mday;
        if (time != -1 && time <= now && isSameDay && IsoYear(candidate) == isoYear) {
            return time;
        }
    }
    return std::nullopt;
}

}  // namespace vexonetwork::network
