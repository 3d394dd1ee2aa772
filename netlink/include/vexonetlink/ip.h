#pragma once

#include <vexobase/ip_prefix.h>
#include <vexonetlink/message.h>

namespace vexonetlink {

using vexobase::AddressBits;
using vexobase::AddressSize;
using vexobase::FromInet;
using vexobase::IpAddress;
using vexobase::IpPrefix;
using vexobase::IsIpFamily;
using vexobase::ToText;

/// The address that the bytes are; none when they have not the size of the family's.
IpAddress ToAddress(int family, Bytes bytes);

/// The bytes of an address, in it; empty for none.
Bytes BytesOf(const IpAddress& address);

/// The same prefix with the network that the bytes are; as it was when they have not its size.
IpPrefix WithNetwork(const IpPrefix& prefix, Bytes bytes);

}  // namespace vexonetlink
