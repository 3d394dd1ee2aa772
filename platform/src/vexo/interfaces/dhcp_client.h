#pragma once

#include <string>

namespace vexoplatform {

/// The DHCPv4 client of an interface is the unit dhclient4@NAME.service, its DHCPv6 clients are
/// dhclient6@NAME-KIND.service. No call waits for the system manager: its jobs are queued (see
/// QueueUnitJob), and whether a client runs already counts those that it has not taken yet.

/// What a DHCPv6 client asks for; the KIND of its unit.
inline constexpr char kDhcp6Addresses[] = "na";
inline constexpr char kDhcp6Information[] = "info";
inline constexpr char kDhcp6Prefix[] = "pd";

/// Has the system manager restart the client.
/// @return 0 when that is queued, or -1 with a log line and the platform's error
int RestartDhcpClient(const std::string& ifname);

/// Has the system manager stop the client if it is not stopped already. Costs one look at a file
/// where none runs.
/// @return 0 when that is queued or none runs, or -1 with a log line and the platform's error
int StopDhcpClient(const std::string& ifname);

/// Whether the client has started, or is about to, and has not stopped for good; one look at a
/// file.
bool DhcpClientRuns(const std::string& ifname);

/// The same for a DHCPv6 client. One that runs is not started again, and gets a new lease only by
/// a restart.
int StartDhcp6Client(const std::string& ifname, const char* kind);
int RestartDhcp6Client(const std::string& ifname, const char* kind);
int StopDhcp6Client(const std::string& ifname, const char* kind);
bool Dhcp6ClientRuns(const std::string& ifname, const char* kind);

}  // namespace vexoplatform
