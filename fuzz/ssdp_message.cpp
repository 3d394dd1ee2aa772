#include "network/devices/upnp/ssdp_message.h"

#include <algorithm>

#include "fuzz.h"
#include "network/devices/upnp/device_description.h"

// The first byte chooses: a datagram of SSDP, or else the description of a device.

namespace {

using namespace vexonetwork::network;

void RequirePlain(const std::string& text, std::size_t most) {
    Require(text.size() <= most
            && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; }));
}

void RequireText(const std::string& text) {
    Require(text.size() <= 256 && std::none_of(text.begin(), text.end(), [](char c) {
                return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
            }));
}

void ReadDatagram(std::string_view text) {
    const auto message = ParseSsdp(text);
    if (message) {
        RequirePlain(message->usn, 256);
        RequirePlain(message->location, 1024);
        Require(message->lifetime.count() >= 60 && message->lifetime.count() <= 86400);
    }
}

void ReadDescription(std::string_view text) {
    const auto description = ParseDescription(text);
    if (description) {
        RequireText(description->friendlyName);
        RequireText(description->modelName);
        RequireText(description->modelDescription);
        RequireText(description->manufacturer);
        Require(!description->friendlyName.empty() || !description->modelName.empty());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (size == 0) {
        return 0;
    }
    // A copy, so that a read beyond its end is seen.
    const std::vector<std::byte> copy = Copy(bytes + 1, size - 1);
    const std::string_view text(reinterpret_cast<const char*>(copy.data()), copy.size());
    if (bytes[0] == 'S') {
        ReadDatagram(text);
    } else {
        ReadDescription(text);
    }
    return 0;
}
