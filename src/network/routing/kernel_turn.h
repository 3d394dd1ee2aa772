#pragma once

namespace vexonetwork::network {

/// Whose turn it is to bring the kernel in step: two processes at once would each add what both
/// miss. Short work is waited for; who hangs, or cannot lock, delays the others but stops nobody.
class KernelTurn {
  public:
    KernelTurn();
    ~KernelTurn();
    KernelTurn(const KernelTurn&) = delete;
    KernelTurn& operator=(const KernelTurn&) = delete;

  private:
    int lock = -1;
};

}  // namespace vexonetwork::network
