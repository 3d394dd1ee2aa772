#pragma once

#include <map>
#include <string_view>

#include <vlib/plugin.h>

namespace vexonetwork {

/// Whether an administrator has hooks for an event. While a burst of events is handled, each is
/// looked for once.
class HookPresence {
  public:
    /// While one lives, answers of the same burst are used again.
    class Remembering {
      public:
        explicit Remembering(HookPresence& all) : presence(all) { presence.remembers = true; }
        ~Remembering() { presence.remembers = false; }
        Remembering(const Remembering&) = delete;
        Remembering& operator=(const Remembering&) = delete;

      private:
        HookPresence& presence;
    };

    /// @param event  a literal, of category "net"
    bool HasHooks(const char* event) {
        if (!remembers) {
            return Look(event);
        }
        const auto [place, isNew] = known.try_emplace(event, false);
        if (isNew) {
            place->second = Look(event);
        }
        return place->second;
    }

    void EndBurst() { known.clear(); }

  private:
    static bool Look(const char* event) { return VLIBPluginHasHooks("net", event) == 1; }

    bool remembers = false;
    std::map<std::string_view, bool> known;
};

}  // namespace vexonetwork
