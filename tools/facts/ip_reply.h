#pragma once

#include <json/json.h>

#include <cstdio>
#include <optional>

#include <vlib/exec.h>

namespace vexonetctl {

/// Reads what a started ip(8) says and waits for its end.
/// @param stream  of VLIBCPopen; null fails with a Failure
/// @return its array of objects; nothing when it ended with an error
std::optional<Json::Value> ReadIpReply(FILE* stream);

/// Asks ip(8) with these words, all texts.
template <typename... Words>
std::optional<Json::Value> AskIp(Words... words) {
    return ReadIpReply(::VLIBCPopen("/sbin/ip", "r", "-j", words..., nullptr));
}

}  // namespace vexonetctl
