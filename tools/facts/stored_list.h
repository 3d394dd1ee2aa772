#pragma once

#include <optional>
#include <string>

#include "facts/family.h"

namespace vexonetctl {

/// One entry of the list that the daemon reads at its next start. After a change it tells whether
/// the change will last: the daemon answers success also when it could not write its files.
struct StoredEntry {
    std::string gateway;
    std::string dns;
    std::string interfaceClass;
    bool slave = false;

    bool operator==(const StoredEntry&) const = default;
};

/// @return none when the interface is not in the stored list
std::optional<StoredEntry> ReadStoredEntry(const Family& family, const std::string& ifname);

}  // namespace vexonetctl
