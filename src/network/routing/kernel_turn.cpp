#include "network/routing/kernel_turn.h"

#include <time.h>

#include <vexonetwork/utils/lock.h>
#include <vlib/file.h>

namespace vexonetwork::network {
namespace {

constexpr char kLock[] = "/run/vexo/kernel-routes.lock";
constexpr timespec kPause{0, 2'000'000};
constexpr int kTries = 500;

}  // namespace

KernelTurn::KernelTurn() {
    if (!utils::FileLock(kLock, true).createParentDir()) {
        return;
    }
    for (int i = 0; i < kTries && VLIBCFileLockByFile(kLock, 1, &lock) == 0; ++i) {
        ::nanosleep(&kPause, nullptr);
    }
}

KernelTurn::~KernelTurn() {
    if (lock >= 0) {
        VLIBCFileUnlockByFile(lock);
    }
}

}  // namespace vexonetwork::network
