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

static_assert(kLongestHostFinderMessage <= LanSocket::kMaxBytes);

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr in_port_t kPort = 29470;

// A round: two questions to all, in case that a datagram is lost, and the time for answers.
constexpr auto kSecondQuestion = seconds(1);
constexpr auto kLastAnswer = seconds(3);
constexpr auto kNextRound = seconds(60);
constexpr auto kLanLookInterval = seconds(5);

constexpr double kAnswersPerSecond = 5;  // twice as many in any one second
constexpr double kParsedPerSecond = 1000;
constexpr std::size_t kMaxFound = 256;

/// Who is asked alone in a round; of those who are no neighbours yet the kernel has to ask the LAN.
constexpr std::size_t kMaxAsked = 320;
constexpr std::size_t kMaxUnknownAsked = 64;

std::string TextOf(in_addr host) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &host, text, sizeof text);
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
    lans = FindLans().value_or(lans);
    OpenPort();
    found.clear();
    askedAlone.clear();
    unknownAsked = 0;
    token = NewToken();
    AskAll();
    if (!Serve(start + kSecondQuestion)) {
        return false;
    }
    // Those who were not found yet are asked alone again too, when they answer.
    askedAlone.clear();
    AskAll();
    if (!Serve(start + kLastAnswer)) {
        return false;
    }
    token.clear();
    report(found);
    return ServeUntilLansChange(start + kNextRound);
}

/// The port is shared with nobody.
void HostFinder::OpenPort() {
    if (!socket) {
        socket = LanSocket::Open(PlaceOf(INADDR_ANY, kPort), LanSocket::Port::kOwn);
    }
    if (!socket || socket.Set(SOL_SOCKET, SO_BROADCAST, 1) != 0 || socket.HearOnly(lans) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to open UDP port %d, to be tried again: %s", kPort,
                 ::strerror(errno));
        socket = LanSocket();
    }
}

void HostFinder::AskAll() {
    for (const Bridge& lan : lans) {
        for (const BridgeNetwork& network : lan.networks) {
            Ask(lan, network, {network.Broadcast()}, token);
        }
    }
}

/// @return false at the end of all
bool HostFinder::ServeUntilLansChange(TimePoint end) {
    while (steady_clock::now() < end && FindLans().value_or(lans) == lans) {
        if (!Serve(std::min(end, steady_clock::now() + kLanLookInterval))) {
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
        pollfd events[] = {{stop, POLLIN, 0}, {socket.Descriptor(), POLLIN, 0}};
        if (::poll(events, std::size(events), static_cast<int>(left.count())) < 0) {
            continue;  // interrupted
        }
        if (events[0].revents != 0) {
            return false;
        }
        if (events[1].revents != 0) {
            socket.Receive([this](unsigned index, const sockaddr_in& sender,
                                  std::string_view datagram) { Handle(index, sender, datagram); });
        }
    }
}

void HostFinder::Handle(unsigned index, const sockaddr_in& sender, std::string_view datagram) {
    const auto lan = std::find_if(lans.begin(), lans.end(),
                                  [index](const Bridge& each) { return each.index == index; });
    if (lan == lans.end() || lan->NetworkOf(sender.sin_addr) == nullptr || IsOwn(sender.sin_addr)
        || !parsed.Spend()) {
        return;
    }
    auto message = ParseHostFinder(datagram);
    if (!message) {
        if (MayLog()) {
            VEXO_LOG(LOG_INFO, "Left out a datagram of %s on [%s]: it is none of a host finder",
                     TextOf(sender.sin_addr).c_str(), lan->ifname.c_str());
        }
    } else if (message->type == HostFinderMessage::Type::kQuestion) {
        Answer(*lan, sender, message->token);
    } else if (!token.empty()) {
        Consider(*lan, sender, std::move(*message));
    }
}

/// Own questions come back by broadcast, also on another bridge of the same network.
bool HostFinder::IsOwn(in_addr sender) const {
    return std::any_of(lans.begin(), lans.end(),
                       [&](const Bridge& lan) { return lan.Has(sender); });
}

void HostFinder::Answer(const Bridge& lan, const sockaddr_in& asker, const std::string& itsToken) {
    const auto& facts = own.Answer();
    const BridgeNetwork* network = lan.NetworkOf(asker.sin_addr);
    if (network == nullptr || !facts || !answers.Spend()) {
        return;
    }
    HostFinderMessage answer = *facts;
    answer.token = itsToken;
    answer.ipAddr = TextOf({network->address});
    answer.macAddr = lan.mac;
    Send(lan, *network, asker, answer);
}

void HostFinder::Consider(const Bridge& lan, const sockaddr_in& sender, HostFinderMessage answer) {
    const in_addr host = sender.sin_addr;
    const auto asked = askedAlone.find({lan.index, host.s_addr});
    const bool wasAsked = asked != askedAlone.end();
    if (IsFound(TextOf(host)) || answer.token != (wasAsked ? asked->second : token)) {
        return;
    }
    const std::string mac = neighbours.MacOf(lan.index, host);
    const bool isNeighbour = !mac.empty();
    if (!IsTrue(lan, host, answer, wasAsked || isNeighbour ? mac : answer.macAddr)) {
        return;
    }
    if (wasAsked) {
        Note(std::move(answer));
    } else if (isNeighbour || unknownAsked < kMaxUnknownAsked) {
        unknownAsked += isNeighbour ? 0 : 1;
        AskAlone(lan, host);
    }
}

/// Whether an answer claims what is known.
bool HostFinder::IsTrue(const Bridge& lan, in_addr sender, const HostFinderMessage& answer,
                        const std::string& mac) {
    const bool isTrue = answer.ipAddr == TextOf(sender) && answer.macAddr == mac;
    if (!isTrue && MayLog()) {
        VEXO_LOG(LOG_INFO, "Left out an answer of %s, [%s], on [%s]: it claims to be %s, [%s]",
                 TextOf(sender).c_str(), mac.c_str(), lan.ifname.c_str(), answer.ipAddr.c_str(),
                 answer.macAddr.c_str());
    }
    return isTrue;
}

void HostFinder::AskAlone(const Bridge& lan, in_addr host) {
    const BridgeNetwork* network = lan.NetworkOf(host);
    if (network != nullptr && askedAlone.size() < kMaxAsked) {
        std::string& itsToken = askedAlone[{lan.index, host.s_addr}];
        itsToken = NewToken();
        Ask(lan, *network, host, itsToken);
    }
}

bool HostFinder::IsFound(const std::string& ipAddr) const {
    return std::any_of(found.begin(), found.end(),
                       [&](const auto& other) { return other.ipAddr == ipAddr; });
}

void HostFinder::Note(HostFinderMessage answer) {
    const bool isSecond = std::any_of(found.begin(), found.end(), [&](const auto& other) {
        return other.macAddr == answer.macAddr;
    });
    if (!isSecond && found.size() < kMaxFound) {
        found.push_back(std::move(answer));
    }
}

void HostFinder::Ask(const Bridge& lan, const BridgeNetwork& network, in_addr receiver,
                     const std::string& itsToken) {
    if (own.Answer()) {
        HostFinderMessage question;
        question.type = HostFinderMessage::Type::kQuestion;
        question.token = itsToken;
        Send(lan, network, PlaceOf(ntohl(receiver.s_addr), kPort), question);
    }
}

void HostFinder::Send(const Bridge& lan, const BridgeNetwork& network, const sockaddr_in& receiver,
                      const HostFinderMessage& message) {
    if (socket && socket.Send(lan.index, {network.address}, receiver, ToDatagram(message)) != 0
        && MayLog()) {
        VEXO_LOG(LOG_ERR, "Failed to send to %s on [%s]: %s", TextOf(receiver.sin_addr).c_str(),
                 lan.ifname.c_str(), ::strerror(errno));
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
