#include "usage.h"

#include <time.h>

#include <fstream>
#include <string>

namespace vexobench {

double Pss(pid_t pid) {
    std::ifstream rollup("/proc/" + std::to_string(pid) + "/smaps_rollup");
    for (std::string word; rollup >> word;) {
        if (word == "Pss:") {
            double kibibytes = 0;
            rollup >> kibibytes;
            return kibibytes;
        }
    }
    return 0;
}

double CpuTime(pid_t pid) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(pid, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

}  // namespace vexobench
