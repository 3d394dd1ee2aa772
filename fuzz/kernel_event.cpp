#include <linux/rtnetlink.h>
#include <syslog.h>

#include <vexonetsdk/base_hook.h>
#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/emitter/network_event_emitter.h>
#include <vexonetwork/emitter/parse_rtattr.h>
#include <vlib/file.h>
#include <vlib/proc.h>

#include "fuzz.h"

// An input is a datagram of the routing socket, and once more attributes. Nothing is read outside
// of it.
//
// What the events would set off is defined here in place of the platform's own.

namespace vexonetsdk::sdk_s {

int VLIBNetIfLinkUpEvent_S(const char*) {
    return 0;
}
int VLIBNetIfLinkDownEvent_S(const char*) {
    return 0;
}
bool BlVEXOLnxIsDHCP_S(const char*) {
    return false;
}
int VLIBPluginAction_S(VLIBPLUGIN*) {
    return 0;
}

}  // namespace vexonetsdk::sdk_s

int vexonetsdk::hook::BaseHook::ExecHook() {
    return IsValid() ? 0 : -1;
}

extern "C" {

int VLIBCProcPidFileCreate(const char*) {
    return 0;
}
int VEXOLogSet1(int, int, int, const char*, const char*, const char*, const char*, const char*,
                const char*, const char*) {
    return 0;
}
void syslog(int /*priority*/, const char* /*format*/, ...) {}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::vector<std::byte> datagram = Copy(bytes, size);
    vexonetwork::NetworkEventEmitter().HandleDatagram(datagram);

    rtattr* table[RTA_MAX + 1];
    vexonetwork::utils::parse_rtattr(table, RTA_MAX, reinterpret_cast<rtattr*>(datagram.data()),
                                     static_cast<int>(size));
    return 0;
}
}
