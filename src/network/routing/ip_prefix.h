#pragma once

#include <vexobase/ip_prefix.h>

namespace vexonetwork::network {

using Address = vexobase::IpAddress;
using Prefix = vexobase::IpPrefix;
using vexobase::AddressBits;
using vexobase::HostBits;
using vexobase::ParseAddress;
using vexobase::ParsePrefix;

}  // namespace vexonetwork::network
