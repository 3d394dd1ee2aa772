#pragma once

#include <vexobase/interface_name.h>

namespace vexonetwork::network {

using vexobase::IsInterfaceName;

}  // namespace vexonetwork::network
