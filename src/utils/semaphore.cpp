#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>

#include <vexobase/log.h>
#include <vexonetwork/utils/semaphore.h>

namespace vexonetwork::semaphore {

namespace {

constexpr int kMode = 0666;

// semctl(2) leaves this type to its callers.
union SemaphoreArgument {
    int val;
    semid_ds* buf;
    unsigned short* array;
};

int SetFree(int semid) {
    SemaphoreArgument argument{};
    argument.val = 1;
    return ::semctl(semid, 0, SETVAL, argument) < 0 ? -1 : 0;
}

int Add(int semid, short change) {
    sembuf operation{0, change, SEM_UNDO};
    return ::semop(semid, &operation, 1);
}

}  // namespace

int Semaphore::Get(int* semid) {
    if (semid == nullptr) {
        return -1;
    }
    const auto ipcKey = static_cast<key_t>(key);
    int id = ::semget(ipcKey, 1, IPC_CREAT | IPC_EXCL | kMode);
    if (id >= 0) {
        if (SetFree(id) != 0) {
            return -1;
        }
    } else if (errno == EEXIST) {
        id = ::semget(ipcKey, 1, kMode);
    }
    if (id < 0) {
        return -1;
    }
    *semid = id;
    return 0;
}

int Semaphore::Enter() {
    int semid = -1;
    if (Get(&semid) != 0) {
        return -1;
    }
    if (Add(semid, -1) != 0) {
        VEXO_LOG_AT(52, LOG_ERR, "semop fail semid %d errno %d", semid, errno);
        return -1;
    }
    return 0;
}

int Semaphore::Release() {
    int semid = -1;
    if (Get(&semid) != 0) {
        return -1;
    }
    if (Add(semid, 1) != 0) {
        VEXO_LOG_AT(78, LOG_ERR, "semop fail semid %d errno %d", semid, errno);
        return -1;
    }
    if (::semctl(semid, 0, IPC_RMID) < 0) {
        VEXO_LOG_AT(83, LOG_ERR, "semctl fail to remove semaphore semid %d errno %d", semid, errno);
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::semaphore
