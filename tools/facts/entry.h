#pragma once

#include <json/json.h>

#include <string>

#include "facts/family.h"

namespace vexonetctl {

/// What the daemon's answer about one interface says: a text of it ("" when it has none), ...
std::string Text(const Json::Value& entry, const char* key);

/// ... its place in the list (-1 when it is not there), ...
int Place(const Json::Value& entry);

/// ... whether it is barred from carrying the default route, ...
bool IsSlave(const Json::Value& entry);

/// ... and whether it is an entry of the list.
bool IsListed(const Json::Value& entry);

/// Fails, with the way to the list, unless it is.
void RequireListed(const Family& family, const std::string& ifname, const Json::Value& entry);

}  // namespace vexonetctl
