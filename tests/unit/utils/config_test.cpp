#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include <vexonetwork/utils/config.h>

#include "support/files.h"

namespace {

namespace fs = std::filesystem;
using namespace vexonetwork::utils;
using namespace testing;
using vexotest::ReadFile;

class ConfigTest : public testing::Test {
  protected:
    ~ConfigTest() override { EXPECT_EQ(vexotest::OpenDescriptors(), descriptors); }

    vexotest::TempFolder folder;
    const std::string path = folder / "conf/settings";
    const int descriptors = vexotest::OpenDescriptors();
};

TEST_F(ConfigTest, FlatStoresTypesAsTextAndAFailedReadKeepsThem) {
    ConfigNoSection config(path);
    config.AddKeyValue("text", "verbatim = \"text\" ");
    config.AddKeyValue("on", true);
    config.AddKeyValue("minus", -3);
    config.AddKeyValue("large", 1e7);
    EXPECT_EQ(config.GetKeyValue("absent"), "");
    ASSERT_EQ(config.Write(), 0);
    EXPECT_EQ(ReadFile(path),
              "absent=\nlarge=1e+07\nminus=-3\non=yes\ntext=verbatim = \"text\" \n");
    vexotest::WriteFile(path, "# comment\nb=2\n");
    EXPECT_EQ(config.Read(), 0);
    config.SetName(folder.Path());
    EXPECT_EQ(config.Read(), -1);
    EXPECT_THAT(config.GetKeyValues(), ElementsAre(Pair("b", "2")));
}

TEST_F(ConfigTest, SectionsAreWrittenSorted) {
    ConfigSection config(path);
    config.AddKeyValue("b", "z", 1);
    config.AddKeyValue("b", "k", "x = y ");
    config.AddKeyValue("a", "k", true);
    config.AddKeyValue("ab", "k", 0.5);
    const mode_t mask = ::umask(022);
    ASSERT_EQ(config.Write(), 0);
    EXPECT_EQ(::umask(mask), mode_t{022});
    EXPECT_EQ(ReadFile(path), "[a]\n\tk=yes\n[ab]\n\tk=0.5\n[b]\n\tk=x = y \n\tz=1\n");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
}

TEST_F(ConfigTest, SectionsAreReadUpToAFailure) {
    vexotest::WriteFile(path, "[one]\na=1\n[bare]\n[two]\nb=2\n");
    ConfigSection config(path);
    config.AddKeyValue("one", "dropped", "");
    EXPECT_EQ(config.GetKeyValue("kept", "k"), "");
    EXPECT_EQ(config.Read(), -1);
    EXPECT_EQ(config.GetKeyValues(), (SectionMap{{"kept", {{"k", ""}}}, {"one", {{"a", "1"}}}}));
}

TEST_F(ConfigTest, FailuresLeaveTheFormerFileAlone) {
    vexotest::WriteFile(path, "former");
    const std::pair<std::string, std::string> unwritable[] = {
        {"a]b", "v"}, {{"a\0b", 3}, "v"}, {"a", "1\n[b]"}, {"a", {"1\0x", 3}}};
    for (const auto& [section, value] : unwritable) {
        ConfigSection config(path);
        config.AddKeyValue(section, "k", value);
        std::string temporary = "unchanged";
        EXPECT_EQ(config.WriteTemp(temporary), -1);
        EXPECT_EQ(temporary, "unchanged");
    }
    EXPECT_EQ(ConfigSection(folder / "conf").Write(), -1);
    EXPECT_EQ(ReadFile(path), "former");
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(folder.Path()), {}), 2);

    // A folder that refuses a file leaves the process with the strict mask.
    const mode_t mask = ::umask(022);
    std::string temporary;
    EXPECT_EQ(ConfigSection("/nowhere/x").WriteTemp(temporary), -1);
    EXPECT_EQ(::umask(mask), mode_t{0177});
}

}  // namespace
