// The list by itself: places count who is awake, and who sleeps keeps his own.

#include <gtest/gtest.h>

#include <functional>

#include <vexonetwork/network/gateway_list.h>

namespace vexotest {
namespace {

using vexonetwork::network::module::GatewayInfo;
using vexonetwork::network::module::GatewayList;

GatewayInfo Entry(const std::string& ifname) {
    GatewayInfo entry;
    entry.ifname = ifname;
    return entry;
}

/// "(a) b c*": a sleeps, c is a slave.
std::string Text(const GatewayList& list) {
    std::string text;
    for (const GatewayList::Slot& slot : list.Slots()) {
        const std::string name = slot.entry.ifname + (slot.entry.slave ? "*" : "");
        text += (text.empty() ? "" : " ") + (slot.isDormant ? "(" + name + ")" : name);
    }
    return text;
}

TEST(GatewayList, EachChangeFindsWhoSleeps) {
    GatewayList list;
    list.Append(Entry("b"));
    list.Append(Entry("c"));
    EXPECT_TRUE(list.AddDormant(Entry("a"), 0));
    EXPECT_TRUE(list.AddDormant(Entry("d"), 99));
    EXPECT_FALSE(list.AddDormant(Entry("b"), 0)) << "is there";
    const auto put = [&list](const char* ifname, int priority) {
        return [&list, ifname, priority] { list.Put(Entry(ifname), priority); };
    };
    const std::pair<std::function<void()>, const char*> steps[] = {
        {put("b", 0), "(a) b c (d)"},
        {put("c", 0), "c (a) b (d)"},
        {put("e", 2), "c (a) b e (d)"},
        {put("f", 4), "c (a) b e (d) f"},
        {put("f", -1), "c (a) b e (d) f"},
        {put("f", 1), "c f (a) b e (d)"},
        {put("f", 2147483647), "c (a) b e (d) f"},
        {put("x", -2147483647), "c (a) b e (d) f x"},
        {[&] { list.Erase("x"); }, "c (a) b e (d) f"},
        {put("e", -2), "c (a) b e (d) f"},
        {put("d", -2), "c (a) b e d f"},
        {put("a", 1), "c a b e d f"},
        {[&] { list.AddDormant(Entry("g"), 1); }, "c (g) a b e d f"},
        {[&] { list.MoveToFront(2); }, "b (g) c a e d f"},
        {[&] { list.MoveToFront(0); }, "b (g) c a e d f"},
        {[&] { list.Copy("g", "h", false); }, "b (h) (g) c a e d f"},
        {[&] { list.Copy("g", "b", true); }, "(h) (b) c a e d f"},
        {[&] { list.SetSlave("h", true); }, "(b) c a e d f (h*)"},
        {[&] { list.SetSlave("h", false); }, "(b) c a e d f (h)"},
        {[&] { list.Copy("x", "d", true); }, "(b) c a e f (h)"},
        {[&] { list.Wake("b"); }, "b c a e f (h)"},
        {[&] { list.Erase("h"); }, "b c a e f"}};
    int number = 0;
    for (const auto& [change, text] : steps) {
        change();
        EXPECT_EQ(Text(list), text) << "step " << number;
        ++number;
    }
    EXPECT_EQ(list.PlaceOf("a"), 2U);
    EXPECT_FALSE(list.Wake("a") || list.Wake("h") || list.Erase("h") || list.SetSlave("h", true));
}

TEST(GatewayList, OnlySoManySleep) {
    GatewayList list;
    for (std::size_t i = 0; i < 2 * GatewayList::kMaxDormant; ++i) {
        EXPECT_EQ(list.AddDormant(Entry("eth" + std::to_string(i)), i),
                  i < GatewayList::kMaxDormant);
    }
    EXPECT_EQ(list.Size(), 0U);
    list.Append(Entry("eth0"));
    EXPECT_EQ(list.Awake().size(), 1U);
}

}  // namespace
}  // namespace vexotest
