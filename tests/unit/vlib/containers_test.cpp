#include <gtest/gtest.h>

#include <string>

#include <vlib/text.h>

#include "utils/sz_containers.h"

namespace {

using namespace vexonetwork::utils;

TEST(SzHash, KeepsOrderAndValuesWhileItGrowsAndIsReused) {
    constexpr int kKeys = 5000;
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    for (int i = 0; i < 2 * kKeys; ++i) {
        const std::string key = std::to_string(i % kKeys);
        const std::string value = i < kKeys ? "former" : "=" + key;
        ASSERT_EQ(VLIBCSzHashSetValue(hash.Address(), key.c_str(), value.c_str()), 0);
    }
    ASSERT_EQ(hash->count, kKeys);
    for (int i = 0; i < kKeys; ++i) {
        const std::string key = std::to_string(i);
        ASSERT_EQ(VLIBCSzHashEnumKey(hash.Get(), i), key);
        ASSERT_EQ(VLIBCSzHashGetValue(hash.Get(), key.c_str()), "=" + key);
    }
    VLIBCHashRemoveAll(hash.Get());
    EXPECT_EQ(VLIBCSzHashGetValue(hash.Get(), "1"), nullptr);
}

TEST(SzContainers, TakeTextsOfTheirOwn) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    VLIBCSzHashSetValue(hash.Address(), "a", "value");
    const char* const key = VLIBCSzHashEnumKey(hash.Get(), 0);
    VLIBCSzHashSetValue(hash.Address(), key, VLIBCSzHashGetValue(hash.Get(), "a"));
    VLIBCSzHashSetValue(hash.Address(), VLIBCSzHashGetValue(hash.Get(), "a"), key);
    EXPECT_STREQ(VLIBCSzHashGetValue(hash.Get(), "a"), "value");
    EXPECT_STREQ(VLIBCSzHashGetValue(hash.Get(), "value"), "a");

    UniqueSzList list(VLIBCSzListAlloc(1));
    EXPECT_EQ(VLIBCStrSep("  NAS01  <00> - ", " -", list.Address()), 2);
    EXPECT_EQ(VLIBCSzListPush(list.Address(), VLIBCSzListGet(list.Get(), 1)), 3);
    EXPECT_STREQ(VLIBCSzListGet(list.Get(), 2), "<00>");
}

}  // namespace
