#include <gmock/gmock.h>

#include <vexonetwork/utils/string_container.h>

#include "support/appliance.h"
#include "utils/sz_containers.h"

namespace {

using namespace vexonetwork::utils;
using namespace testing;
using vexotest::Parsed;

TEST(StringContainer, ParsesAndConvertsBetweenShapes) {
    const StringVector strings = ParseToVector(" b, a,,b ", ",");
    EXPECT_THAT(strings, ElementsAre("b", "a", "b"));
    EXPECT_THAT(ParseToVector("a b,c", ", "), ElementsAre("a", "b", "c"));
    UniqueSzList owner(VLIBCSzListAlloc(1));
    VLIBCSzListPush(owner.Address(), "former");
    EXPECT_EQ(ConvertToVLIBList(strings, *owner.Address()), 3);
    EXPECT_EQ(ConvertToVector(owner.Get()), strings);
    EXPECT_EQ(ConvertToVector(Parsed(R"(["b", 1, null, "a", ["c"], "b"])")), strings);
    EXPECT_THAT(ConvertToSet(Parsed(R"({"b": "a"})")), IsEmpty());
    EXPECT_EQ(ConvertToString(strings, ",", 0, -1), "b,a,b");
    EXPECT_EQ(ConvertToString(strings, ",", 1, 1), "a");
    EXPECT_EQ(ConvertToString(Parsed(R"(["a", 7, true, null, {}])"), "/", 0, 4), "a/7/true/");
    EXPECT_EQ(ConvertToString(Parsed(R"(["a", {}])"), "/", 0, -1), "");
}

TEST(StringContainer, SearchesAndCompares) {
    StringVector strings = {"x", "", "y", "x"};
    EXPECT_EQ(Find("", strings), 1);
    Remove("x", strings);
    EXPECT_THAT(strings, ElementsAre("", "y", "x"));
    EXPECT_THAT(GetElementInRange(strings, 1, 9), ElementsAre("y", "x"));
    const StringVector repeats = {"c", "a", "c"};
    EXPECT_THAT(GetDiff(repeats, {"x"}), ElementsAre("a", "c"));
    EXPECT_THAT(GetIntersection({"b", "a", "a"}, {"a", "a", "a"}), ElementsAre("a", "a"));
}

}  // namespace
