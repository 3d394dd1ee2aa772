#pragma once

#include <string>

namespace vexoplatform {

/// The DHCPv4 client of an interface is the unit dhclient4@NAME.service.

/// Has the system manager restart the client, and does not wait for it.
/// @return 0, or -1 with a log line and the platform's error
int RestartDhcpClient(const std::string& ifname);

/// Has the system manager stop the client if it is not stopped already, and does not wait for
/// it. Costs one look at a file where none runs.
/// @return 0, or -1 with a log line and the platform's error
int StopDhcpClient(const std::string& ifname);

}  // namespace vexoplatform
