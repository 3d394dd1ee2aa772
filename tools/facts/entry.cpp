#include "facts/entry.h"

#include <vexonetwork/utils/json_reader.h>

#include "failure.h"

namespace vexonetctl {

using vexonetwork::utils::GetBool;

std::string Text(const Json::Value& entry, const char* key) {
    return vexonetwork::utils::GetString(entry, key).value_or("");
}

int Place(const Json::Value& entry) {
    return vexonetwork::utils::GetInt(entry, "priority").value_or(-1);
}

bool IsSlave(const Json::Value& entry) {
    return GetBool(entry, "slave").value_or(false);
}

bool IsListed(const Json::Value& entry) {
    return GetBool(entry, "exist").value_or(false);
}

void RequireListed(const Family& family, const std::string& ifname, const Json::Value& entry) {
    if (!IsListed(entry)) {
        throw Failure(kRefused, ifname + " is not in the " + family.name
                                    + " list; see: vexonetctl gateway list " + family.flag);
    }
}

}  // namespace vexonetctl
