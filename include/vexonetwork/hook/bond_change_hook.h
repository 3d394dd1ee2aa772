#pragma once

#include <string>

#include <vexonetsdk/base_hook.h>

namespace vexonetwork::hook {

/// "net/bond_change" with ACTION.
class BondChangeHook : public vexonetsdk::hook::BaseHook {
  public:
    explicit BondChangeHook(const std::string& action);
};

}  // namespace vexonetwork::hook
