#pragma once

#include <map>
#include <string_view>

#include <vlib/plugin.h>

namespace vexonetwork {

/// Whether an administrator has hooks for an event. Within a burst of events each is looked for
/// once.
class HookPresence {
  public:
    /// @param event  a literal, of category "net"
    bool HasHooks(const char* event) {
        if (!isBurst) {
            return Ask(event);
        }
        const auto [place, isNew] = known.try_emplace(event, false);
        if (isNew) {
            place->second = Ask(event);
        }
        return place->second;
    }

    void BeginBurst() { isBurst = true; }
    void EndBurst() {
        isBurst = false;
        known.clear();
    }

  private:
    static bool Ask(const char* event) { return VLIBPluginIsHeard("net", event) == 1; }

    bool isBurst = false;
    std::map<std::string_view, bool> known;
};

}  // namespace vexonetwork
