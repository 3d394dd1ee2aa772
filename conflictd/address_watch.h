#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "arp_packet.h"

namespace conflictd {

using Clock = std::chrono::steady_clock;

/// Draws a time between two, so that hosts that start together do not speak together.
using Draw = std::function<Clock::duration(Clock::duration least, Clock::duration most)>;

/// What RFC 5227 has a host do about one of its addresses, as a function of time and packets.
///
/// The kernel has the address already, so a probe is a check. When nobody objects, the address is
/// announced; then it is watched for as long as it is there. An administrator's address is not
/// given up, but it is defended no more often than every DEFEND_INTERVAL (section 2.4). One that a
/// probe has found with somebody else is his (section 2.1.1): it is not defended at all.
class AddressWatch {
  public:
    enum class Send { kNothing, kProbe, kAnnouncement };

    struct Verdict {
        bool isConflict = false;
        bool isDefended = false;  ///< an announcement has to be sent
    };

    /// @param randomTime  also kept
    AddressWatch(Ipv4Address watched, Clock::time_point now, Draw randomTime);

    /// When Advance has something to do; time_point::max() when only packets matter now.
    Clock::time_point Due() const { return due; }

    /// What has to be sent now. To be called until it is nothing.
    Send Advance(Clock::time_point now);

    /// @param packet  of a sender that is none of this machine's interfaces
    Verdict Judge(const ArpPacket& packet, Clock::time_point now);

    /// Whether probes of others count: they want the address that is being claimed. Later on, the
    /// kernel answers them, and they keep off.
    bool IsProbing() const;

  private:
    Ipv4Address address;
    Draw draw;
    int sent = 0;  ///< probes and announcements
    Clock::time_point due;
    bool isLost = false;  ///< somebody else had it first
    std::optional<Clock::time_point> defended;
};

}  // namespace conflictd
