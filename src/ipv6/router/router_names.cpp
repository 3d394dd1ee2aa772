#include "ipv6/router/router_names.h"

#include <charconv>

#include "network/interface_name.h"

namespace vexo::network::ipv6::router {

bool HasFiles(const std::string& wan) {
    return wan.empty() || vexonetwork::network::IsInterfaceName(wan);
}

AddressLength SplitAddress(const std::string& text) {
    const auto slash = text.find('/');
    if (slash == text.npos) {
        return {text, std::nullopt};
    }
    int length = -1;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + slash + 1, end, length);
    const bool isLength = error == std::errc() && rest == end && length >= 0;
    return {text.substr(0, slash), isLength ? length : -1};
}

}  // namespace vexo::network::ipv6::router
