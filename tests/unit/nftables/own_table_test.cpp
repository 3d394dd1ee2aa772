#include "nftables/own_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/process.h"

namespace vexonetwork::nftables {
namespace {

using testing::HasSubstr;
using vexotest::Must;

constexpr char kContent[] =
    "chain entry {\n"
    "type filter hook prerouting priority mangle; policy accept;\n"
    "iifname \"1wan+0\" counter ct state new ct mark set ct mark & 0xff00ffff | 0x10000\n"
    "}\n";

std::string Ruleset() {
    return Must("nft list ruleset");
}

TEST(OwnTable, StandsAsItWasWrittenAndIsKnownWhenOthersChangeIt) {
    Must("nft add table inet guest");
    const std::string others = Ruleset();
    const OwnTable table("test");
    const OwnTable another("test_longer");
    EXPECT_FALSE(table.Holds(kContent)) << "nothing stands yet";
    ASSERT_EQ(table.Delete(), std::nullopt);
    ASSERT_EQ(another.Write(kContent), std::nullopt);
    ASSERT_EQ(table.Write(kContent), std::nullopt);
    EXPECT_TRUE(OwnTable("test").Holds(kContent)) << "as another process asks";
    EXPECT_FALSE(table.Holds("chain other {\n}\n")) << "another content is wanted";

    for (const char* harm :
         {"nft flush chain inet vexonet_test entry", "nft flush ruleset",
          "nft add rule inet vexonet_test entry accept", "nft add chain inet vexonet_test more",
          "nft add table inet vexonet_test { flags dormant ; }",
          "nft delete table inet vexonet_test"}) {
        Must(harm);
        EXPECT_FALSE(table.Holds(kContent)) << harm;
        ASSERT_EQ(table.Write(kContent), std::nullopt) << harm;
        EXPECT_TRUE(table.Holds(kContent)) << harm;
    }
    const std::string standing = Ruleset();
    EXPECT_THAT(table.Write("chain entry {\nno such word\n}\n").value_or(""),
                HasSubstr("syntax error"));
    EXPECT_EQ(Ruleset(), standing) << "what nft cannot read changes nothing";

    ASSERT_EQ(another.Write(kContent), std::nullopt);
    EXPECT_EQ(table.Delete(), std::nullopt);
    EXPECT_TRUE(another.Holds(kContent));
    EXPECT_EQ(another.Delete(), std::nullopt);
    Must("nft add table inet guest");
    EXPECT_EQ(Ruleset(), others);
}

TEST(Quoted, NamesEveryInterfaceThatNftCanNameAndNoPattern) {
    EXPECT_EQ(Quoted("drop"), "\"drop\"");
    EXPECT_EQ(Quoted("1wan0@.x"), "\"1wan0@.x\"");
    for (const char* name : {"", "eth*", "a\"b", "a\\b", "a\nb"}) {
        EXPECT_EQ(Quoted(name), std::nullopt) << name;
    }
}

}  // namespace
}  // namespace vexonetwork::nftables
