#pragma once

#include <vexonetlink/socket.h>

#include "interface_table.h"

namespace conflictd {

/// Keeps a table in step with the kernel: takes what there is at the start, and again when more has
/// happened than the socket holds, and follows what changes.
class KernelFollower {
  public:
    /// Throws std::system_error.
    KernelFollower();

    int Descriptor() const { return socket.Descriptor(); }

    /// Takes what waits, without waiting. Throws std::system_error when the kernel cannot be asked.
    /// @return whether the table has changed and is whole
    bool Read(InterfaceTable& table);

    /// False at the start and after a loss, until Read() has taken anew what there is.
    bool IsWhole() const { return isWhole; }

  private:
    bool Follow(InterfaceTable& table);
    void TakeAnew(InterfaceTable& table);

    vexonetlink::Socket socket;
    bool isWhole = false;
    bool hasChanged = false;
};

}  // namespace conflictd
