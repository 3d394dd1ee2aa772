#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include <vexonetwork/utils/config.h>

#include "network/routing/section_file.h"
#include "support/files.h"

namespace {

namespace fs = std::filesystem;
using namespace vexonetwork::utils;
using namespace testing;
using namespace vexonetwork::network;
using namespace vexotest;

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

TEST_F(ConfigTest, AReaderBesideAWriterSeesOneStateOfTheFile) {
    const auto written = [this](const std::string& state) {
        ConfigSection config(path);
        for (int section = 0; section < 40; ++section) {
            config.AddKeyValue(std::to_string(section), "state", state);
        }
        return config;
    };
    ConfigSection states[] = {written("even"), written("odd")};
    ASSERT_EQ(states[0].Write(), 0);
    std::thread writer([&] {
        for (int i = 0; i < 400; ++i) {
            EXPECT_EQ(states[i % 2].Write(), 0);
        }
    });
    for (int i = 0; i < 400; ++i) {
        ConfigSection config(path);
        EXPECT_EQ(config.Read(), 0);
        const SectionMap seen = config.GetKeyValues();
        ASSERT_THAT(seen, SizeIs(40));
        EXPECT_THAT(seen, Each(Field(&SectionMap::value_type::second, seen.begin()->second)));
    }
    writer.join();
}

// Files that programs write are read verbatim, those that people write as they mean it; but what
// is a section, a key or a comment is the same in all.
TEST_F(ConfigTest, EveryReaderFindsTheSameSectionsAndKeys) {
    for (const auto& [text, expected] : std::map<std::string, std::string>{
             {"k=0\n[a]\n k = x \r\n\r\n#k=1\n\t;k=2\nk\n=3\n[b\nl=\n", "[a] k= x \r l= "},
             {"[a]\nk=1\n[b] c\nk=2\n# d\n[a]\nk=3\nl=\"4\"", "[a] k=3 l=\"4\" [b] k=2 "},
             {{"[a]\nk\0=1\nk=[2]\n[a\0]\nl==\n", 24}, "[a] k=[2] l== "}}) {
        vexotest::WriteFile(path, text);
        ConfigSection config(path);
        ASSERT_EQ(config.Read(), 0);
        const SectionFile edited = SectionFile::Parse(text);
        std::string found;
        for (const auto& [section, pairs] : config.GetKeyValues()) {
            found += "[" + section + "] ";
            const auto same = std::ranges::find(edited.sections, section, &Section::Name);
            ASSERT_NE(same, edited.sections.end());
            for (const auto& [key, value] : pairs) {
                found += key + "=" + value + " ";
                EXPECT_EQ(same->VerbatimValue(key), value) << key;
            }
        }
        EXPECT_EQ(found, expected);
        EXPECT_EQ(edited.sections.size(), config.GetKeyValues().size());
    }
    SectionFile file = SectionFile::Parse("# top\n[a]\nk = '1'\n\n# b's\n[b]\n[a] \nodd\nl=2\n#e");
    Section& a = file.sections[0];
    EXPECT_EQ(a.Value("k") + a.Value("l"), "12");
    constexpr std::string_view kKeys[] = {"l"};
    EXPECT_THAT(a.UnknownLines(kKeys), ElementsAre("k = '1'", "odd"));
    a.Set("l", " \"x\"");
    EXPECT_EQ(a.Value("l"), " \"x\"");
    EXPECT_EQ(file.Text(), "# top\n[a]\nk = '1'\n[a] \nodd\n\tl=\" \"x\"\"\n\n# b's\n[b]\n#e");
}

TEST_F(ConfigTest, WhatNobodyCouldReadIsNotWritten) {
    constexpr std::size_t kLimit = 16 << 20;
    const std::string rest = "[s]\n\tk=\n";
    for (const std::size_t more : {0, 1}) {
        const std::string value(kLimit - rest.size() + more, 'x');
        ConfigSection config(path);
        config.AddKeyValue("s", "k", value);
        EXPECT_EQ(config.Write(), more == 0 ? 0 : -1);
        EXPECT_EQ(config.Read(), 0) << "the one before";
    }
    ConfigSection sum(path);  // each section alone is short enough
    sum.AddKeyValue("a", "k", std::string(kLimit - 100, 'x'));
    sum.AddKeyValue("b", "k", std::string(100, 'x'));
    EXPECT_EQ(sum.Write(), -1);
    ConfigNoSection flat(folder / "conf/flat");
    flat.AddKeyValue("former", 1);
    ASSERT_EQ(flat.Write(), 0);
    flat.AddKeyValue("k", std::string(kLimit, 'x'));
    EXPECT_EQ(flat.Write(), -1);
    EXPECT_EQ(ReadFile(folder / "conf/flat"), "former=1\n");
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
