#include "fuzz.h"
#include "network/devices/host_finder/host_finder_message.h"

// An input is a datagram. What is read from it can be told to others, who read the same.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    using namespace vexonetwork::network;
    const std::vector<std::byte> input = Copy(bytes, size);
    const auto message = ParseHostFinder({reinterpret_cast<const char*>(input.data()), size});
    if (!message) {
        return 0;
    }
    for (const auto& [key, member] : kHostFinderTexts) {
        const std::string& text = (*message).*member;
        Require(text.empty() || IsHostFinderText(text));
    }
    const std::string datagram = ToDatagram(*message);
    Require(datagram.size() <= kLongestHostFinderMessage);
    const auto again = ParseHostFinder(datagram);
    Require(again && *again == *message);
    return 0;
}
