#pragma once

#include <json/value.h>

#include <optional>
#include <string>

namespace vexonetwork::network::module {

/// What an add request asks for. An absent text leaves the stored value as it is.
struct AddRequest {
    std::string ifname;
    int priority;
    std::optional<std::string> gateway;
    std::optional<std::string> dns;
    std::optional<std::string> interfaceClass;
};

// Readers of request members. Nothing is given for a member that is missing, of another type, or
// that the lists and their files could not hold; one log line then names it, never its value.

std::optional<AddRequest> ReadAddRequest(const Json::Value& request);
std::optional<std::string> ReadInterface(const Json::Value& request, const char* key);
std::optional<bool> ReadFlag(const Json::Value& request, const char* key);

}  // namespace vexonetwork::network::module
