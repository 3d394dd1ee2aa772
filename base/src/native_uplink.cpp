#include <algorithm>

#include <vexobase/file_text.h>
#include <vexobase/interface_name.h>
#include <vexobase/key_value_text.h>
#include <vexobase/native_uplink.h>

namespace vexobase {

bool IsNativeUplink(const std::string& ifname) {
    const auto file = IsInterfaceName(ifname)
                          ? ReadFileText(("/etc/sysconfig/networking/ipv6-" + ifname).c_str())
                          : std::nullopt;
    for (const SectionPairs& section : ParseSections(file ? file->View() : "")) {
        const auto type =
            std::ranges::find(section.pairs, "type", &decltype(section.pairs)::value_type::first);
        if (section.name == "conf" && type != section.pairs.end()) {
            return type->second == "native";
        }
    }
    return false;
}

}  // namespace vexobase
