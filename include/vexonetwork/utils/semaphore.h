#pragma once

namespace vexonetwork::semaphore {

/// A lock between processes: a System V semaphore set of one semaphore, known by its IPC key, that
/// is 1 while free and 0 while held. The kernel gives it back when its holder dies (SEM_UNDO).
class Semaphore {
  public:
    /// @param ipcKey  the key that all processes sharing the lock use
    explicit Semaphore(unsigned ipcKey) : key(ipcKey) {}

    /// Opens the set, or creates it as free.
    /// @param semid  takes the set's id
    /// @return 0, or -1 (also for null)
    int Get(int* semid);

    /// Waits until the semaphore is free and takes it.
    /// @return 0, or -1, also when the holder removed the set while this process waited
    int Enter();

    /// Gives the semaphore back and removes the set; the next Enter creates it anew.
    /// @return 0 or -1
    int Release();

  private:
    unsigned key;
};

}  // namespace vexonetwork::semaphore
