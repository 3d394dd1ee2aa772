#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include <vlib/error.h>
#include <vlib/file.h>

#include "support/files.h"
#include "utils/sz_containers.h"

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using namespace vexonetwork::utils;
using namespace vexotest;

constexpr char kFile[] = "/tmp/kv/file";
constexpr char kFormat[] = "%s=%s\n";

std::function<void()> beforeFlock;

UniqueSzHash ToHash(std::initializer_list<std::pair<std::string, std::string>> pairs) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1024));
    for (const auto& [key, value] : pairs) {
        VLIBCSzHashSetValue(hash.Address(), key.c_str(), value.c_str());
    }
    return hash;
}

/// The pairs in table order, one in a line; "failed" when they could not be read.
std::string Lines(int result, const UniqueSzHash& hash) {
    std::string lines;
    for (int i = 0; i < hash->count; ++i) {
        lines += hash->pairs[i].key + "="s + hash->pairs[i].value + "\n";
    }
    return result < 0 ? "failed" : lines;
}

std::string Joined(const UniqueSzList& list) {
    std::string names;
    for (int i = 0; i < list->count; ++i) {
        names += VLIBCSzListGet(list.Get(), i) + "|"s;
    }
    return names;
}

std::string Flat(const char* path) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    return Lines(VLIBCFileGetKeys(path, nullptr, hash.Address(), "="), hash);
}

std::string Section(const char* section) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    return Lines(VLIBCFileGetSection(kFile, section, hash.Address()), hash);
}

std::string Sections() {
    UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCFileEnumSection(kFile, list.Address()), list->count);
    return Joined(list);
}

TEST(KeyValueFile, ReadsFlatFiles) {
    WriteFile(kFile,
              "#a=comment\n;b=comment\n\nno pair\n=no key\n a =\tx \r\n\"b\"=[1]=#2\n"
              "nul\0=1\nc=1\n[d]\nc=2\ne="s
              "\nlast=line"s);
    EXPECT_EQ(Flat(kFile), "a=\tx \r\n\"b\"=[1]=#2\nc=2\ne=\nlast=line\n");
    for (const char* path : {"/tmp", "/dev/zero", "/tmp/none"}) {
        EXPECT_EQ(Flat(path), "failed") << path;
    }
}

TEST(KeyValueFile, ReadsOneKeyAsPeopleMeanIt) {
    WriteFile(kFile, "a=1\nA= \"x y\" \r\na = ' \"z\" '\nlong=0123456789ab\n");
    const auto value = [](const char* key) {
        char text[10] = "unchanged";
        return std::to_string(VLIBCFileGetKeyValue(kFile, key, text, sizeof text, 0)) + text;
    };
    EXPECT_EQ(value("a"), "5 \"z\" ");
    EXPECT_EQ(value("A"), "3x y");
    EXPECT_EQ(value("long"), "9012345678");
    EXPECT_EQ(value("b"), "-1unchanged");
    EXPECT_EQ(VLIBCFileCheckKeyValue(kFile, "A", "X Y", 0), 0);
    EXPECT_EQ(VLIBCFileCheckKeyValue(kFile, "A", "X Y", 1), 1);
}

TEST(KeyValueFile, ReadsSections) {
    WriteFile(kFile, "before=1\n[ b] trailing\n\tx=1\n#y=2\n[a\nz=3\n[empty]\r\n[]\n[ b]\nx=4");
    EXPECT_EQ(Sections(), " b|empty||");
    EXPECT_EQ(Section(" b"), "x=4\nz=3\n");
    EXPECT_EQ(Section("empty"), "");
    EXPECT_EQ(Section("a"), "failed");
}

TEST(KeyValueFile, WhatIsWrittenIsReadBackUnchanged) {
    const UniqueSzHash hash =
        ToHash({{"a b", " [blanks] "}, {"x#", "\t\"=;#'\r"}, {"]", ""}, {"\xC3\xA4", "%s%n"}});
    WriteFile(kFile, "");
    FILE* const stream = std::fopen(kFile, "w");
    for (const char* section : {"z", " [%s"}) {
        EXPECT_EQ(VLIBCFileHash2File(stream, section, hash.Get(), "\t%s=%s\n"), 0);
    }
    std::fclose(stream);
    const std::string lines = "\ta b= [blanks] \n\tx#=\t\"=;#'\r\n\t]=\n\t\xC3\xA4=%s%n\n";
    EXPECT_EQ(ReadFile(kFile), "[z]\n" + lines + "[ [%s]\n" + lines);
    EXPECT_EQ(Sections(), "z| [%s|");
    EXPECT_EQ(Section(" [%s"), Lines(0, hash));
    ASSERT_EQ(VLIBCFileAddSection(kFile, "z", hash.Get(), " %s\t=%s\n"), 0);
    EXPECT_EQ(Section("z"), Lines(0, hash));
    ASSERT_EQ(VLIBCFileSetKeys("/tmp/flat", hash.Get(), nullptr, 0), 0);
    EXPECT_EQ(Flat("/tmp/flat"), Lines(0, hash));
}

void ExpectRefused(const char* section, const char* key, const char* value, const char* format) {
    SCOPED_TRACE(section + "|"s + key + "|" + value + "|" + format);
    const UniqueSzHash hash = ToHash({{"good", "pair"}, {key, value}});
    EXPECT_EQ(VLIBCFileHash2File(stderr, section, hash.Get(), format), -1);
    EXPECT_EQ(VLIBCFileAddSection(kFile, section, hash.Get(), format), -1);
    EXPECT_TRUE(section != "s"s || VLIBCFileSetKeyValue(kFile, key, value, format) == -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_UNWRITABLE);
    EXPECT_EQ(VLIBCFileExist(kFile), 0);
}

TEST(KeyValueFile, RefusesWhatWouldNotBeReadBackUnchanged) {
    for (const char* section : {"s]", "s\n"}) {
        ExpectRefused(section, "k", "v", kFormat);
    }
    for (const char* key : {"", " k", "k\t", "#k", ";k", "[k", "k=", "k\n"}) {
        ExpectRefused("s", key, "v", kFormat);
    }
    ExpectRefused("s", "k", "v\nx=1", kFormat);
    for (const char* format : {"%s=%s", "%s= %s\n", "%s:%s\n", "%s=\n", "#%s=%s\n", "%s=%s%s\n",
                               "%s=%s \n", "%s=%s\n%s=%s\n", "%s=%s\nx=1\n", ""}) {
        ExpectRefused("s", "k", "v", format);
    }
}

TEST(KeyValueFile, SettingKeysOrASectionLeavesOtherLines) {
    const UniqueSzHash keys = ToHash({{"new", "n"}, {"a", "1"}, {"last", ""}});
    using Change = std::pair<std::string, std::string>;
    for (const auto& [before, after] : {Change{"#a=0\n\n  a = \"0\"\r\nab=2\ntext\na=3\n",
                                               "#a=0\n\na=1\nab=2\ntext\nnew=n\nlast=\n"},
                                        Change{"a=0\nlast=x", "a=1\nlast=\nnew=n\n"},
                                        Change{"\0a=0\n"s, "\0a=0\nnew=n\na=1\nlast=\n"s}}) {
        WriteFile(kFile, before);
        EXPECT_EQ(VLIBCFileSetKeys(kFile, keys.Get(), nullptr, 0), 0);
        EXPECT_EQ(ReadFile(kFile), after);
    }
    const std::string block = "[s]\n\tk=v\n";
    for (const auto& [before, after] :
         {Change{"k=0\n[s]\nk=1\n# about t\n[t]\nk=0\n", "k=0\n" + block + "# about t\n[t]\nk=0\n"},
          Change{"[s]\nk=1\n[t]\nk=0\n[s]\nk=2\nl=3", block + "[t]\nk=0\n"}}) {
        WriteFile(kFile, before);
        EXPECT_EQ(VLIBCFileAddSection(kFile, "s", ToHash({{"k", "v"}}).Get(), "\t%s=%s\n"), 0);
        EXPECT_EQ(ReadFile(kFile), after);
    }
}

TEST(KeyValueFile, ReplacementKeepsLinkModeAndOwner) {
    WriteFile(kFile, "");
    ASSERT_TRUE(::chmod(kFile, 0640) == 0 && ::chown(kFile, 12, 34) == 0);
    ASSERT_EQ(::symlink("kv/file", "/tmp/link"), 0);
    EXPECT_EQ(VLIBCFileSetKeyValue("/tmp/link", "a", "1", nullptr), 0);
    EXPECT_TRUE(fs::is_symlink("/tmp/link"));
    EXPECT_EQ(ReadFile(kFile), "a=1\n");
    struct stat info {};
    EXPECT_EQ(::stat(kFile, &info), 0);
    EXPECT_TRUE((info.st_mode & 07777) == 0640 && info.st_uid == 12 && info.st_gid == 34);
}

TEST(KeyValueFile, WhatCannotBeReplacedStays) {
    ASSERT_EQ(::mkdir("/tmp/kv", 0755), 0);
    ASSERT_EQ(::mount("tmpfs", "/tmp/kv", "tmpfs", 0, "size=64k"), 0);
    WriteFile(kFile, "a=0\n");
    const std::string large(100000, 'x');
    EXPECT_EQ(VLIBCFileSetKeyValue(kFile, "b", large.c_str(), nullptr), -1) << "the disk is full";
    EXPECT_EQ(ReadFile(kFile), "a=0\n");
    ASSERT_EQ(::mknod("/tmp/kv/null", S_IFCHR | 0666, makedev(1, 3)), 0);
    fs::create_symlink("null", "/tmp/kv/to-null");
    fs::create_symlink("loop", "/tmp/kv/loop");
    fs::create_directory("/tmp/kv/folder");
    for (const std::string name : {"to-null", "loop", "folder"}) {
        EXPECT_EQ(VLIBCFileSetKeyValue(("/tmp/kv/" + name).c_str(), "a", "1", nullptr), -1) << name;
    }
    EXPECT_TRUE(fs::is_character_file("/tmp/kv/null") && fs::is_symlink("/tmp/kv/loop"));
    EXPECT_EQ(std::distance(fs::directory_iterator("/tmp/kv"), {}), 5) << "a temporary was left";
}

std::string Names(const char* pattern, int type) {
    UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCFileEnumDir("/tmp/files", pattern, list.Address(), type), list->count);
    return Joined(list);
}

TEST(File, ListsAFolder) {
    for (const std::string name : {"b.conf", "ipv6-eth1", "ipv6-eth0", ".hidden", "a[1]"}) {
        WriteFile("/tmp/files/" + name, "");
    }
    fs::create_directory("/tmp/files/ipv6-folder");
    fs::create_symlink("nowhere", "/tmp/files/link.conf");
    EXPECT_EQ(Names("ipv6-", 2), "ipv6-eth0|ipv6-eth1|");
    EXPECT_EQ(Names("*.conf", 2), "b.conf|link.conf|");
    EXPECT_EQ(Names("*", 3), "a[1]|b.conf|ipv6-eth0|ipv6-eth1|ipv6-folder|link.conf|");
    EXPECT_EQ(Names("", 3).substr(0, 8), ".hidden|");
}

TEST(FileLock, SharesAndMindsWhatItLocked) {
    const int before = vexotest::OpenDescriptors();
    int first = -1, second = -1, third = -1;
    ASSERT_EQ(VLIBCFileLockByFile("/tmp/lock", 0, &first), 1);
    ASSERT_EQ(VLIBCFileLockByFile("/tmp/lock", 0, &second), 1);
    EXPECT_EQ(VLIBCFileLockByFile("/tmp/lock", 1, &third), 0);
    EXPECT_EQ(VLIBCFileUnlockByFile(first), 1);
    EXPECT_EQ(VLIBCFileUnlockByFile(second), 1);
    fs::create_symlink("lock", "/tmp/link");
    EXPECT_EQ(VLIBCFileLockByFile("/tmp/link", 1, &third), -1);

    // Its holder deletes the file while it is being locked, and another makes a new one.
    beforeFlock = [] {
        ::unlink("/tmp/lock");
        WriteFile("/tmp/lock", "");
    };
    EXPECT_EQ(VLIBCFileLockByFile("/tmp/lock", 1, &third), 0);
    EXPECT_EQ(third, -1);
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
}

}  // namespace

extern "C" int flock(int fd, int operation) noexcept {
    if (beforeFlock) {
        beforeFlock();
    }
    return static_cast<int>(::syscall(SYS_flock, fd, operation));
}
