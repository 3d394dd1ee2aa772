#include "print/device_list.h"

#include <algorithm>
#include <cctype>
#include <ostream>

#include <vexonetwork/network/clientlist.h>
#include <vexonetwork/utils/mac_address.h>

#include "facts/entry.h"
#include "facts/time_text.h"
#include "print/printable.h"
#include "print/table.h"

namespace vexonetctl {
namespace {

constexpr std::size_t kMacColumn = 1;

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Shortened(const std::string& text) {
    constexpr std::size_t kMax = 60;
    constexpr std::string_view kMore = "...";
    std::string shown = Printable(text);
    if (WidthOf(shown) > kMax) {
        shown = shown.substr(0, LengthWithin(shown, kMax - kMore.size())).append(kMore);
    }
    return shown;
}

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : Shortened(text);
}

std::string NameOf(const Json::Value& device) {
    const std::string given = Text(device, "userdef_displayName");
    const std::string name = given.empty() ? Text(device, "displayName") : given;
    const std::string model = Text(device, "modelName");
    return model.empty() || model == name ? OrDash(name)
                                          : OrDash(name) + " (" + Shortened(model) + ")";
}

std::string LastSeenOf(const Json::Value& device, std::time_t now) {
    constexpr std::size_t kWithoutSeconds = sizeof "2026-11-14 14:03" - 1;
    const auto time =
        vexonetwork::network::ClientList::ParseLocalTime(Text(device, "asso_time"), now);
    return time ? ToLocalText(*time).substr(0, kWithoutSeconds) : "-";
}

}  // namespace

std::optional<std::string> CanonicalMac(const std::string& text) {
    std::string colons = text;
    std::ranges::replace(colons, '-', ':');
    const vexonetwork::utils::MacAddress address(colons);
    return address.IsFormalized() ? std::optional(LowerCase(address)) : std::nullopt;
}

const Json::Value* FindDevice(const Json::Value& devices, const std::string& mac) {
    for (const Json::Value& device : devices) {
        if (!device.isObject() || !device.isMember("macAddr")) {
            break;
        }
        if (LowerCase(Text(device, "macAddr")) == mac) {
            return &device;
        }
    }
    return nullptr;
}

void PrintDevices(std::ostream& out, const Json::Value& devices) {
    if (devices.empty()) {
        out << "no devices\n";
        return;
    }
    const std::time_t now = Now().tv_sec;
    Table table({"ADDRESS", "MAC", "PORT", "LAST SEEN", "NAME (MODEL)"}, kMacColumn);
    for (const Json::Value& device : devices) {
        table.Add({OrDash(Text(device, "ipAddr")), OrDash(Text(device, "macAddr")),
                   OrDash(Text(device, "netif")), LastSeenOf(device, now), NameOf(device)});
    }
    table.Print(out);
}

}  // namespace vexonetctl
