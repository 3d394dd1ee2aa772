#include "network/devices/host_finder/host_finder.h"

#include <arpa/inet.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <random>
#include <utility>

#define VEXO_LOG_SOURCE "keloscanner"
#include <vexobase/log.h>

namespace vexonetwork::network {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using vexobase::UniqueFd;

constexpr in_port_t kPort = 29470;

// A round: two questions, in case that a datagram is lost, and the time for answers.
constexpr auto kSecondQuestion = seconds(1);
constexpr auto kLastAnswer = seconds(3);
constexpr auto kNextRound = seconds(60);
constexpr auto kBridgeLookInterval = seconds(5);

constexpr double kAnswersPerSecond = 5;  // twice as many in any one second
constexpr double kParsedPerSecond = 1000;
constexpr std::size_t kMaxFound = 256;
constexpr int kMaxAtOnce = 64;

sockaddr_in PortOf(in_addr host) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    address.sin_addr = host;
    return address;
}

std::string TextOf(in_addr host) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &host, text, sizeof text);
}

/// Of the bridge alone. Its port is shared with nobody: who shares it is given the answers.
UniqueFd OpenSocket(const Bridge& bridge) {
    UniqueFd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const sockaddr_in own = PortOf(in_addr{INADDR_ANY});
    const auto* const address = reinterpret_cast<const sockaddr*>(&own);
    if (!fd
        || ::setsockopt(fd.Get(), SOL_SOCKET, SO_BINDTODEVICE, bridge.ifname.c_str(),
                        static_cast<socklen_t>(bridge.ifname.size()))
               != 0
        || ::setsockopt(fd.Get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0
        || ::bind(fd.Get(), address, sizeof own) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to open UDP port %d on [%s], to be tried again: %s", kPort,
                 bridge.ifname.c_str(), ::strerror(errno));
        fd.Reset();
    }
    return fd;
}

std::string NewToken() {
    std::random_device random;
    char text[sizeof "0123456789abcdef"];
    std::snprintf(text, sizeof text, "%08x%08x", random(), random());
    return text;
}

}  // namespace

HostFinder::HostFinder(int stopDescriptor, std::function<void(const Answers&)> reportAnswers)
    : stop(stopDescriptor),
      report(std::move(reportAnswers)),
      answers(kAnswersPerSecond),
      parsed(kParsedPerSecond) {}

void HostFinder::Run() {
    while (TalkForARound()) {
    }
}

/// @return whether there is another round
bool HostFinder::TalkForARound() {
    const TimePoint start = steady_clock::now();
    SayWhatWasLeftOut();
    OpenPorts();
    found.clear();
    token = NewToken();
    Ask();
    if (!Serve(start + kSecondQuestion)) {
        return false;
    }
    Ask();
    if (!Serve(start + kLastAnswer)) {
        return false;
    }
    token.clear();
    report(found);
    return ServeUntilBridgesChange(start + kNextRound);
}

void HostFinder::OpenPorts() {
    bridges = FindBridges();
    std::erase_if(ports, [this](const Port& port) {
        return !port.socket
               || std::find(bridges.begin(), bridges.end(), port.bridge) == bridges.end();
    });
    for (const Bridge& bridge : bridges) {
        if (std::none_of(ports.begin(), ports.end(),
                         [&](const Port& port) { return port.bridge == bridge; })) {
            ports.push_back({bridge, OpenSocket(bridge)});
        }
    }
}

void HostFinder::Ask() {
    HostFinderMessage question;
    question.type = HostFinderMessage::Type::kQuestion;
    question.token = token;
    for (const Port& port : ports) {
        for (const BridgeNetwork& network : port.bridge.networks) {
            Send(port, PortOf({network.Broadcast()}), question);
        }
    }
}

/// @return false at the end of all
bool HostFinder::ServeUntilBridgesChange(TimePoint end) {
    while (steady_clock::now() < end && FindBridges() == bridges) {
        if (!Serve(std::min(end, steady_clock::now() + kBridgeLookInterval))) {
            return false;
        }
    }
    return true;
}

/// @return false at the end of all
bool HostFinder::Serve(TimePoint end) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (left.count() <= 0) {
            return true;
        }
        std::vector<pollfd> events = {{stop, POLLIN, 0}};
        for (const Port& port : ports) {
            events.push_back({port.socket.Get(), POLLIN, 0});
        }
        if (::poll(events.data(), events.size(), static_cast<int>(left.count())) < 0) {
            continue;  // interrupted
        }
        if (events.front().revents != 0) {
            return false;
        }
        for (std::size_t i = 0; i < ports.size(); ++i) {
            if (events[i + 1].revents != 0) {
                Receive(ports[i]);
            }
        }
    }
}

void HostFinder::Receive(const Port& port) {
    for (int i = 0; i < kMaxAtOnce; ++i) {
        char datagram[kLongestHostFinderMessage + 1];  // tells what is longer
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t length = ::recvfrom(port.socket.Get(), datagram, sizeof datagram, 0,
                                          reinterpret_cast<sockaddr*>(&sender), &size);
        if (length < 0) {
            return;
        }
        Handle(port, sender, {datagram, static_cast<std::size_t>(length)});
    }
}

void HostFinder::Handle(const Port& port, const sockaddr_in& sender, std::string_view datagram) {
    if (!MayComeFrom(port, sender.sin_addr) || !parsed.Spend()) {
        return;
    }
    auto message = ParseHostFinder(datagram);
    if (!message) {
        if (MayLog()) {
            VEXO_LOG(LOG_INFO, "Left out a datagram of %s on [%s]: it is none of a host finder",
                     TextOf(sender.sin_addr).c_str(), port.bridge.ifname.c_str());
        }
    } else if (message->type == HostFinderMessage::Type::kQuestion) {
        Answer(port, sender, message->token);
    } else if (message->token == token) {
        Note(port, sender.sin_addr, std::move(*message));
    }
}

/// Own questions come back by broadcast, also on another bridge of the same network.
bool HostFinder::MayComeFrom(const Port& port, in_addr sender) const {
    return port.bridge.NetworkOf(sender) != nullptr
           && std::none_of(bridges.begin(), bridges.end(),
                           [&](const Bridge& bridge) { return bridge.Has(sender); });
}

void HostFinder::Answer(const Port& port, const sockaddr_in& asker, const std::string& itsToken) {
    const auto& facts = own.Answer();
    const BridgeNetwork* network = port.bridge.NetworkOf(asker.sin_addr);
    if (network == nullptr || !facts || !answers.Spend()) {
        return;
    }
    HostFinderMessage answer = *facts;
    answer.token = itsToken;
    answer.ipAddr = TextOf({network->address});
    answer.macAddr = port.bridge.mac;
    Send(port, asker, answer);
}

void HostFinder::Note(const Port& port, in_addr sender, HostFinderMessage answer) {
    if (answer.ipAddr != TextOf(sender)) {
        if (MayLog()) {
            VEXO_LOG(LOG_INFO, "Left out an answer of %s on [%s]: it claims to be %s",
                     TextOf(sender).c_str(), port.bridge.ifname.c_str(), answer.ipAddr.c_str());
        }
        return;
    }
    const bool isKnown = std::any_of(found.begin(), found.end(), [&](const auto& other) {
        return other.ipAddr == answer.ipAddr || other.macAddr == answer.macAddr;
    });
    if (!isKnown && found.size() < kMaxFound) {
        found.push_back(std::move(answer));
    }
}

void HostFinder::Send(const Port& port, const sockaddr_in& receiver,
                      const HostFinderMessage& message) {
    if (!port.socket) {
        return;
    }
    const std::string datagram = ToDatagram(message);
    if (::sendto(port.socket.Get(), datagram.data(), datagram.size(), 0,
                 reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver)
            < 0
        && MayLog()) {
        VEXO_LOG(LOG_ERR, "Failed to send to %s on [%s]: %s", TextOf(receiver.sin_addr).c_str(),
                 port.bridge.ifname.c_str(), ::strerror(errno));
    }
}

/// Each line that a stranger can cause without end asks first.
bool HostFinder::MayLog() {
    SayWhatWasLeftOut();
    return logBudget.Spend();
}

void HostFinder::SayWhatWasLeftOut() {
    if (const unsigned leftOut = logBudget.TakeLeftOut()) {
        VEXO_LOG(LOG_INFO, "%u lines about the host finder were left out", leftOut);
    }
}

}  // namespace vexonetwork::network
