#pragma once

#include <optional>
#include <vector>

#include <vexonetlink/address.h>

#include "vexo/interfaces/link.h"

namespace vexoplatform {

using vexonetlink::InterfaceAddress;

/// It has no lifetime.
bool IsPermanent(const InterfaceAddress& address);

/// PutAddress has put it there, maybe in another process's life.
bool IsConfigured(const InterfaceAddress& address);

bool IsSame(const InterfaceAddress& address, const LinkAddress& other);

/// @return the IPv4 addresses of an interface in the kernel's order, or nothing with errno
std::optional<std::vector<InterfaceAddress>> ListInterfaceAddresses(unsigned index);

/// Puts a permanent address on an interface and marks it as configured (IFA_PROTO, which Linux
/// keeps since 5.18). One that is already there is announced anew.
/// @return 0, or -1 with errno
int PutAddress(unsigned index, const LinkAddress& address);

/// @return 0, also when it is already gone; -1 with errno
int RemoveAddress(unsigned index, const LinkAddress& address);

/// Puts an address that was lost back as it was.
/// @return 0, also when it is there; -1 with errno
int PutBackAddress(const InterfaceAddress& address);

}  // namespace vexoplatform
