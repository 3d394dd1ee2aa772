#include <arpa/inet.h>
#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <vexo/ipv6_conf.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "fuzz.h"
#include "network/advertisements/advertisement.h"

// An input is a number of ICMPv6 messages, each behind a byte with its length and one that chooses
// the router. Nothing is read outside of them, and there is one record for an interface.
//
// What would change the system that the fuzzer runs on is defined here in place of the platform's
// own.

namespace {

using vexonetwork::network::module::IPv6Module;

/// @param router  the last byte of its address; 0 is not link-local
void Hand(IPv6Module& module, const uint8_t* bytes, std::size_t size, uint8_t router) {
    std::vector<unsigned char> packet(bytes, bytes + size);
    packet.shrink_to_fit();
    constexpr std::size_t kPrefixOption = 32;
    const auto options = vexonetwork::network::module::ReadOptions(packet);
    Require(options.autonomousPrefixes.size() * kPrefixOption <= size);
    Require(options.left >= 0 && static_cast<std::size_t>(options.left) <= size);
    in6_addr sender{};
    sender.s6_addr[0] = router == 0 ? 0x20 : 0xfe;
    sender.s6_addr[1] = 0x80;
    sender.s6_addr[15] = router;
    module.HandlePacket(packet.data(), static_cast<int>(size), sender, 255,
                        router % 2 == 0 ? "eth0" : "lbr0");
}

}  // namespace

extern "C" {

int VEXONetIPv6ConfGet(const char*, int* method, char*, int, int*, char*, int) {
    *method = VEXO_IPV6_AUTOMATIC;
    return 0;
}
int VEXONetIPv6ConfSet(int method, const char*, const char*, int, const char*) {
    Require(method == VEXO_IPV6_AUTOMATIC || method == VEXO_IPV6_DHCP
            || method == VEXO_IPV6_STATELESS_DHCP);
    return 0;
}
int VLIBCFileGetKeyValue(const char*, const char*, char*, int, int) {
    return -1;
}
FILE* VLIBCPopen(const char*, const char*, ...) {
    return nullptr;
}
void syslog(int /*priority*/, const char* /*format*/, ...) {}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    IPv6Module module;
    while (size > 2) {
        const std::size_t length = std::min<std::size_t>(std::size_t{bytes[0]} + 1, size - 2);
        Hand(module, bytes + 2, length, bytes[1]);
        bytes += 2 + length;
        size -= 2 + length;
    }
    Require(module.Records().size() <= 2);
    return 0;
}
}
