#include "support/files.h"

#include <gmock/gmock.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <latch>
#include <thread>

#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/json_reader.h>
#include <vexonetwork/utils/lock.h>
#include <vexonetwork/utils/reset_files.h>
#include <vexonetwork/utils/semaphore.h>
#include <vexonetwork/utils/utils.h>
#include <vlib/file.h>

#include "support/syslog_spy.h"

namespace {

namespace fs = std::filesystem;
using namespace vexonetwork::utils;
using namespace vexonetwork::network;
using namespace vexotest;
using testing::ElementsAre;
using vexonetwork::semaphore::Semaphore;

unsigned secondsSlept = 0;
std::function<void()> whileSleeping = [] {};
std::function<void()> whenDeleting = [] {};

}  // namespace

// A file lock's waiting ends here and takes no time.
extern "C" unsigned sleep(unsigned seconds) {
    secondsSlept += seconds;
    whileSleeping();
    return 0;
}

extern "C" int unlink(const char* path) noexcept {
    whenDeleting();
    return static_cast<int>(::syscall(SYS_unlink, path));
}

namespace {

class Files : public testing::Test {
  protected:
    vexotest::SyslogSpy spy;
    vexotest::TempFolder folder;
};

TEST_F(Files, CopiesIPv6KeysOnly) {
    const std::string prefix = "/etc/sysconfig/network-scripts/ifcfg-";
    WriteFile(prefix + "eth0",
              "IPADDR=192.0.2.1\nIPV6INIT= yes\nIPV6ADDR=\"\"\nIPV6DNS=\"::53 ::54\" \r\n");
    WriteFile(prefix + "eth1", "IPADDR=192.0.2.2\nIPV6INIT=no\nIPV6ADDR=2001:db8::2\n");
    EXPECT_EQ(CopyIfcfgIPv6Attrs("eth0", "eth1"), 0);
    EXPECT_EQ(ReadFile(prefix + "eth1"),
              "IPADDR=192.0.2.2\nIPV6INIT=yes\nIPV6ADDR=2001:db8::2\nIPV6DNS=\"::53 ::54\"\n");
    EXPECT_EQ(CopyIfcfgIPv6Attrs("absent", "eth1"), 0);
    EXPECT_EQ(CopyIfcfgIPv6Attrs("eth0", "no/folder"), -1);
}

TEST_F(Files, ResetsAndRemoves) {
    WriteFile(folder / "net/a", "pristine");
    WriteFile(folder / "etc/net/a", "changed");
    WriteFile(folder / "etc/net/b", "added");
    ResetFiles((folder / "net").c_str(), (folder / "etc/net").c_str());
    EXPECT_EQ(ReadFile(folder / "etc/net/a"), "pristine");
    EXPECT_FALSE(fs::exists(folder / "etc/net/b"));
    RemoveFiles((folder / "net").c_str(), "[!a]*");
    EXPECT_TRUE(fs::exists(folder / "net/a"));
    ResetFiles("/absent", (folder / "etc/net").c_str());
    EXPECT_FALSE(fs::exists(folder / "etc/net"));
}

TEST_F(Files, FormatsSubnetsAndFiltersGatewayListsByKind) {
    std::string subnet;
    EXPECT_EQ(GetSubnetFormat("192.168.1.10", "255.255.255.0", subnet), 0);
    EXPECT_EQ(GetSubnetFormat(std::string(5000, '1'), "255.255.255.0", subnet), -1);
    EXPECT_EQ(subnet, "192.168.1.0/24");
    Json::Value all;
    ASSERT_TRUE(ParseJson(
        R"([{"ifname": "eth0", "class": "unknown", "gateway": "192.0.2.1", "slave": false},
            {"ifname": "eth1", "class": "ethernet", "gateway": "192.0.2.1", "slave": true},
            {"ifname": "lan", "class": "ethernet", "gateway": "", "slave": false},
            {"ifname": "wlan0", "class": "ethernet", "gateway": "NULL", "slave": false},
            {"ifname": "radio", "class": "wlan", "gateway": "192.0.2.9", "slave": false},
            {"ifname": 7, "class": [], "gateway": {}, "slave": "no"}, null, 4])",
        all));
    std::string names;
    for (const std::string type : {"wan", "ethernet", "wlan", "dsl"}) {
        Json::Value list = all;
        FilterList(type, list);
        names += " " + type + ":";
        for (const Json::Value& entry : list) {
            names += " " + entry["ifname"].asString();
        }
    }
    EXPECT_EQ(names, " wan: eth0 radio ethernet: eth0 lan wlan: wlan0 radio dsl:");
}

TEST_F(Files, LockWaitsForItsTurnAndGivesUp) {
    const std::string path = folder / "a/b/lock";
    const int descriptors = vexotest::OpenDescriptors();
    FileLock holder(path, true), waiter(path, true);
    ASSERT_TRUE(holder.Lock());
    EXPECT_FALSE(waiter.Lock());
    EXPECT_EQ(secondsSlept, 30u);
    EXPECT_FALSE(waiter.Unlock() || !fs::exists(path));
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to get file lock of [" + path + "]",
                                            "Failed to release file lock of [" + path + "]"));
    whileSleeping = [&] { EXPECT_TRUE(holder.Unlock()); };
    EXPECT_TRUE(waiter.Lock());
    EXPECT_EQ(secondsSlept, 31u);
    EXPECT_TRUE(waiter.Unlock());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);

    // Who got it before its file goes would be alone with a file that nobody finds any more.
    ASSERT_TRUE(holder.Lock());
    int early = -1;
    whenDeleting = [&] { EXPECT_EQ(VLIBCFileLockByFile(path.c_str(), 1, &early), 0); };
    EXPECT_TRUE(holder.Unlock());
    whenDeleting = [] {};
}

TEST_F(Files, AFolderThatSeveralMakeAtOnceIsThere) {
    for (int i = 0; i < 100; ++i) {
        const std::string path = folder / std::to_string(i);
        std::latch start(3);
        const auto make = [&] {
            start.arrive_and_wait();
            EXPECT_EQ(CheckAndMakeDir(path, 0755), 0);
        };
        const std::jthread threads[] = {std::jthread(make), std::jthread(make), std::jthread(make)};
    }
    WriteFile(folder / "file", "");
    EXPECT_EQ(CheckAndMakeDir(folder / "file", 0700), -1);
}

TEST_F(Files, AnotherOnesLockFileIsLeftToHim) {
    const std::string path = folder / "lock";
    FileLock first(path, true), second(path, true);
    ASSERT_TRUE(first.Lock());
    fs::remove(path);  // by hand
    ASSERT_TRUE(second.Lock());
    EXPECT_FALSE(first.Unlock()) << "its file was not there any more";
    EXPECT_FALSE(ScopedFileLock(path, std::chrono::milliseconds(0), 3)) << "it is the second's";
    EXPECT_TRUE(second.Unlock());
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Files, OfSeveralProcessesOneHoldsTheLock) {
    const std::string path = folder / "lock";
    WriteFile(folder / "count", "0");
    // Two forks make four processes.
    const pid_t children[] = {::fork(), ::fork()};
    bool isFaulty = false;
    for (int turn = 0; turn < 250; ++turn) {
        const ScopedFileLock lock(path, std::chrono::milliseconds(1), 100'000);
        isFaulty |= !lock || ::mkdir((folder / "held").c_str(), 0755) != 0;
        WriteFile(folder / "count", std::to_string(std::stoi(ReadFile(folder / "count")) + 1));
        isFaulty |= ::rmdir((folder / "held").c_str()) != 0;
    }
    for (int status = 0; children[1] != 0 && ::waitpid(-1, &status, 0) > 0;) {
        isFaulty |= status != 0;
    }
    if (children[0] == 0 || children[1] == 0) {
        ::_exit(isFaulty);
    }
    EXPECT_FALSE(isFaulty);
    EXPECT_EQ(ReadFile(folder / "count"), "1000");
    EXPECT_FALSE(fs::exists(path));
}

TEST(Semaphore, IsRemovedByItsReleaseAndFreedByAnEnd) {
    constexpr unsigned kKey = 0xA0005EED;
    Semaphore semaphore(kKey);
    EXPECT_EXIT(::_exit(semaphore.Enter()), testing::ExitedWithCode(0), "");
    EXPECT_EQ(semaphore.Enter() + semaphore.Release(), 0);
    EXPECT_EQ(::semget(static_cast<key_t>(kKey), 1, 0), -1);
}

}  // namespace
