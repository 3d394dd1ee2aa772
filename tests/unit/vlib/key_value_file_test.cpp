#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <vlib/error.h>
#include <vlib/file.h>

#include "support/files.h"
#include "utils/sz_containers.h"

namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using vexonetwork::utils::UniqueSzHash;
using vexonetwork::utils::UniqueSzList;
using vexotest::ReadFile;
using vexotest::WriteFile;

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs ToPairs(const UniqueSzHash& hash) {
    Pairs pairs;
    for (int i = 0; i < hash->count; ++i) {
        pairs.emplace_back(hash->pairs[i].key, hash->pairs[i].value);
    }
    return pairs;
}

UniqueSzHash ToHash(const Pairs& pairs) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1024));
    for (const auto& [key, value] : pairs) {
        VLIBCSzHashSetValue(hash.Address(), key.c_str(), value.c_str());
    }
    return hash;
}

Pairs FlatPairs(const std::string& path) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1024));
    EXPECT_GE(VLIBCFileGetKeys(path.c_str(), nullptr, hash.Address(), "="), 0);
    return ToPairs(hash);
}

Pairs SectionPairs(const std::string& path, const char* section) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1024));
    EXPECT_GE(VLIBCFileGetSection(path.c_str(), section, hash.Address()), 0);
    return ToPairs(hash);
}

std::vector<std::string> Sections(const std::string& path) {
    UniqueSzList list(VLIBCSzListAlloc(1024));
    EXPECT_EQ(VLIBCFileEnumSection(path.c_str(), list.Address()), list->count);
    return {list->items, list->items + list->count};
}

std::string Value(const std::string& path, const char* key) {
    char value[16] = "unchanged";
    return VLIBCFileGetKeyValue(path.c_str(), key, value, sizeof value, 0)
                   == static_cast<int>(std::string(value).size())
               ? value
               : "result and text differ";
}

class KeyValueFile : public ::testing::Test {
  protected:
    vexotest::TempFolder folder;
    const std::string path = folder / "file";
};

TEST_F(KeyValueFile, ReadsFlatFiles) {
    WriteFile(path,
              "#a=comment\n;b=comment\n\nno pair\n=no key\n a =\tx \r\n\"b\"=[1]=#2\n"
              "nul\0=1\nc=1\n[d]\nc=2\ne="s
              "\nlast=line"s);
    EXPECT_THAT(FlatPairs(path), ElementsAre(Pair("a", "\tx \r"), Pair("\"b\"", "[1]=#2"),
                                             Pair("c", "2"), Pair("e", ""), Pair("last", "line")));

    UniqueSzHash some(VLIBCSzHashAlloc(1));
    UniqueSzList wanted(VLIBCSzListAlloc(1));
    VLIBCSzListPush(wanted.Address(), "e");
    EXPECT_EQ(VLIBCFileGetKeys(path.c_str(), wanted.Get(), some.Address(), "="), 1);
    EXPECT_THAT(ToPairs(some), ElementsAre(Pair("e", "")));
    EXPECT_EQ(VLIBCFileGetKeys((folder / "none").c_str(), nullptr, some.Address(), "="), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
    EXPECT_EQ(VLIBCFileGetKeys(folder.Path().c_str(), nullptr, some.Address(), "="), -1);
    EXPECT_EQ(VLIBCFileGetKeys("/dev/zero", nullptr, some.Address(), "="), -1);
}

TEST_F(KeyValueFile, ReadsOneKeyAsPeopleMeanIt) {
    WriteFile(path,
              "a=1\nA= \"x y\" \r\na = ' \"z\" '\nempty=\"\"\nquote=\"\nlong=0123456789abcdef\n");
    EXPECT_EQ(Value(path, "a"), " \"z\" ");
    EXPECT_EQ(Value(path, "A"), "x y");
    EXPECT_EQ(Value(path, "empty"), "");
    EXPECT_EQ(Value(path, "quote"), "\"");
    EXPECT_EQ(Value(path, "long"), "0123456789abcde");
    char value[16] = "unchanged";
    EXPECT_EQ(VLIBCFileGetKeyValue(path.c_str(), "b", value, sizeof value, 0), -1);
    EXPECT_STREQ(value, "unchanged");

    EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "A", "x y", 0), 1);
    EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "A", "X Y", 0), 0);
    EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "A", "X Y", 1), 1);
    EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "long", "0123456789abcde", 1), 0);
    EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "b", "", 1), 0);
}

TEST_F(KeyValueFile, ReadsSections) {
    WriteFile(path,
              "before=1\n[ b] trailing\n\tx=1\n#y=2\n[a\nz=3\n[empty]\r\n[]\nn=\"v\"\n[ b]\nx=4");
    EXPECT_THAT(Sections(path), ElementsAre(" b", "empty", ""));
    EXPECT_THAT(SectionPairs(path, " b"), ElementsAre(Pair("x", "4"), Pair("z", "3")));
    EXPECT_THAT(SectionPairs(path, "empty"), IsEmpty());
    EXPECT_THAT(SectionPairs(path, ""), ElementsAre(Pair("n", "\"v\"")));

    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    EXPECT_EQ(VLIBCFileGetSection(path.c_str(), "a", hash.Address()), -1);
    char value[16] = "unchanged";
    EXPECT_EQ(VLIBCFileGetSectionValue(path.c_str(), "empty", "x", value, sizeof value), -1);
    EXPECT_STREQ(value, "unchanged");
    EXPECT_EQ(VLIBCFileGetSectionValue(path.c_str(), " b", "x", value, sizeof value), 1);
    EXPECT_STREQ(value, "4");
}

TEST_F(KeyValueFile, WhatIsWrittenIsReadBackUnchanged) {
    const Pairs pairs = {
        {"a b", " [blanks] "}, {"x#", "\t\"=;#'\r"}, {"]", ""}, {"\xC3\xA4", "%s%n"}};
    const UniqueSzHash hash = ToHash(pairs);
    FILE* const stream = std::fopen(path.c_str(), "w");
    for (const char* section : {"z", " [%s", "empty"}) {
        const UniqueSzHash none = ToHash({});
        const VLIBSZHASH* const written = *section == 'e' ? none.Get() : hash.Get();
        EXPECT_EQ(VLIBCFileHash2File(stream, section, written, "\t%s=%s\n"), 0);
    }
    std::fclose(stream);
    const std::string lines = "\ta b= [blanks] \n\tx#=\t\"=;#'\r\n\t]=\n\t\xC3\xA4=%s%n\n";
    EXPECT_EQ(ReadFile(path), "[z]\n" + lines + "[ [%s]\n" + lines + "[empty]\n");
    EXPECT_THAT(Sections(path), ElementsAre("z", " [%s", "empty"));
    EXPECT_EQ(SectionPairs(path, " [%s"), pairs);

    ASSERT_EQ(VLIBCFileAddSection(path.c_str(), "empty", hash.Get(), " %s\t=%s\n"), 0);
    EXPECT_EQ(SectionPairs(path, "empty"), pairs);
    const std::string flat = folder / "flat";
    ASSERT_EQ(VLIBCFileSetKeys(flat.c_str(), hash.Get(), nullptr, 0), 0);
    EXPECT_EQ(FlatPairs(flat), pairs);
}

TEST_F(KeyValueFile, RefusesWhatWouldNotBeReadBackUnchanged) {
    struct Case {
        std::string section, key, value, format;
    };
    const std::string good = "%s=%s\n";
    const std::vector<Case> cases = {
        {"s]", "k", "v", good},
        {"s\n", "k", "v", good},
        {"s", "", "v", good},
        {"s", " k", "v", good},
        {"s", "k\t", "v", good},
        {"s", "#k", "v", good},
        {"s", ";k", "v", good},
        {"s", "[k", "v", good},
        {"s", "k=", "v", good},
        {"s", "k\n", "v", good},
        {"s", "k", "v\nx=1", good},
        {"s", "k", "v", "%s=%s"},
        {"s", "k", "v", "%s= %s\n"},
        {"s", "k", "v", "%s:%s\n"},
        {"s", "k", "v", "%s=\n"},
        {"s", "k", "v", "#%s=%s\n"},
        {"s", "k", "v", "%s=%s%s\n"},
        {"s", "k", "v", "%s=%s \n"},
        {"s", "k", "v", "%s=%s\n%s=%s\n"},
        {"s", "k", "v", "%s=%s\nx=1\n"},
        {"s", "k", "v", ""},
    };
    for (const auto& [section, key, value, format] : cases) {
        SCOPED_TRACE(section + "|" + key + "|" + value + "|" + format);
        const UniqueSzHash hash = ToHash({{"good", "pair"}, {key, value}});
        FILE* const stream = std::fopen(path.c_str(), "w");
        EXPECT_LT(VLIBCFileHash2File(stream, section.c_str(), hash.Get(), format.c_str()), 0);
        std::fclose(stream);
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_UNWRITABLE);
        EXPECT_LT(VLIBCFileAddSection(path.c_str(), section.c_str(), hash.Get(), format.c_str()),
                  0);
        if (section == "s") {
            EXPECT_LT(
                VLIBCFileSetKeyValue(path.c_str(), key.c_str(), value.c_str(), format.c_str()), 0);
        }
        if (section == "s" && format == good) {
            EXPECT_LT(VLIBCFileSetKeys(path.c_str(), hash.Get(), nullptr, 0), 0);
        }
        EXPECT_EQ(ReadFile(path), "");
    }
}

TEST_F(KeyValueFile, AFullStreamIsReported) {
    FILE* const full = std::fopen("/dev/full", "w");
    std::setvbuf(full, nullptr, _IONBF, 0);
    EXPECT_EQ(VLIBCFileHash2File(full, "s", ToHash({{"k", "v"}}).Get(), "%s=%s\n"), -1);
    std::fclose(full);
}

TEST_F(KeyValueFile, SettingKeysLeavesOtherLines) {
    const UniqueSzHash keys = ToHash({{"new", "n"}, {"a", "1"}, {"last", ""}});
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "new=n\na=1\nlast=\n"},
        {"#a=0\n\n  a = \"0\"\r\nab=2\ntext\na=3\n", "#a=0\n\na=1\nab=2\ntext\nnew=n\nlast=\n"},
        {"ab=2", "ab=2\nnew=n\na=1\nlast=\n"},
        {"a=0\nlast=x", "a=1\nlast=\nnew=n\n"},
        {"\0a=0\n"s, "\0a=0\nnew=n\na=1\nlast=\n"s},
    };
    for (const auto& [before, after] : cases) {
        WriteFile(path, before);
        EXPECT_EQ(VLIBCFileSetKeys(path.c_str(), keys.Get(), nullptr, 0), 0);
        EXPECT_EQ(ReadFile(path), after);
    }
    EXPECT_EQ(VLIBCFileSetKeyValue(path.c_str(), "new", "x", nullptr), 0);
    EXPECT_EQ(Value(path, "new"), "x");
}

TEST_F(KeyValueFile, ReplacingASectionLeavesTheOthers) {
    const std::string block = "[s]\n\tk=v\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", block},
        {"[t]\nk=0", "[t]\nk=0\n" + block},
        {"k=0\n[s]\nk=1\n# about t\n[t]\nk=0\n", "k=0\n" + block + "# about t\n[t]\nk=0\n"},
        {"[s]\nk=1\n[t]\nk=0\n[s]\nk=2\nl=3", block + "[t]\nk=0\n"},
    };
    for (const auto& [before, after] : cases) {
        WriteFile(path, before);
        EXPECT_EQ(VLIBCFileAddSection(path.c_str(), "s", ToHash({{"k", "v"}}).Get(), "\t%s=%s\n"),
                  0);
        EXPECT_EQ(ReadFile(path), after);
    }
}

TEST_F(KeyValueFile, ReplacementKeepsLinkModeAndOwner) {
    WriteFile(path, "a=0\n");
    ::chmod(path.c_str(), 0640);
    ASSERT_EQ(::chown(path.c_str(), 12, 34), 0);
    const std::string link = folder / "link";
    ASSERT_EQ(::symlink("file", link.c_str()), 0);
    EXPECT_EQ(VLIBCFileSetKeyValue(link.c_str(), "a", "1", nullptr), 0);

    struct stat info {};
    EXPECT_TRUE(::lstat(link.c_str(), &info) == 0 && S_ISLNK(info.st_mode));
    EXPECT_EQ(ReadFile(path), "a=1\n");
    ::stat(path.c_str(), &info);
    EXPECT_EQ(info.st_mode & 07777, 0640U);
    EXPECT_EQ(info.st_uid, 12U);
    EXPECT_EQ(info.st_gid, 34U);
}

TEST_F(KeyValueFile, AFullDiskLeavesTheFormerFileAndNothingElse) {
    ASSERT_EQ(::mount("tmpfs", folder.Path().c_str(), "tmpfs", 0, "size=64k"), 0);
    WriteFile(path, "a=0\n");
    const std::string large(100000, 'x');
    EXPECT_EQ(VLIBCFileSetKeyValue(path.c_str(), "b", large.c_str(), nullptr), -1);
    EXPECT_EQ(VLIBCFileAddSection(path.c_str(), "s", ToHash({{"b", large}}).Get(), "%s=%s\n"), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_WRITE_FAILED);
    EXPECT_EQ(ReadFile(path), "a=0\n");
    const std::filesystem::directory_iterator entries(folder.Path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
    ::umount(folder.Path().c_str());
}

}  // namespace
