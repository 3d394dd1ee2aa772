#pragma once

#include <linux/rtnetlink.h>

namespace vexonetwork::utils {

/// Indexes the attributes of a routing message (rtnetlink(7)) by type.
/// @param table  room for max + 1 pointers; takes the first attribute of each type, null for none
/// @param len    bytes of attributes; an attribute that lies about its length ends the walk with a
///               log line, and those before it stay
/// @return 0
int parse_rtattr(rtattr** table, int max, rtattr* first, int len);

}  // namespace vexonetwork::utils
