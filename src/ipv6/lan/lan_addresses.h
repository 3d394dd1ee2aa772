#pragma once

#include <vector>

#include "ipv6/lan/grants.h"

namespace vexo::network::ipv6::router {

/// Makes the own addresses of these the LAN addresses of the machine: what is missing is put on its
/// interface for good and marked, what has the mark and is none of these goes, all else stays. What
/// is so already is not touched. An interface that is not there gets its address by the next call
/// that finds it.
/// @return 0, or -1 with a log line for each that the kernel refused; the others are done
int PutLanAddresses(const std::vector<LanPrefix>& grants);

}  // namespace vexo::network::ipv6::router
