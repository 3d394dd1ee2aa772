#include "support/event_queue.h"

#include <linux/netlink.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
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

/// What the descriptors of a process lead to.
std::set<std::string> Sockets(pid_t pid) {
    std::set<std::string> sockets;
    std::error_code gone;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", gone)) {
        sockets.insert(std::filesystem::read_symlink(entry.path(), gone));
    }
    return sockets;
}

bool IsAsleep(const std::string& thread) {
    const std::string stat = ReadFile(thread + "/stat");
    // The name before the state is in brackets and may hold some itself.
    const auto end = stat.rfind(") ");
    return end != stat.npos && stat[end + 2] == 'S';
}

}  // namespace

EventQueue EventQueueOf(pid_t pid) {
    const std::set<std::string> own = Sockets(pid);
    std::ifstream sockets("/proc/net/netlink");
    std::string line;
    std::getline(sockets, line);
    EventQueue queue{0, 0};
    while (std::getline(sockets, line)) {
        std::string address, groups, inode;
        int protocol = 0;
        long port = 0, unread = 0, unsent = 0, dump = 0, locks = 0, dropped = 0;
        std::istringstream fields(line);
        fields >> address >> protocol >> port >> groups >> unread >> unsent >> dump >> locks
            >> dropped >> inode;
        const bool listens = groups.find_first_not_of('0') != groups.npos;
        if (protocol == NETLINK_ROUTE && listens && own.contains("socket:[" + inode + "]")) {
            queue.unread += unread;
            queue.dropped += dropped;
        }
    }
    return queue;
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
