#include "support/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <filesystem>

#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/reset_files.h>
#include <vexonetwork/utils/utils.h>

#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using vexonetwork::network::GetSubnetFormat;
using vexonetwork::network::IsEthernetLinkDetected;
using vexotest::Must;
using vexotest::ReadFile;
using vexotest::WriteFile;

constexpr char kScripts[] = "/etc/sysconfig/network-scripts/";

bool Exists(const std::string& path) {
    return std::filesystem::exists(path);
}

class Files : public testing::Test {
  protected:
    vexotest::SyslogSpy spy;
    vexotest::TempFolder folder;
};

TEST_F(Files, MakesOneFolder) {
    EXPECT_EQ(CheckAndMakeDir(folder / "new", 0700), 0);
    struct stat info {};
    ASSERT_EQ(::stat((folder / "new").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, mode_t{0755});
    EXPECT_EQ(CheckAndMakeDir(folder / "no/parents", 0700), -1);
    EXPECT_THAT(spy.Messages(),
                ElementsAre("Failed to mkdir [" + folder / "no/parents" + "][448]"));
}

TEST_F(Files, ReadsWholeFiles) {
    const std::string bytes("a\0\n\xff\n", 5);
    WriteFile(folder / "file", bytes);
    EXPECT_EQ(FileToStr(folder / "file"), bytes);
    EXPECT_EQ(FileToStr(folder / "absent"), "");
    EXPECT_EQ(FileToStr(folder.Path()), "");
}

TEST_F(Files, SetsKernelEntries) {
    WriteFile(folder / "entry", "a longer former value");
    EXPECT_TRUE(SetProcEntry(folder / "entry", "1"));
    EXPECT_EQ(ReadFile(folder / "entry"), "1\n");
    EXPECT_FALSE(SetProcEntry("/proc/sys/net/ipv6/conf/absent/accept_ra", "2"));
}

TEST_F(Files, CopiesIPv6KeysOnly) {
    const std::string from = std::string(kScripts) + "ifcfg-eth0";
    const std::string to = std::string(kScripts) + "ifcfg-eth1";
    WriteFile(from, "IPADDR=192.0.2.1\nIPV6INIT=yes\nIPV6DNS=\"2001:db8::53 2001:db8::54\"\n");
    WriteFile(to, "IPADDR=192.0.2.2\nIPV6INIT=no\nIPV6ADDR=2001:db8::2\n");
    EXPECT_EQ(CopyIfcfgIPv6Attrs("eth0", "eth1"), 0);
    EXPECT_EQ(ReadFile(to),
              "IPADDR=192.0.2.2\nIPV6INIT=yes\nIPV6ADDR=2001:db8::2\n"
              "IPV6DNS=2001:db8::53 2001:db8::54\n");
    EXPECT_EQ(CopyIfcfgIPv6Attrs("eth0", "no/folder"), -1);
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed to copy [IPV6INIT=yes] from " + from + " to "
                                            + kScripts + "ifcfg-no/folder"));
}

TEST_F(Files, RemovesByPattern) {
    for (const char* name : {"a.conf", "c.txt", "d.conf/inside"}) {
        WriteFile(folder / name, "");
    }
    RemoveFiles(folder.Path().c_str(), "*.conf");
    EXPECT_FALSE(Exists(folder / "a.conf"));
    EXPECT_TRUE(Exists(folder / "c.txt") && Exists(folder / "d.conf/inside"));
    EXPECT_THAT(spy.Messages(), IsEmpty());
    RemoveFile((folder / "d.conf").c_str());
    RemoveFiles("/nowhere", "*");
    EXPECT_THAT(spy.Messages(), ElementsAre("remove file " + folder / "d.conf" + " failed",
                                            "VLIBCFileEnumDir /nowhere/* failed"));
}

TEST_F(Files, ResetsToThePristineCopy) {
    WriteFile(folder / "defaults/net/a", "pristine");
    WriteFile(folder / "etc/net/a", "changed");
    WriteFile(folder / "etc/net/b", "added");
    ResetFiles((folder / "defaults/net").c_str(), (folder / "etc/net").c_str());
    EXPECT_EQ(ReadFile(folder / "etc/net/a"), "pristine");
    EXPECT_FALSE(Exists(folder / "etc/net/b"));
    EXPECT_THAT(spy.Messages(), IsEmpty());

    ResetFiles((folder / "absent").c_str(), (folder / "etc/net").c_str());
    EXPECT_FALSE(Exists(folder / "etc/net"));
}

TEST_F(Files, DetectsLinks) {
    const int descriptors = vexotest::OpenDescriptors();
    Must("ip link add fifteen-letters type veth peer name far");
    Must("ip link set fifteen-letters up");
    EXPECT_FALSE(IsEthernetLinkDetected("fifteen-letters"));  // no carrier
    Must("ip link set far up");
    while (ReadFile("/sys/class/net/fifteen-letters/operstate") != "up\n") {
        ::sched_yield();
    }
    EXPECT_TRUE(IsEthernetLinkDetected("fifteen-letters"));
    EXPECT_TRUE(IsEthernetLinkDetected("fifteen-letters-and-more"));
    EXPECT_THAT(spy.Messages(), IsEmpty());
    EXPECT_FALSE(IsEthernetLinkDetected("absent"));
    EXPECT_FALSE(IsEthernetLinkDetected(std::string("far\0", 4)));
    EXPECT_THAT(spy.Messages(), ElementsAre("Failed get interface flags for absent",
                                            "Failed to copy interface name far"));
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
}

TEST_F(Files, FormatsSubnets) {
    std::string subnet = "former";
    EXPECT_EQ(GetSubnetFormat("192.168.1.10", "", subnet), -1);
    EXPECT_EQ(GetSubnetFormat(std::string(5000, '1'), "255.255.255.0", subnet), -1);
    EXPECT_EQ(subnet, "former");
    EXPECT_EQ(GetSubnetFormat("192.168.1.10", "255.255.255.0", subnet), 0);
    EXPECT_EQ(subnet, "192.168.1.0/24");
}

}  // namespace
