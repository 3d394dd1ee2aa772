#include <algorithm>
#include <sstream>
#include <string>

#include "fuzz.h"
#include "network/devices/device_texts.h"

// The first byte chooses: lines of the neighbour table; MACs, in a line of their own, and the
// leases that name them; or an answer to a node status request.

namespace {

using namespace vexonetwork::network;

constexpr char kSpace[] = " \t\n\v\f\r";

bool IsWord(const std::string& text) {
    return !text.empty() && text.find_first_of(kSpace) == text.npos;
}

void ReadTable(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto device = ParseArpLine(line);
        Require(!device
                || (IsWord(device->address) && IsWord(device->mac) && IsWord(device->ifname)
                    && device->ifname.find("br") != std::string::npos));
    }
}

/// The fourth word of the first line with this text, line by line.
std::string NameOf(const std::string& mac, std::istringstream lines) {
    for (std::string line; std::getline(lines, line);) {
        if (line.find(mac) != line.npos) {
            std::istringstream words(line);
            std::string name;
            for (int i = 0; i < 4; ++i) {
                if (!(words >> name)) {
                    return "";
                }
            }
            return name;
        }
    }
    return "";
}

void ReadNames(const std::string& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string leases = text.substr(std::min(end + 1, text.size()));
    std::istringstream macs(text.substr(0, end));
    NamesByMac names;
    for (std::string mac; macs >> mac;) {
        names[mac];
    }
    ReadLeases(leases, names);
    for (const auto& [mac, name] : names) {
        Require(name == NameOf(mac, std::istringstream(leases)));
    }
}

void ReadAnswer(const std::string& text) {
    const std::string name = ParseNodeStatus(text);
    Require(name.size() < 1024 && text.find(name) != text.npos);
    Require(name.empty()
            || (name.find('\0') == name.npos && std::string(kSpace).find(name.front()) == name.npos
                && std::string(kSpace).find(name.back()) == name.npos));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return Choose(bytes, size, ReadTable, ReadNames, ReadAnswer);
}
