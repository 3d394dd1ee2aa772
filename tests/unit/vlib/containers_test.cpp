#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <vlib/text.h>

#include "utils/sz_containers.h"

namespace {

using ::testing::ElementsAre;
using vexonetwork::utils::UniqueSzHash;
using vexonetwork::utils::UniqueSzList;

std::vector<std::string> Items(const VLIBSZLIST* list) {
    return {list->items, list->items + list->count};
}

TEST(SzHash, KeepsOrderAndValuesWhileItGrowsAndIsReused) {
    constexpr int kKeys = 5000;
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < kKeys; ++i) {
            const std::string number = std::to_string(i);
            ASSERT_EQ(VLIBCSzHashSetValue(hash.Address(), ("key" + number).c_str(), "former"), 0);
            ASSERT_EQ(VLIBCSzHashSetValue(hash.Address(), ("key" + number).c_str(), number.c_str()),
                      0);
        }
        ASSERT_EQ(hash->count, kKeys);
        for (int i = 0; i < kKeys; ++i) {
            const std::string key = "key" + std::to_string(i);
            ASSERT_EQ(VLIBCSzHashEnumKey(hash.Get(), i), key);
            ASSERT_EQ(VLIBCSzHashGetValue(hash.Get(), key.c_str()), std::to_string(i));
        }
        EXPECT_EQ(VLIBCSzHashEnumKey(hash.Get(), kKeys), nullptr);
        EXPECT_EQ(VLIBCSzHashGetValue(hash.Get(), "key"), nullptr);
        VLIBCHashRemoveAll(hash.Get());
        EXPECT_EQ(VLIBCSzHashGetValue(hash.Get(), "key1"), nullptr);
    }
}

TEST(SzHash, TakesTextsOfItsOwn) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    VLIBCSzHashSetValue(hash.Address(), "a", "value");
    VLIBCSzHashSetValue(hash.Address(), VLIBCSzHashEnumKey(hash.Get(), 0),
                        VLIBCSzHashGetValue(hash.Get(), "a"));
    VLIBCSzHashSetValue(hash.Address(), VLIBCSzHashGetValue(hash.Get(), "a"),
                        VLIBCSzHashEnumKey(hash.Get(), 0));
    EXPECT_STREQ(VLIBCSzHashGetValue(hash.Get(), "a"), "value");
    EXPECT_STREQ(VLIBCSzHashGetValue(hash.Get(), "value"), "a");
}

TEST(SzContainers, RefuseWhatIsNotThere) {
    VLIBSZHASH* noHash = nullptr;
    VLIBSZLIST* noList = nullptr;
    EXPECT_EQ(VLIBCSzHashAlloc(0), nullptr);
    EXPECT_EQ(VLIBCSzListAlloc(-1), nullptr);
    EXPECT_EQ(VLIBCSzHashSetValue(&noHash, "a", "b"), -1);
    EXPECT_EQ(VLIBCSzListPush(&noList, "a"), -1);
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    EXPECT_EQ(VLIBCSzHashSetValue(hash.Address(), "a", nullptr), -1);
    EXPECT_EQ(hash->count, 0);
}

TEST(SzList, GrowsCountsAndIsReused) {
    UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCSzListPush(list.Address(), "b"), 1);
    EXPECT_EQ(VLIBCSzListPush(list.Address(), ""), 2);
    EXPECT_EQ(VLIBCSzListPush(list.Address(), VLIBCSzListGet(list.Get(), 0)), 3);
    EXPECT_THAT(Items(list.Get()), ElementsAre("b", "", "b"));
    EXPECT_EQ(VLIBCSzListGet(list.Get(), 3), nullptr);
    EXPECT_EQ(VLIBCSzListGet(list.Get(), -1), nullptr);
    VLIBCSzListClean(list.Get());
    EXPECT_EQ(VLIBCSzListPush(list.Address(), "c"), 1);
}

TEST(Text, TrimsAndSplits) {
    for (const auto& [text, trimmed] : std::vector<std::pair<std::string, std::string>>{
             {" \t a b\r\n", "a b"}, {"a", "a"}, {" \n ", ""}, {"", ""}}) {
        std::string buffer = text;
        EXPECT_EQ(VLIBCStrTrimSpace(buffer.data(), 0), trimmed) << text;
    }
    UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCStrSep("  NAS01  <00> - ", " -", list.Address()), 2);
    EXPECT_EQ(VLIBCStrSep("--", "-", list.Address()), 0);
    EXPECT_EQ(VLIBCStrSep("whole", "", list.Address()), 1);
    EXPECT_THAT(Items(list.Get()), ElementsAre("NAS01", "<00>", "whole"));
}

}  // namespace
