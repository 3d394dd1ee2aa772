#pragma once

#include <linux/if_addr.h>

#include <cstddef>
#include <optional>
#include <vector>

#include "vexo/link.h"

namespace vexoplatform {

/// One IPv4 address of an interface, with what it takes to put it back.
struct InterfaceAddress {
    LinkAddress address{};
    bool permanent = false;   ///< it has no lifetime
    bool configured = false;  ///< PutAddress has put it there, maybe in another process's life
    ifaddrmsg header{};
    std::vector<std::byte> attributes;
};

/// @return the addresses of an interface in the kernel's order, or nothing with errno
std::optional<std::vector<InterfaceAddress>> ListInterfaceAddresses(int index);

/// Puts a permanent address on an interface and marks it as configured (IFA_PROTO, which Linux
/// keeps since 5.18). One that is already there is announced anew.
/// @return 0, or -1 with errno
int PutAddress(int index, const LinkAddress& address);

/// @return 0, also when it is already gone; -1 with errno
int RemoveAddress(int index, const LinkAddress& address);

/// Puts an address that was lost back as it was.
/// @return 0, also when it is there; -1 with errno
int PutBackAddress(const InterfaceAddress& address);

}  // namespace vexoplatform
