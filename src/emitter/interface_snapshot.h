#pragma once

#include <optional>
#include <string>
#include <vector>

#include "emitter/interface_event.h"

namespace vexonetwork {

/// All links and addresses of a network namespace at one moment.
struct InterfaceSnapshot {
    std::vector<LinkEvent> links;
    std::vector<AddressEvent> addresses;  ///< in the kernel's order
};

/// @return nothing, with errno, when the kernel did not tell all
std::optional<InterfaceSnapshot> ReadInterfaces();

/// The name that an interface has now; "" when there is no such interface, or no longer.
std::string KernelName(unsigned index);

}  // namespace vexonetwork
