#pragma once

#include <array>
#include <string>

#include <vlib/file.h>

namespace vexo::network::ipv6::router {

/// The sections of a router's file, all as they were at one moment.
class Router6File {
  public:
    enum Section : std::size_t { kConf, kAddr, kLan, kCount };

    Router6File() {
        for (VLIBSECTION& each : sections) {
            each.pairs = VLIBCSzHashAlloc(1024);
        }
    }
    ~Router6File() {
        for (const VLIBSECTION& each : sections) {
            VLIBCSzHashFree(each.pairs);
        }
    }
    Router6File(const Router6File&) = delete;
    Router6File& operator=(const Router6File&) = delete;

    /// False when memory was short.
    explicit operator bool() const {
        return sections[kConf].pairs != nullptr && sections[kAddr].pairs != nullptr
               && sections[kLan].pairs != nullptr;
    }

    /// In place of what was read before; what cannot be read has no sections.
    void Read(const std::string& path) {
        for (VLIBSECTION& each : sections) {
            VLIBCHashRemoveAll(each.pairs);
            each.taken = -1;
        }
        VLIBCFileGetSections(path.c_str(), sections.data(), kCount);
    }

    /// The pairs of a section, or null when there is no such section.
    PVLIBSZHASH Find(Section section) const {
        return sections[section].taken < 0 ? nullptr : sections[section].pairs;
    }

  private:
    std::array<VLIBSECTION, kCount> sections{
        {{"conf", nullptr, -1}, {"addr", nullptr, -1}, {"lan", nullptr, -1}}};
};

}  // namespace vexo::network::ipv6::router
