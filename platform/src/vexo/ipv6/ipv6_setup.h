#pragma once

#include "vexo/ipv6/ipv6_config.h"

namespace vexoplatform {

/// Whether the method is the configuration's, or without one there that of the last
/// advertisement: a DHCPv6 client that runs tells which it was. What has no file either and does
/// not listen to advertisements was set up by hand and is to stay so: VEXO_IPV6_MANUAL.
int MethodInForce(const std::string& ifname, const Ipv6Config& config);

/// Gives an interface what a method needs and takes away what another has brought: settings of
/// the kernel, addresses, routes, the DHCPv6 client. What is so already is not touched. Each
/// thing that fails is logged, the rest is done.
/// @return 0, or -1 with the platform's error
int ApplyIpv6Method(const std::string& ifname, int method, const Ipv6Config& config);

/// The link of an interface came: applies its method, and has a DHCPv6 client ask again, for the
/// cable may lead elsewhere now. An interface that nobody has configured, and one of a bond,
/// stays as it is.
/// @return 0, or -1 with a log line and the platform's error
int SetUpIpv6(const std::string& ifname);

}  // namespace vexoplatform
