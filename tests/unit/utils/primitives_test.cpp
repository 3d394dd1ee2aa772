#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <functional>

#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/create_pid_file.h>
#include <vexonetwork/utils/semaphore.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

using vexonetwork::semaphore::Semaphore;
using vexonetwork::utils::CreatePidFile;

constexpr unsigned kKey = 0xA0005EED;

pid_t Fork(const std::function<bool()>& child) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::_exit(child() ? 0 : 1);
    }
    return pid;
}

bool Succeeded(pid_t pid) {
    int status = -1;
    return ::waitpid(pid, &status, 0) == pid && status == 0;
}

int SemaphoreValue() {
    return ::semctl(::semget(static_cast<key_t>(kKey), 1, 0), 0, GETVAL);
}

/// Waits until a process sleeps in Enter.
void AwaitWaiter(int semid) {
    while (::semctl(semid, 0, GETNCNT) == 0) {
        ::sched_yield();
    }
}

TEST(Semaphore, ReleaseLetsTheNextInAndRemovesTheSet) {
    Semaphore semaphore(kKey);
    int semid = -1;
    ASSERT_EQ(semaphore.Get(&semid), 0);
    EXPECT_EQ(SemaphoreValue(), 1);
    ASSERT_EQ(semaphore.Enter(), 0);
    EXPECT_EQ(SemaphoreValue(), 0);
    const pid_t waiter = Fork([] { return Semaphore(kKey).Enter() == 0; });
    AwaitWaiter(semid);
    ASSERT_EQ(semaphore.Release(), 0);
    EXPECT_TRUE(Succeeded(waiter));
    EXPECT_EQ(::semget(static_cast<key_t>(kKey), 1, 0), -1);
    // Nobody entered: the set is made, raised to 2 and removed.
    EXPECT_EQ(semaphore.Release(), 0);
}

TEST(Semaphore, IsGivenBackByTheDead) {
    ASSERT_TRUE(Succeeded(Fork([] { return Semaphore(kKey).Enter() == 0; })));
    EXPECT_EQ(SemaphoreValue(), 1);
}

TEST(PidFile, SecondInstanceLeavesTheFirstsPid) {
    const vexotest::TempFolder folder;
    const std::string path = folder / "daemon.pid";
    const std::string pid = std::to_string(::getpid()) + "\n";
    vexotest::WriteFile(path, "a longer text of a former life\n");
    const vexobase::UniqueFd first(CreatePidFile(path));
    ASSERT_TRUE(first);
    const pid_t second = Fork([&] {
        vexotest::SyslogSpy spy;
        const int before = vexotest::OpenDescriptors();
        return CreatePidFile(path) == -1 && vexotest::OpenDescriptors() == before
               && spy.Has(LOG_ERR, "create_pid_file", 54, "Unable to lock PID file [" + path + "]");
    });
    EXPECT_TRUE(Succeeded(second));
    EXPECT_EQ(vexotest::ReadFile(path), pid);
}

TEST(PidFile, FailuresClose) {
    vexotest::SyslogSpy spy;
    const int before = vexotest::OpenDescriptors();
    EXPECT_EQ(CreatePidFile("/nowhere/daemon.pid"), -1);
    EXPECT_EQ(CreatePidFile("/dev/full"), -1);  // can be locked but not cut to length
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
    EXPECT_EQ(spy.Lines().front().line, 37);
    EXPECT_EQ(spy.Lines().back().line, 63);
}

}  // namespace
