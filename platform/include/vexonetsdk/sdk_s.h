#pragma once

#include "vexo/net_interface.h"
#include "vlib/plugin.h"

/// The calls of the platform that need root, made with the saved user and group of a process that
/// has lowered its effective ones (credentials(7)). For a process that has only one identity they
/// are the same as those without _S.
namespace vexonetsdk::sdk_s {

/// Runs the executables of a session, in byte order of their names. Without a folder of
/// executables it costs one look at the file system.
///
/// An action that does not block goes on, with a copy of the arguments, on a thread that takes
/// no signals and ends with it; of more than 64 at a time the further ones are refused.
/// @return 0, also when there are none; -1 when one failed or could not be run (then logged).
///         What becomes of an action that does not block is only logged.
int VLIBPluginAction_S(VLIBPLUGIN* session);

/// As VEXONetIFGetInfo.
int VEXONetIFGetInfo_S(const char* ifname, VEXONETIFINFO* info, int options);

/// Whether the interface is configured for DHCPv4: BOOTPROTO=dhcp in its ifcfg file, unless it
/// is a slave of a bond.
bool BlVEXOLnxIsDHCP_S(const char* ifname);

/// Configures an interface as its ifcfg file says: MTU and static address, then a DHCP client
/// is restarted, or stopped where the file says nothing of DHCP; neither is waited for. Only what
/// differs is changed, so that the kernel reports no event when nothing does. What the file says
/// amiss is logged and left out, the rest is done.
///
/// Of the addresses the interface already has, those go that an earlier call has put there and
/// the file no longer names, and that of a DHCP client that is stopped. All others stay, whoever
/// has put them there, and so do default routes whose gateway the new address reaches.
/// @param info  names the interface, its other fields do not count; an interface without an
///              ifcfg file stays as it is
/// @return 0, or -1 with the platform's error
int VEXONetSetCard1_S(const VEXONETIFINFO* info);

/// The link of an interface came: applies MTU and static address of its configuration as
/// VEXONetSetCard1_S does, and its IPv6 method as VEXONetIPv6ConfSet does, a DHCPv6 client of it
/// being restarted; then runs net/link_up with IFNAME.
/// @return 0 or -1
int VLIBNetIfLinkUpEvent_S(const char* ifname);

/// The link of an interface went: runs net/link_down with IFNAME.
/// @return 0 or -1
int VLIBNetIfLinkDownEvent_S(const char* ifname);

}  // namespace vexonetsdk::sdk_s
