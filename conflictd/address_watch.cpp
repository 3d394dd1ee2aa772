#include "address_watch.h"

#include <utility>

namespace conflictd {
namespace {

using std::chrono::seconds;

// RFC 5227 section 1.1
constexpr seconds kProbeWait(1);
constexpr int kProbeNum = 3;
constexpr seconds kProbeMin(1);
constexpr seconds kProbeMax(2);
constexpr seconds kAnnounceWait(2);
constexpr int kAnnounceNum = 2;
constexpr seconds kAnnounceInterval(2);
constexpr seconds kDefendInterval(10);

constexpr int kAll = kProbeNum + kAnnounceNum;

}  // namespace

AddressWatch::AddressWatch(Ipv4Address watched, Clock::time_point now, Draw randomTime)
    : address(watched), draw(std::move(randomTime)), due(now + draw(seconds(0), kProbeWait)) {}

bool AddressWatch::IsProbing() const {
    return sent <= kProbeNum;
}

AddressWatch::Send AddressWatch::Advance(Clock::time_point now) {
    if (now < due) {
        return Send::kNothing;
    }
    ++sent;
    if (sent < kProbeNum) {
        due = now + draw(kProbeMin, kProbeMax);
    } else if (sent == kProbeNum) {
        due = now + kAnnounceWait;
    } else {
        due = sent < kAll ? now + kAnnounceInterval : Clock::time_point::max();
    }
    return sent <= kProbeNum ? Send::kProbe : Send::kAnnouncement;
}

AddressWatch::Verdict AddressWatch::Judge(const ArpPacket& packet, Clock::time_point now) {
    const bool isProbe = packet.operation == ArpPacket::kRequest && packet.senderIp == 0;
    if (packet.senderIp != address && !(isProbe && packet.targetIp == address && IsProbing())) {
        return {};
    }
    if (IsProbing()) {
        isLost = true;
        sent = kAll;
        due = Clock::time_point::max();
    }
    if (isLost || (defended && now - *defended < kDefendInterval)) {
        return {.isConflict = true};
    }
    defended = now;
    return {.isConflict = true, .isDefended = true};
}

}  // namespace conflictd
