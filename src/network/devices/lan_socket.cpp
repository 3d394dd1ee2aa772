#include "network/devices/lan_socket.h"

#include <linux/filter.h>
#include <string.h>
#include <sys/socket.h>

#include <vector>

namespace vexonetwork::network {

namespace {

constexpr int kMaxAtOnce = 64;

/// As the control message of one datagram.
union PacketInfo {
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
    cmsghdr alignment;
};

unsigned InterfaceOf(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_PKTINFO) {
            in_pktinfo info;
            ::memcpy(&info, CMSG_DATA(part), sizeof info);
            return static_cast<unsigned>(info.ipi_ifindex);
        }
    }
    return 0;
}

}  // namespace

LanSocket LanSocket::Open(const sockaddr_in& own, Port port) {
    LanSocket socket;
    socket.fd.Reset(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int isShared = port == Port::kShared ? 1 : 0;
    if (!socket || socket.Set(IPPROTO_IP, IP_PKTINFO, 1) != 0
        || socket.Set(SOL_SOCKET, SO_REUSEADDR, isShared) != 0
        || socket.Set(SOL_SOCKET, SO_REUSEPORT, isShared) != 0
        || ::bind(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
        socket.fd.Reset();  // leaves errno as it is
    }
    return socket;
}

int LanSocket::Set(int level, int option, int value) const {
    return ::setsockopt(fd.Get(), level, option, &value, sizeof value);
}

int LanSocket::HearOnly(const Bridges& bridges) const {
    constexpr auto kInterface = static_cast<__u32>(SKF_AD_OFF + SKF_AD_IFINDEX);
    std::vector<sock_filter> steps = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kInterface)};
    for (const Bridge& bridge : bridges) {
        steps.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, bridge.index, 0, 1));
        steps.push_back(BPF_STMT(BPF_RET | BPF_K, 0xffffffff));
    }
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, 0));
    const sock_fprog program{static_cast<unsigned short>(steps.size()), steps.data()};
    return ::setsockopt(fd.Get(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

int LanSocket::Send(unsigned index, in_addr source, const sockaddr_in& to,
                    std::string_view datagram) const {
    const in_pktinfo info = {static_cast<int>(index), source, {}};
    sockaddr_in receiver = to;
    iovec bytes = {const_cast<char*>(datagram.data()), datagram.size()};
    PacketInfo control{};
    msghdr message{};
    message.msg_name = &receiver;
    message.msg_namelen = sizeof receiver;
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    cmsghdr* const part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = IPPROTO_IP;
    part->cmsg_type = IP_PKTINFO;
    part->cmsg_len = CMSG_LEN(sizeof info);
    ::memcpy(CMSG_DATA(part), &info, sizeof info);
    return ::sendmsg(fd.Get(), &message, 0) < 0 ? -1 : 0;
}

void LanSocket::Receive(const Take& take) const {
    for (int i = 0; i < kMaxAtOnce; ++i) {
        char datagram[kMaxBytes + 1];
        sockaddr_in sender{};
        iovec bytes = {datagram, sizeof datagram};
        PacketInfo control{};
        msghdr message{};
        message.msg_name = &sender;
        message.msg_namelen = sizeof sender;
        message.msg_iov = &bytes;
        message.msg_iovlen = 1;
        message.msg_control = control.bytes;
        message.msg_controllen = sizeof control.bytes;
        const ssize_t length = ::recvmsg(fd.Get(), &message, 0);
        if (length < 0) {
            return;
        }
        take(InterfaceOf(message), sender, {datagram, static_cast<std::size_t>(length)});
    }
}

sockaddr_in PlaceOf(in_addr_t host, in_port_t port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(host);
    place.sin_port = htons(port);
    return place;
}

}  // namespace vexonetwork::network
