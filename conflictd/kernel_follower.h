#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include <vexobase/unique_fd.h>

#include "interface_table.h"

namespace conflictd {

/// Keeps a table in step with the kernel (rtnetlink(7)): asks for all links, then for all
/// addresses, and follows what changes. When more happened than the socket holds it asks again.
class KernelFollower {
  public:
    /// Throws std::system_error.
    KernelFollower();

    int Descriptor() const { return fd.Get(); }

    /// Takes what waits, without waiting. Throws std::system_error when the kernel cannot be asked.
    /// @return whether the table has changed and is whole; while the kernel is being asked it is
    /// not
    bool Read(InterfaceTable& table);

    /// False while the kernel is being asked.
    bool IsWhole() const { return stage == Stage::kFollowing; }

  private:
    enum class Stage { kLinks, kAddresses, kFollowing };

    void Ask(Stage wanted);
    void Handle(const nlmsghdr& message, InterfaceTable& table);
    void OnAnswered(InterfaceTable& table);

    vexobase::UniqueFd fd;
    Stage stage = Stage::kLinks;
    bool hasLost = false;
    bool hasChanged = false;
};

}  // namespace conflictd
