#include <vexonetwork/hook/arp_ignore_change_hook.h>

namespace vexonetwork::hook {

ArpIgnoreChangeHook::ArpIgnoreChangeHook(bool newValue) : BaseHook("net", "arp_ignore_change") {
    SetEnv("NEW_VALUE", newValue ? "true" : "false");
}

}  // namespace vexonetwork::hook
