#include "facts/ip_reply.h"

#include <array>
#include <string>

#include <vexonetwork/utils/json_reader.h>

#include "failure.h"

namespace vexonetctl {

std::optional<Json::Value> ReadIpReply(FILE* stream) {
    if (stream == nullptr) {
        throw Failure(kRefused, "cannot run /sbin/ip to read the routes; is iproute2 installed?");
    }
    std::string text;
    std::array<char, 4096> part{};
    while (const std::size_t length = std::fread(part.data(), 1, part.size(), stream)) {
        text.append(part.data(), length);
    }
    Json::Value reply(Json::arrayValue);
    if (::VLIBCPclose(stream) != 0
        || (!text.empty() && !vexonetwork::utils::ParseJson(text, reply))) {
        return std::nullopt;
    }
    return reply;
}

}  // namespace vexonetctl
