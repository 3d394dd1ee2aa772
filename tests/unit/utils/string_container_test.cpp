#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include <vexonetwork/utils/json_reader.h>
#include <vexonetwork/utils/string_container.h>

#include "support/syslog_spy.h"
#include "utils/sz_containers.h"

namespace {

using namespace vexonetwork::utils;
using testing::ElementsAre;
using testing::IsEmpty;

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value));
    return value;
}

TEST(StringContainer, ParsesDelimitedText) {
    EXPECT_THAT(ParseToVector(" a, b,,a ", ","), ElementsAre("a", "b", "a"));
    EXPECT_THAT(ParseToVector("a b,c", ", "), ElementsAre("a", "b", "c"));
    EXPECT_THAT(ParseToVector("a", nullptr), IsEmpty());
    EXPECT_THAT(ParseToSet(" b, a,,b ", ","), ElementsAre("a", "b"));
}

TEST(StringContainer, ConvertsBetweenShapes) {
    const StringVector strings = {"b", "a", "b"};
    VLIBSZLIST* list = nullptr;
    EXPECT_EQ(ConvertToVLIBList(strings, list), -1);
    EXPECT_EQ(ToCompactText(ConvertToJsonArray(list)), "[]\n");

    UniqueSzList owner(VLIBCSzListAlloc(1));
    VLIBCSzListPush(owner.Address(), "former");
    VLIBSZLIST*& held = *owner.Address();
    EXPECT_EQ(ConvertToVLIBList(strings, held), 3);
    EXPECT_EQ(ConvertToVector(held), strings);
    EXPECT_THAT(ConvertToSet(held), ElementsAre("a", "b"));
    EXPECT_EQ(ConvertToVector(ConvertToJsonArray(held)), strings);

    EXPECT_THAT(ConvertToVector(Parsed(R"(["b", 1, null, "a", ["c"], "b"])")),
                ElementsAre("b", "a", "b"));
    EXPECT_THAT(ConvertToSet(Parsed(R"({"b": "a"})")), IsEmpty());
}

TEST(StringContainer, JoinsRanges) {
    const StringVector strings = {"a", "b", "c"};
    const std::map<std::pair<int, int>, std::string> ranges = {
        {{0, -1}, "a,b,c"}, {{1, 1}, "b"}, {{1, -1}, "b,c"}, {{3, -1}, ""},
        {{4, 1}, ""},       {{0, 0}, ""},  {{-1, 1}, ""},    {{1, 9}, "b,c"}};
    for (const auto& [range, joined] : ranges) {
        const auto& [start, count] = range;
        EXPECT_EQ(ConvertToString(strings, ",", start, count), joined);
        EXPECT_EQ(ConvertToString(ConvertToSet(strings), ",", start, count), joined);
        EXPECT_EQ(ConvertToString(ConvertToJsonArray(strings), ",", start, count), joined);
    }
}

TEST(StringContainer, JoinsJsonThatCanBecomeText) {
    vexotest::SyslogSpy spy;
    EXPECT_EQ(ConvertToString(Parsed(R"(["a", 7, true, null, {}])"), "/", 0, 4), "a/7/true/");
    EXPECT_THAT(spy.Messages(), IsEmpty());
    EXPECT_EQ(ConvertToString(Parsed(R"(["a", {}])"), "/", 0, -1), "");
    EXPECT_EQ(ConvertToString(Parsed("{}"), "/", 0, -1), "");
    EXPECT_THAT(spy.Messages(), ElementsAre("Wrong Type.", "Bad Parameter."));
}

TEST(StringContainer, SearchesAndEditsVectors) {
    StringVector strings = {"x", "", "y", "x"};
    EXPECT_EQ(Find("", strings), 1);
    Remove("x", strings);
    Remove("z", strings);
    EXPECT_THAT(strings, ElementsAre("", "y", "x"));
    EXPECT_THAT(GetElementInRange(strings, 1, 9), ElementsAre("y", "x"));
    EXPECT_THAT(GetElementInRange(strings, 3, 1), IsEmpty());
    EXPECT_EQ(GetUniqueStrVector(strings = {"b", "a", "b", "ab"}), 3);
}

TEST(StringContainer, Compares) {
    const StringVector repeats = {"c", "a", "c"};
    EXPECT_THAT(GetDiff(repeats, {}), ElementsAre("c", "a", "c"));
    EXPECT_THAT(GetDiff(repeats, {"x"}), ElementsAre("a", "c"));
    EXPECT_THAT(GetDiff(StringSet{"a", "b"}, StringSet{"b"}), ElementsAre("a"));
    EXPECT_THAT(GetIntersection({"b", "a", "a"}, {"a", "a", "a"}), ElementsAre("a", "a"));
    EXPECT_THAT(GetIntersection({"a"}, {}), IsEmpty());
}

}  // namespace
