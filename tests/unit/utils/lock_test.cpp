#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include <vexonetwork/utils/lock.h>

#include "support/files.h"
#include "support/syslog_spy.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexonetwork::utils::FileLock;

unsigned secondsSlept = 0;
std::function<void()> whileSleeping;

}  // namespace

// The lock's waiting ends here and takes no time.
extern "C" unsigned sleep(unsigned seconds) {
    secondsSlept += seconds;
    if (whileSleeping) {
        whileSleeping();
    }
    return 0;
}

namespace {

class FileLockTest : public testing::Test {
  protected:
    FileLockTest() { secondsSlept = 0; }
    ~FileLockTest() override { whileSleeping = nullptr; }

    vexotest::SyslogSpy spy;
    vexotest::TempFolder folder;
    const std::string path = folder / "a/b/lock";
    FileLock holder{path, true};
    FileLock waiter{path, true};
};

TEST_F(FileLockTest, WaitsForItsTurn) {
    const int descriptors = vexotest::OpenDescriptors();
    ASSERT_TRUE(holder.Lock());
    whileSleeping = [&] {
        if (secondsSlept == 3) {
            EXPECT_TRUE(holder.Unlock());
        }
    };
    EXPECT_TRUE(waiter.Lock());
    EXPECT_EQ(secondsSlept, 3u);
    EXPECT_TRUE(waiter.Unlock());
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
    EXPECT_THAT(spy.Messages(), IsEmpty());
}

TEST_F(FileLockTest, GivesUpAndLeavesTheHoldersFile) {
    ASSERT_TRUE(holder.Lock());
    EXPECT_FALSE(waiter.Lock());
    EXPECT_EQ(secondsSlept, 30u);
    EXPECT_FALSE(waiter.Unlock());
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_TRUE(holder.Unlock());
    EXPECT_FALSE(holder.Unlock());
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to get file lock of [" + path + "]",
                                            "Failed to release file lock of [" + path + "]",
                                            "Failed to release file lock of [" + path + "]"));
}

TEST_F(FileLockTest, SharesAndMakesFolders) {
    FileLock first(path, false);
    FileLock second(path, false);
    EXPECT_TRUE(first.Lock() && second.Lock());
    EXPECT_TRUE(first.Unlock());
    EXPECT_FALSE(second.Unlock());  // the first has deleted the file
    EXPECT_TRUE(FileLock("no-folder", true).createParentDir());
    EXPECT_TRUE(FileLock("/in-root", true).createParentDir());
    EXPECT_FALSE(FileLock("/dev/null/lock", true).Lock());
}

}  // namespace
