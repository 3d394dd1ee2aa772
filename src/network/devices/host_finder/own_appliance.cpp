#include "network/devices/host_finder/own_appliance.h"

#include <limits.h>
#include <strings.h>
#include <unistd.h>

#include <string>

#include <vlib/file.h>

namespace vexonetwork::network {

namespace {

std::string Fact(const char* key) {
    char value[257];  // one more than is taken tells a value that was cut
    const int length = VLIBCFileGetKeyValue("/etc/vexoinfo.conf", key, value, sizeof value, 0);
    return length > 0 && length < int(sizeof value) - 1 ? value : "";
}

std::string HostName() {
    char name[HOST_NAME_MAX + 1];
    return ::gethostname(name, sizeof name) == 0 ? name : "";
}

std::optional<HostFinderMessage> ReadAnswer() {
    if (::strcasecmp(Fact("host_finder").c_str(), "no") == 0) {
        return std::nullopt;
    }
    HostFinderMessage answer;
    answer.type = HostFinderMessage::Type::kAnswer;
    answer.friendlyName = HostName();
    answer.modelName = Fact("model");
    answer.serial = Fact("serial");
    answer.firmware = Fact("firmware");
    return answer;
}

}  // namespace

const std::optional<HostFinderMessage>& OwnAppliance::Answer() {
    const auto now = std::chrono::steady_clock::now();
    if (now >= nextReading) {
        answer = ReadAnswer();
        nextReading = now + std::chrono::seconds(1);
    }
    return answer;
}

}  // namespace vexonetwork::network
