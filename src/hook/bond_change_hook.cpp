#include <vexonetwork/hook/bond_change_hook.h>

namespace vexonetwork::hook {

BondChangeHook::BondChangeHook(const std::string& action) : BaseHook("net", "bond_change") {
    SetEnv("ACTION", action);
}

}  // namespace vexonetwork::hook
