#include "arp_filter.h"

#include <linux/if_packet.h>

namespace conflictd {
namespace {

/// The kernel limits a socket's memory for filters (net.core.optmem_max) to some 2000 instructions.
constexpr std::size_t kMaxAddresses = 500;

// Words of the packet: types, lengths and operation, addresses.
constexpr unsigned kTypes = 0;
constexpr unsigned kLengths = 4;
constexpr unsigned kSenderIp = 14;
constexpr unsigned kTargetIp = 24;

constexpr unsigned kIpv4OnEthernet = 0x00010800;
constexpr unsigned kRequest = 0x06040001;
constexpr unsigned kReply = 0x06040002;

constexpr sock_filter kPass = BPF_STMT(BPF_RET | BPF_K, 0xffffffff);
constexpr sock_filter kDrop = BPF_STMT(BPF_RET | BPF_K, 0);

constexpr sock_filter Load(unsigned offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset);
}

/// Goes on behind as many instructions as are given for equal and for not.
constexpr sock_filter Compare(unsigned value, std::uint8_t ifEqual, std::uint8_t ifNot) {
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, ifEqual, ifNot);
}

}  // namespace

std::vector<sock_filter> ArpFilter(const std::set<Ipv4Address>& addresses, bool passProbes) {
    // A frame of a VLAN that this machine is not in counts as another host's, and so does what is
    // only seen in promiscuous mode. Neither is of this LAN, or meant for this host.
    std::vector<sock_filter> program = {
        Load(static_cast<unsigned>(SKF_AD_OFF + SKF_AD_PKTTYPE)),
        Compare(PACKET_OTHERHOST, 0, 1),
        kDrop,
        Load(kTypes),
        Compare(kIpv4OnEthernet, 1, 0),
        kDrop,
        Load(kLengths),
        Compare(kRequest, 2, 0),
        Compare(kReply, 1, 0),
        kDrop,
        Load(kSenderIp),
        Compare(0, 0, 1),
        passProbes ? Load(kTargetIp) : kDrop,
    };
    if (addresses.size() > kMaxAddresses) {
        program.push_back(kPass);
        return program;
    }
    for (const Ipv4Address address : addresses) {
        program.push_back(Compare(address, 0, 1));
        program.push_back(kPass);
    }
    program.push_back(kDrop);
    return program;
}

}  // namespace conflictd
