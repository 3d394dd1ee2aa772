#include <cstdio>

#include <vexobase/log.h>
#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/utils/duid.h>

namespace vexonetwork::utils {

std::string GenDUID() {
    constexpr char kPort[] = "eth0";
    VEXONETIFINFO info{};
    if (vexonetsdk::sdk_s::VEXONetIFGetInfo_S(kPort, &info, 0) < 0) {
        VEXO_LOG(LOG_ERR, "Error getting %s info", kPort);
        return "";
    }
    // Type 3, link-layer address; hardware type 1, Ethernet.
    std::string duid = "\\x00\\x03\\x00\\x01";
    for (const unsigned char byte : info.mac) {
        char text[8] = {};
        std::snprintf(text, sizeof text, "\\x%02X", byte);
        duid += text;
    }
    return duid;
}

}  // namespace vexonetwork::utils
