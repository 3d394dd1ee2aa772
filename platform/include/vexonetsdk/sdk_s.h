#pragma once

#include "vexo/net_interface.h"
#include "vlib/plugin.h"

/// The calls of the platform that need root, made with the saved user and group of a process that
/// has lowered its effective ones (credentials(7)). For a process that has only one identity they
/// are the same as those without _S.
namespace vexonetsdk::sdk_s {

/// Runs the executables of a session, in byte order of their names.
/// @return 0, also when there are none; -1 when one failed or could not be run (then logged)
int VLIBPluginAction_S(VLIBPLUGIN* session);

/// As VEXONetIFGetInfo.
int VEXONetIFGetInfo_S(const char* ifname, VEXONETIFINFO* info, int options);

/// Whether the interface is configured for DHCPv4: BOOTPROTO=dhcp in its ifcfg file.
bool BlVEXOLnxIsDHCP_S(const char* ifname);

/// Configures an interface as its ifcfg file says. A DHCP client is restarted, and not waited
/// for; a static interface gets its address and MTU, where they differ from what it has, and a
/// DHCP client of it is stopped. `info` names the interface; an interface without an ifcfg file
/// stays as it is.
/// @return 0, or -1 with the platform's error
int VEXONetSetCard1_S(const VEXONETIFINFO* info);

/// The link of an interface came: applies the static part of its configuration, then runs
/// net/link_up with IFNAME.
/// @return 0 or -1
int VLIBNetIfLinkUpEvent_S(const char* ifname);

/// The link of an interface went: runs net/link_down with IFNAME.
/// @return 0 or -1
int VLIBNetIfLinkDownEvent_S(const char* ifname);

}  // namespace vexonetsdk::sdk_s
