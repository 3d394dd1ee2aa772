#include "facts/stored_list.h"

#include <array>

#include <vlib/file.h>

namespace vexonetctl {
namespace {

/// The value; none when the section or the file is absent.
std::optional<std::string> Read(const Family& family, int index, const char* key) {
    std::array<char, 256> value{};
    const std::string section = std::to_string(index);
    if (::VLIBCFileGetSectionValue(family.priorityFile, section.c_str(), key, value.data(),
                                   int(value.size()))
        < 0) {
        return std::nullopt;
    }
    return value.data();
}

}  // namespace

std::optional<StoredEntry> ReadStoredEntry(const Family& family, const std::string& ifname) {
    for (int index = 0;; ++index) {
        const auto text = [&](const char* key) { return Read(family, index, key).value_or(""); };
        const auto name = Read(family, index, "ifname");
        if (!name) {
            return std::nullopt;
        }
        if (*name == ifname) {
            return StoredEntry{text("gateway"), text("dns"), text("class"), text("slave") == "yes"};
        }
    }
}

}  // namespace vexonetctl
