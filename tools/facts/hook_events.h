#pragma once

#include <optional>
#include <string>

#include <vexobase/unique_fd.h>

#include "facts/event.h"

namespace vexonetctl {

/// What becomes of the hooks that the daemon and other programs run.
class HookEvents {
  public:
    /// Begins to listen. Without the right to, nothing ever comes.
    HookEvents();

    /// Takes what comes on a descriptor that OpenHookReports has opened.
    explicit HookEvents(vexobase::UniqueFd reports);

    /// Readable when a hook has ended; -1 when nothing can be heard.
    int Descriptor() const { return socket.Get(); }

    /// Why nothing can be heard; "" when all is well.
    const std::string& Trouble() const { return trouble; }

    /// Takes what waits, without waiting.
    std::optional<Event> Read();

  private:
    vexobase::UniqueFd socket;
    std::string trouble;
};

}  // namespace vexonetctl
