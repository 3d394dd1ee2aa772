#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include <vexonetwork/utils/config.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Pair;
using vexotest::ReadFile;
using vexotest::WriteFile;

class ConfigTest : public testing::Test {
  protected:
    int FilesIn(const std::string& dir) const {
        const std::filesystem::directory_iterator entries(dir);
        return static_cast<int>(std::distance(begin(entries), end(entries)));
    }

    vexotest::SyslogSpy spy;
    vexotest::TempFolder folder;
    const std::string path = folder / "conf/settings";
    const int descriptors = vexotest::OpenDescriptors();
};

using FlatConfig = ConfigTest;
using SectionedConfig = ConfigTest;

TEST_F(FlatConfig, StoresTypesAsText) {
    ConfigNoSection config(path);
    const std::string text = "verbatim = \"text\" ";
    config.AddKeyValue("text", text);
    config.AddKeyValue("literal", "no bool");
    config.AddKeyValue("on", true);
    config.AddKeyValue("off", false);
    config.AddKeyValue("seven", 7);
    config.AddKeyValue("minus", -3);
    config.AddKeyValue("half", 2.5);
    config.AddKeyValue("large", 1e7);
    EXPECT_EQ(config.GetKeyValue("absent"), "");
    ASSERT_EQ(config.Write(), 0);
    EXPECT_EQ(ReadFile(path),
              "absent=\nhalf=2.5\nlarge=1e+07\nliteral=no bool\nminus=-3\noff=no\n"
              "on=yes\nseven=7\ntext="
                  + text + "\n");
    ConfigNoSection copy(path);
    ASSERT_EQ(copy.Read(), 0);
    EXPECT_EQ(copy.GetKeyValues(), config.GetKeyValues());
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
}

TEST_F(FlatConfig, ReadReplacesAndFailureKeeps) {
    WriteFile(path, "# comment\nb=2\n");
    ConfigNoSection config(path);
    config.AddKeyValue("a", 1);
    EXPECT_EQ(config.Read(), 0);
    config.SetName(folder / "absent");
    EXPECT_EQ(config.Read(), -1);
    config.SetName(folder.Path());
    EXPECT_EQ(config.Read(), -1);
    EXPECT_THAT(config.GetKeyValues(), ElementsAre(Pair("b", "2")));
    EXPECT_THAT(spy.Messages(),
                ElementsAre("[" + folder / "absent" + "] does not exist", "Failed to get keys"));
}

TEST_F(SectionedConfig, WritesSortedAndReadsBack) {
    ConfigSection config(path);
    for (const char* section : {"b", "a", "ab"}) {
        config.AddKeyValue(section, "z", 1);
        config.AddKeyValue(section, "k", "x = y ");
    }
    const mode_t mask = ::umask(022);
    ASSERT_EQ(config.Write(), 0);
    EXPECT_EQ(::umask(mask), mode_t{022});
    EXPECT_EQ(ReadFile(path),
              "[a]\n\tk=x = y \n\tz=1\n[ab]\n\tk=x = y \n\tz=1\n[b]\n\tk=x = y \n\tz=1\n");
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, mode_t{0600});
    EXPECT_EQ(FilesIn(folder / "conf"), 1);

    ConfigSection copy(path);
    copy.AddKeyValue("a", "dropped", "");
    copy.AddKeyValue("kept", "k", "");
    ASSERT_EQ(copy.Read(), 0);
    EXPECT_TRUE(copy.Find("kept"));
    EXPECT_TRUE(copy.DeleteSection("kept"));
    EXPECT_FALSE(copy.DeleteSection("kept"));
    EXPECT_EQ(copy.GetKeyValues(), config.GetKeyValues());
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
    EXPECT_THAT(spy.Messages(), IsEmpty());
}

TEST_F(SectionedConfig, LookupAddsAndReadFailureKeepsWhatCameBefore) {
    ConfigSection config(path);
    EXPECT_EQ(config.GetKeyValue("s", "k"), "");
    EXPECT_FALSE(config.Empty());
    EXPECT_EQ(config.Read(), -1);
    WriteFile(path, "no section\n");
    EXPECT_EQ(config.Read(), 0);
    WriteFile(path, "[one]\na=1\n[bare]\n[two]\nb=2\n");
    EXPECT_EQ(config.Read(), -1);
    EXPECT_EQ(config.GetKeyValue("one", "a"), "1");
    EXPECT_TRUE(config.Find("s"));
    EXPECT_FALSE(config.Find("two"));
    EXPECT_THAT(spy.Messages(), ElementsAre("[" + path + "] does not exist",
                                            "Failed to get section [bare] in [" + path + "]"));
}

TEST_F(SectionedConfig, FullDiskLeavesTheFormerFile) {
    vexotest::Must("mount -t tmpfs -o size=8k none " + folder.Path());
    WriteFile(path, "[s]\n\tk=former\n");
    WriteFile(folder / "filler", std::string(4096, 'x'));
    ConfigSection config(path);
    for (const std::size_t size : {10u, 100'000u}) {
        config.AddKeyValue("s", "k", std::string(size, 'v'));
        EXPECT_EQ(config.Write(), -1);
        EXPECT_EQ(ReadFile(path), "[s]\n\tk=former\n");
        EXPECT_EQ(FilesIn(folder / "conf"), 1);
    }
    EXPECT_THAT(spy.Messages(),
                ElementsAre(MatchesRegex("Failed to write a temporary file \\[.*"),
                            "Failed to create a temoprary file for [" + path + "]",
                            "Failed to add section [s] in [" + path + "]",
                            "Failed to create a temoprary file for [" + path + "]"));
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
    vexotest::Must("umount " + folder.Path());
}

TEST_F(SectionedConfig, FailuresLeaveNoTemporaryFile) {
    WriteFile(path, "[s]\n\tk=former\n");
    const std::pair<std::string, std::string> unwritable[] = {
        {"a]b", "v"}, {{"a\0b", 3}, "v"}, {"a", "1\n[b]"}, {"a", {"1\0x", 3}}};
    for (const auto& [section, value] : unwritable) {
        ConfigSection config(path);
        config.AddKeyValue(section, "k", value);
        std::string temporary = "unchanged";
        EXPECT_EQ(config.WriteTemp(temporary), -1);
        EXPECT_EQ(temporary, "unchanged");
    }
    std::filesystem::create_directory(folder / "conf/occupied");
    EXPECT_EQ(ConfigSection(folder / "conf/occupied").Write(), -1);
    EXPECT_THAT(spy.Messages().back(), MatchesRegex("Failed to rename file from .*"));
    EXPECT_EQ(FilesIn(folder / "conf"), 2);
    EXPECT_EQ(ReadFile(path), "[s]\n\tk=former\n");
    EXPECT_EQ(vexotest::OpenDescriptors(), descriptors);
}

TEST_F(SectionedConfig, UncreatableTemporaryKeepsTheStrictMask) {
    const mode_t mask = ::umask(022);
    std::string temporary;
    EXPECT_EQ(ConfigSection("/nowhere/x").WriteTemp(temporary), -1);
    EXPECT_EQ(::umask(mask), mode_t{0177});
    EXPECT_THAT(spy.Messages(),
                ElementsAre("Failed to create a temporary file [/nowhere/x.tmp.XXXXXX]"));
}

}  // namespace
