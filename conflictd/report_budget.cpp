#include "report_budget.h"

#include <algorithm>

namespace conflictd {
namespace {

constexpr std::chrono::minutes kHoldOff(1);
constexpr std::ptrdiff_t kMaxOfAddress = 3;

}  // namespace

ReportBudget::Answer ReportBudget::Ask(Ipv4Address address, const MacAddress& mac,
                                       Clock::time_point now) {
    while (!told.empty() && now - told.front().time >= kHoldOff) {
        told.pop_front();
    }
    const auto isSame = [&](const Report& report) {
        return report.address == address && report.mac == mac;
    };
    if (std::any_of(told.begin(), told.end(), isSame)) {
        return Answer::kKnown;
    }
    const auto ofAddress = std::count_if(
        told.begin(), told.end(), [&](const Report& report) { return report.address == address; });
    if (ofAddress >= kMaxOfAddress || !inMinute.Spend(now) || !inHour.Spend(now)) {
        return Answer::kTooMany;
    }
    told.push_back({address, mac, now});
    return Answer::kTell;
}

}  // namespace conflictd
