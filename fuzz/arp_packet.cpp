#include <algorithm>
#include <cstdint>

#include "conflictd/address_watch.h"
#include "conflictd/report_budget.h"
#include "fuzz.h"

// An input is a number of ARP packets, each behind a byte with the seconds since the last one and
// one with its length. Nothing is read outside of them. A packet is built as it was read; whatever
// comes, an address is defended every ten seconds at most, and few conflicts are told.

namespace {

using namespace conflictd;

constexpr Ipv4Address kAddress = 0xc000020a;

class Host {
  public:
    Host() : watch(kAddress, now, [](auto least, auto) { return least; }) {}

    void Wait(std::chrono::seconds time) {
        now += time;
        while (watch.Advance(now) != AddressWatch::Send::kNothing) {
        }
    }

    void Take(const ArpPacket& packet) {
        const auto verdict = watch.Judge(packet, now);
        Require(verdict.isConflict || !verdict.isDefended);
        if (verdict.isDefended) {
            Require(now - defended >= std::chrono::seconds(10));
            defended = now;
        }
        const bool isTold =
            verdict.isConflict
            && budget.Ask(kAddress, packet.senderMac, now) == ReportBudget::Answer::kTell;
        told += isTold ? 1 : 0;
        Require(told <= 3 * (1 + (now - start) / std::chrono::minutes(1)));
    }

  private:
    const Clock::time_point start = Clock::time_point() + std::chrono::hours(1);
    Clock::time_point now = start;
    Clock::time_point defended;
    AddressWatch watch;
    ReportBudget budget;
    int told = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Host host;
    while (size > 2) {
        host.Wait(std::chrono::seconds(bytes[0]));
        const std::size_t length = std::min<std::size_t>(bytes[1], size - 2);
        const auto packet = Copy(bytes + 2, length);
        if (const auto read = ParseArp(packet)) {
            const auto built = BuildArp(*read);
            Require(std::equal(built.begin(), built.end(), packet.begin()));
            host.Take(*read);
        }
        bytes += 2 + length;
        size -= 2 + length;
    }
    return 0;
}
