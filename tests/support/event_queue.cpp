#include "support/event_queue.h"

#include <linux/netlink.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "support/files.h"

namespace vexotest {
namespace {

std::vector<std::string> Threads(pid_t pid) {
    std::vector<std::string> threads;
    std::error_code gone;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", gone)) {
        threads.push_back(entry.path());
    }
    return threads;
}

bool IsAsleep(const std::string& thread) {
    const std::string stat = ReadFile(thread + "/stat");
    // The name before the state is in brackets and may hold some itself.
    const auto end = stat.rfind(") ");
    return end != stat.npos && stat[end + 2] == 'S';
}

}  // namespace

EventQueue EventQueueOf(pid_t pid) {
    std::ifstream sockets("/proc/net/netlink");
    std::string line;
    std::getline(sockets, line);
    while (std::getline(sockets, line)) {
        std::string address, groups;
        int protocol = 0;
        long port = 0, unread = 0, unsent = 0, dump = 0, locks = 0, dropped = 0;
        std::istringstream fields(line);
        fields >> address >> protocol >> port >> groups >> unread >> unsent >> dump >> locks
            >> dropped;
        if (protocol == NETLINK_ROUTE && port == pid) {
            return {unread, dropped};
        }
    }
    return {0, 0};
}

std::string ChildrenOf(pid_t pid) {
    std::string children;
    for (const std::string& thread : Threads(pid)) {
        children += ReadFile(thread + "/children");
    }
    return children;
}

bool IsQuiet(pid_t pid) {
    return EventQueueOf(pid).unread == 0 && ChildrenOf(pid).empty()
           && std::ranges::all_of(Threads(pid), IsAsleep);
}

}  // namespace vexotest
