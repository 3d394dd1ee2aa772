#pragma once

#include <sys/types.h>

namespace vexobench {

/// Proportional set size in KiB.
double Pss(pid_t pid);

/// What all threads of a process have computed, in milliseconds.
double CpuTime(pid_t pid);

}  // namespace vexobench
