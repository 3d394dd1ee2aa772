#pragma once

#include "vexo/interfaces/ifcfg.h"

namespace vexoplatform {

/// Gives an interface the MTU and the IPv4 address of its configuration. What it already has is
/// not touched, so that nothing is heard from the kernel when nothing differs.
///
/// Addresses that an earlier configuration put there and this one does not name go; those that
/// others have put there (by hand, for high availability) stay, also in the subnet of the one that
/// goes. Default routes stay where the new address reaches their gateways. A configuration whose
/// address cannot be understood leaves all addresses as they are. Each thing that is left out or
/// fails is logged, the rest is done.
/// @param leaseGoes  whether addresses with a lifetime, a DHCP client's, go too
/// @return 0, or -1 with the platform's error when the kernel refused something
int SetUpInterface(const Link& link, const InterfaceConfig& config, bool leaseGoes = false);

}  // namespace vexoplatform
