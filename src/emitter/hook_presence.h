#pragma once

#include <map>
#include <string_view>

#include <vexobase/hook_folder.h>

namespace vexonetwork {

/// Whether an event is worth telling. The platform finds out by itself whether an administrator has
/// hooks for it, so one is told in any case; in a burst of many the arguments are spared for those
/// that nobody hears, and hooks for each event are looked for once.
class HookPresence {
  public:
    /// While one lives, the events asked for are those of one burst.
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
    bool IsWorthTelling(const char* event) {
        if (!remembers || inBurst < kMaxTold) {
            inBurst += remembers ? 1 : 0;
            return true;
        }
        const auto [place, isNew] = known.try_emplace(event, false);
        if (isNew) {
            place->second = Look(event);
        }
        return place->second;
    }

    void EndBurst() {
        known.clear();
        inBurst = 0;
    }

  private:
    static constexpr int kMaxTold = 16;

    static bool Look(const char* event) { return vexobase::MayHaveHooks("net", event); }

    bool remembers = false;
    int inBurst = 0;
    std::map<std::string_view, bool> known;
};

}  // namespace vexonetwork
