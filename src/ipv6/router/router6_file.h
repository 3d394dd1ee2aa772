#pragma once

#include <algorithm>
#include <array>
#include <string>

#include <vexobase/file_text.h>
#include <vexobase/key_value_text.h>

#include "utils/sz_containers.h"

namespace vexo::network::ipv6::router {

/// The sections of a router's file, all as they were at one moment.
class Router6File {
  public:
    enum Section : std::size_t { kConf, kAddr, kLan, kCount };
    static constexpr std::array<const char*, kCount> kNames{"conf", "addr", "lan"};

    /// False when memory was short.
    explicit operator bool() const {
        return std::ranges::all_of(tables, [](const Table& each) { return bool(each.pairs); });
    }

    /// In place of what was read before; what cannot be read has no sections.
    /// @return whether it could be read, else errno
    bool Read(const std::string& path) {
        for (Table& each : tables) {
            VLIBCHashRemoveAll(each.pairs.Get());
            each.isThere = false;
        }
        const auto file = vexobase::ReadFileText(path.c_str());
        for (const auto& section : vexobase::ParseSections(file ? file->View() : "")) {
            const auto* const place = std::ranges::find(kNames, section.name);
            if (place != kNames.end()) {
                Fill(tables[static_cast<std::size_t>(place - kNames.begin())], section);
            }
        }
        return file.has_value();
    }

    /// The pairs of a section, or null when there is no such section.
    PVLIBSZHASH Find(Section section) const {
        return tables[section].isThere ? tables[section].pairs.Get() : nullptr;
    }

  private:
    struct Table {
        vexonetwork::utils::UniqueSzHash pairs{VLIBCSzHashAlloc(1024)};
        bool isThere = false;
    };

    static void Fill(Table& table, const vexobase::SectionPairs& section) {
        table.isThere = true;
        for (const auto& [key, value] : section.pairs) {
            const int result = VLIBCSzHashSetValue(table.pairs.Address(), std::string(key).c_str(),
                                                   std::string(value).c_str());
            table.isThere = table.isThere && result == 0;
        }
    }

    std::array<Table, kCount> tables;
};

}  // namespace vexo::network::ipv6::router
