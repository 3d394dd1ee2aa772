#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include <vexonetwork/network/gateway_info.h>

namespace vexonetwork::network::module {

/// What an add request asks for. An absent text leaves the stored value as it is.
struct AddRequest {
    GATEWAY_TYPE list;
    std::string ifname;
    int priority;
    std::optional<std::string> gateway;
    std::optional<std::string> dns;
    std::optional<std::string> interfaceClass;
};

/// Asks about, or for the removal of, one entry.
struct EntryRequest {
    GATEWAY_TYPE list;
    std::string ifname;
};

struct SlaveRequest {
    GATEWAY_TYPE list;
    std::string ifname;
    bool slave;
};

struct CopyRequest {
    GATEWAY_TYPE list;
    std::string source;
    std::string destination;
    bool deletesSource;
};

// Readers of requests. Nothing is given for one that names no list, or has a member that is
// missing, of another type, or that the lists and their files could not hold. One log line then
// says so; it names the member, never its value.

/// The list that "type" names; nothing, without a log line, when it names none.
std::optional<GATEWAY_TYPE> ReadType(const Json::Value& request);

/// The same with a log line.
/// @param complaint  what support tools know it by
std::optional<GATEWAY_TYPE> ReadList(const Json::Value& request, const char* complaint);

std::optional<AddRequest> ReadAddRequest(const Json::Value& request);
std::optional<EntryRequest> ReadDeleteRequest(const Json::Value& request);
std::optional<SlaveRequest> ReadSlaveRequest(const Json::Value& request);
std::optional<CopyRequest> ReadCopyRequest(const Json::Value& request);

/// A member that names an interface.
std::optional<std::string> ReadInterface(const Json::Value& request, const char* key);

}  // namespace vexonetwork::network::module
