#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vlib/file.h>

#include "support/files.h"
#include "utils/sz_containers.h"

namespace {

using vexotest::OpenDescriptors;

std::function<void()> beforeFlock;

std::vector<std::string> Names(const std::string& folder, const char* pattern, int type) {
    vexonetwork::utils::UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCFileEnumDir(folder.c_str(), pattern, list.Address(), type), list->count);
    return {list->items, list->items + list->count};
}

TEST(File, ListsAFolder) {
    const vexotest::TempFolder folder;
    for (const char* name : {"b.conf", "ipv6-eth1", "ipv6-eth0", ".hidden", "a[1]"}) {
        vexotest::WriteFile(folder / name, "");
    }
    std::filesystem::create_directory(folder / "ipv6-folder");
    std::filesystem::create_symlink("nowhere", folder / "link.conf");

    using ::testing::ElementsAre;
    EXPECT_THAT(Names(folder.Path(), "ipv6-", 2), ElementsAre("ipv6-eth0", "ipv6-eth1"));
    EXPECT_THAT(Names(folder.Path(), "ipv6-", 1), ElementsAre("ipv6-folder"));
    EXPECT_THAT(Names(folder.Path(), "*.conf", 2), ElementsAre("b.conf", "link.conf"));
    EXPECT_THAT(Names(folder.Path(), "*", 3), ElementsAre("a[1]", "b.conf", "ipv6-eth0",
                                                          "ipv6-eth1", "ipv6-folder", "link.conf"));
    EXPECT_EQ(Names(folder.Path(), "", 3).size(), 7U);

    vexonetwork::utils::UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCFileEnumDir((folder / "none").c_str(), "", list.Address(), 2), -1);
    EXPECT_EQ(VLIBCFileExist((folder / "link.conf").c_str()), 0);
    EXPECT_EQ(VLIBCFileExist(folder.Path().c_str()), 1);
    EXPECT_EQ(VLIBCFileCheckDir(folder.Path().c_str()), 1);
    EXPECT_EQ(VLIBCFileCheckDir((folder / "b.conf").c_str()), 0);
}

TEST(FileLock, ExcludesAndShares) {
    const vexotest::TempFolder folder;
    const std::string path = folder / "lock";
    const int before = OpenDescriptors();
    int first = -1;
    int second = -1;
    ASSERT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &first), 1);
    EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &second), 0);
    EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 0, &second), 0);
    EXPECT_EQ(second, -1);
    EXPECT_EQ(VLIBCFileUnlockByFile(first), 1);
    EXPECT_EQ(VLIBCFileUnlockByFile(first), -1);
    ASSERT_EQ(VLIBCFileLockByFile(path.c_str(), 0, &first), 1);
    ASSERT_EQ(VLIBCFileLockByFile(path.c_str(), 0, &second), 1);
    EXPECT_EQ(VLIBCFileUnlockByFile(first), 1);
    EXPECT_EQ(VLIBCFileUnlockByFile(second), 1);
    EXPECT_EQ(VLIBCFileLockByFile((folder / "none/lock").c_str(), 1, &first), -1);
    std::filesystem::create_symlink("lock", folder / "link");
    EXPECT_EQ(VLIBCFileLockByFile((folder / "link").c_str(), 1, &first), -1);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(FileLock, AFileDeletedByItsHolderIsNotTheLock) {
    const vexotest::TempFolder folder;
    const std::string path = folder / "lock";
    const int before = OpenDescriptors();
    int descriptor = -1;
    beforeFlock = [&] { ::unlink(path.c_str()); };
    EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &descriptor), 0);
    beforeFlock = [&] {
        ::unlink(path.c_str());
        vexotest::WriteFile(path, "");
    };
    EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &descriptor), 0);
    beforeFlock = nullptr;
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &descriptor), 1);
    EXPECT_EQ(VLIBCFileUnlockByFile(descriptor), 1);
}

}  // namespace

extern "C" int flock(int fd, int operation) noexcept {
    if (beforeFlock) {
        beforeFlock();
    }
    return static_cast<int>(::syscall(SYS_flock, fd, operation));
}
