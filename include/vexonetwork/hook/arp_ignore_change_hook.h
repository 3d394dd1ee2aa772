#pragma once

#include <vexonetsdk/base_hook.h>

namespace vexonetwork::hook {

/// "net/arp_ignore_change" with NEW_VALUE, "true" or "false".
class ArpIgnoreChangeHook : public vexonetsdk::hook::BaseHook {
  public:
    explicit ArpIgnoreChangeHook(bool newValue);
};

}  // namespace vexonetwork::hook
