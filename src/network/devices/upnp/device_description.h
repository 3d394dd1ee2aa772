#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vexonetwork::network {

/// What the description of a root device says of it (UPnP Device Architecture 1.1, section 2.3).
/// Each is UTF-8 without control characters, at most 256 bytes; "" where nothing is said.
struct DeviceDescription {
    std::string friendlyName;
    std::string modelName;
    std::string modelDescription;
    std::string manufacturer;

    bool operator==(const DeviceDescription&) const = default;
};

/// Longer descriptions are not read.
constexpr std::size_t kMaxDescriptionBytes = 65536;

/// Reads the XML of a description. Bytes that are no UTF-8 are left out.
/// @return nothing for what is malformed, has a document type, is too long or too deep, or names
///         neither the device nor its model
std::optional<DeviceDescription> ParseDescription(std::string_view xml);

}  // namespace vexonetwork::network
