#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <vexobase/unique_fd.h>

#include "network/devices/scanner_thread.h"
#include "network/devices/side_by_side.h"

namespace vexonetwork::network {

/// Asks devices for their NetBIOS names (RFC 1002 section 4.2.17) with nmblookup(1). Most that have
/// none do not answer at all. So a thread asks them, up to 100 at once and each for 5 s at most,
/// and who wants the names waits as long as it likes: what comes later is there the next time.
class NetbiosNames {
  public:
    using Clock = SideBySide::Clock;

    NetbiosNames() = default;
    ~NetbiosNames() { Stop(); }
    NetbiosNames(const NetbiosNames&) = delete;
    NetbiosNames& operator=(const NetbiosNames&) = delete;

    /// Asks these devices and waits for their answers. One that has kept silent is not asked again
    /// for a minute; one that there was no time for within 15 s is among the first that the next
    /// call asks.
    /// @param addresses  IPv4; what is no address is not asked. The others are forgotten
    /// @param patience   how long to wait at most; not at all for one that was asked longer ago
    /// @return what each was last heard to call itself, in their order; "" where that is not known
    std::vector<std::string> Find(const std::vector<std::string>& addresses,
                                  Clock::duration patience);

    /// Ends the thread, and with it the questions. Find starts it again.
    void Stop() { thread.Stop(); }

  private:
    struct Device {
        std::string name;
        bool isAsked = false;  ///< and has neither answered yet nor was it given up
        bool isSilent = false;
        Clock::time_point asked;  ///< or told to be, last
    };
    struct End;

    void ForgetOthers(const std::vector<std::string>& addresses);
    std::vector<std::string> DueOf(const std::vector<std::string>& addresses);
    void Queue(const std::vector<std::string>& addresses);
    bool Wake();

    void Run(int stop);
    void StartQuestions(SideBySide& programs);
    std::optional<std::string> NextQuestion();
    void Note(const std::string& address, const std::string& name, bool isSilent);
    void DropWaiting();

    std::mutex mutex;  ///< of all that follows, but the thread
    std::condition_variable answered;
    std::map<std::string, Device> devices;
    std::deque<std::string> waiting;
    Clock::time_point lastStart;
    unsigned failures = 0;
    vexobase::UniqueFd wake;
    ScannerThread thread;
};

}  // namespace vexonetwork::network
