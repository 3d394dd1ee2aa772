#pragma once

#include <linux/if.h>

#include <string_view>

namespace vexonetwork {

/// Virtual ports of containers and of virtual machines: their owners look after them.
inline bool IsDocker(std::string_view ifname) {
    return ifname.find("docker") != ifname.npos;
}
inline bool IsTap(std::string_view ifname) {
    return ifname.starts_with("tap");
}

inline bool IsGuest(std::string_view ifname) {
    return IsDocker(ifname) || IsTap(ifname);
}

/// Between the two the kernel has not decided yet whether there is a link.
inline bool IsTransition(unsigned flags) {
    return (flags & IFF_RUNNING) != 0 && (flags & IFF_LOWER_UP) == 0;
}

}  // namespace vexonetwork
