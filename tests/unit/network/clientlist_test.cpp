#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

#include <vexonetwork/network/clientlist.h>

#include "support/appliance.h"
#include "support/syslog_spy.h"

extern "C" std::time_t time(std::time_t* /*result*/) noexcept {
    return 1'735'516'800;  // 2024-12-30, of the first ISO week of 2025
}

namespace vexotest {
namespace {

using vexonetwork::network::ClientList;

constexpr char kFile[] = "/tmp/devices.json";

TEST(ClientListTest, MergesMemberByMemberAndSurvivesARestart) {
    ClientList list;
    EXPECT_TRUE(list.UpdateKeysByMac("m1", Parsed(R"({"ipAddr": "i1", "macAddr": "lie"})"), true));
    EXPECT_TRUE(list.UpdateKeysByMac("m1", Parsed(R"({"netif": "br0"})"), false));
    EXPECT_FALSE(list.UpdateKeysByMac("m2", Parsed(R"({"netif": "br0"})"), false));
    EXPECT_TRUE(list.WriteToFile(kFile));
    EXPECT_EQ(ReadFile(kFile),
              "{\n\t\"ClientList\" : \n\t[\n\t\t{\n\t\t\t\"asso_time\" : \"00:00:00 2025/12/30\",\n"
              "\t\t\t\"displayName\" : \"General DMA\",\n\t\t\t\"ipAddr\" : \"i1\",\n"
              "\t\t\t\"macAddr\" : \"m1\",\n\t\t\t\"netif\" : \"br0\"\n\t\t}\n\t]\n}\n");
    ClientList next;
    EXPECT_TRUE(next.Load(kFile));
    next.UpdateKeysByIP("i1", Parsed(R"({"modelDescription": "a \u0001\" TV"})"), false);
    EXPECT_EQ(next.FindKey(next.FindMacByIP("i1"), "displayName"), "a \x01\" TV");
    next.UpdateKeysByIP("i1", Parsed(R"({"friendlyName": 7, "displayName": "lie"})"), false);
    EXPECT_EQ(next.FindKey("m1", "displayName"), "7");
    next.UpdateKeysByMac("m2", Parsed(R"({"a": 1})"), true);
    next.UpdateKeysByMac("m3", Parsed(R"({"a": 1})"), true);
    const char* emptyNames = R"({"friendlyName": [], "modelDescription": {}, "modelName": "M"})";
    EXPECT_TRUE(next.UpdateKeysByMac("m2", Parsed(emptyNames), false));
    EXPECT_EQ(next.FindKey("m2", "displayName"), "M");
    EXPECT_TRUE(next.EraseObject("m1"));
    EXPECT_EQ(next.GetClientList()["ClientList"][0]["macAddr"], "m3");
}

constexpr unsigned kNone = 99;

unsigned Walk(const Json::Value& entries, const char* key, const std::string& text) {
    unsigned i = 0;
    for (; i < entries.size() && entries[i].isObject() && entries[i].isMember(key); ++i) {
        if (!entries[i][key].isObject() && entries[i][key].asString() == text) {
            return i;
        }
    }
    return kNone;
}

TEST(ClientListTest, FindsWhatAWalkWouldAfterAnyChanges) {
    const Arguments reports = Words(R"({"n":1} {"macAddr":null} {"ipAddr":5} {"macAddr":"b"})"
                                    R"( {"ipAddr":"a"} {"macAddr":{}} "text" [])"
                                    R"( {"macAddr":"c","ipAddr":"d"})");
    const char* texts[] = {"a", "b", "c", "d", "5", ""};
    std::mt19937 random;
    const auto pick = [&](unsigned count) { return random() % count; };
    ClientList list;
    for (int step = 0; step < 5'000 && !HasFailure(); ++step) {
        const Json::Value keys = Parsed(reports[pick(9)]);
        Json::Value document = list.GetClientList();
        const std::string text = texts[pick(5)];
        const auto kind = pick(100);
        if (document["ClientList"].size() > 30) {
            list.EraseList();
        } else if (kind < 3) {
            document["ClientList"].append(keys);
            WriteFile(kFile, document.toStyledString());
            EXPECT_TRUE(list.Load(kFile));
        } else if (unsigned place = 0; kind < 40 && list.VerifyMacIsExist(text, place)) {
            EXPECT_TRUE(list.EraseObject(text));
        } else if (kind < 60) {
            list.UpdateKeysByIP(text, keys, pick(2) == 0);
        } else {
            list.UpdateKeysByMac(text, keys, pick(2) == 0);
        }
        const Json::Value entries = list.GetClientList()["ClientList"];
        for (const char* sought : texts) {
            unsigned place[] = {kNone, kNone};
            list.VerifyMacIsExist(sought, place[0]);
            list.VerifyIPIsExist(sought, place[1]);
            EXPECT_EQ(place[0], Walk(entries, "macAddr", sought)) << sought << entries;
            EXPECT_EQ(place[1], Walk(entries, "ipAddr", sought)) << sought << entries;
        }
    }
}

TEST(ClientListTest, BadInputIsLoggedAndLeavesTheListAsItWas) {
    const SyslogSpy log;
    ClientList list;
    list.UpdateKeysByMac("m1", Parsed(R"({"ipAddr": "i1"})"), true);
    const Json::Value before = list.GetClientList();
    for (const char* keys :
         {"null", "{}", "[1]", "3", R"({"macAddr": {}})", R"({"friendlyName": ["x"]})"}) {
        EXPECT_FALSE(list.UpdateKeysByMac("m1", Parsed(keys), true)) << keys;
    }
    EXPECT_FALSE(list.UpdateKeysByIP("", Parsed(R"({"a": 1})"), true));
    Must("mkfifo /tmp/pipe");
    WriteFile(kFile, std::string(100'000, '['));
    for (const char* path : {kFile, "/tmp/pipe", "/tmp", "/dev/zero", "/tmp/missing"}) {
        EXPECT_FALSE(list.Load(path)) << path;
    }
    EXPECT_EQ(list.GetClientList(), before);
    EXPECT_EQ(log.Lines().size(), 12U);

    for (const char* text : {"3", R"({"ClientList": "x"})"}) {
        WriteFile(kFile, text);
        EXPECT_TRUE(list.Load(kFile));
        EXPECT_FALSE(list.UpdateKeysByMac("m1", Parsed(R"({"a": 1})"), true)) << text;
        EXPECT_EQ(list.GetClientList(), Parsed(text));
        list.EraseList();
        EXPECT_TRUE(list.UpdateKeysByMac("m1", Parsed(R"({"a": 1})"), true)) << text;
    }
}

TEST(ClientListTest, WritesThroughNothingThatSomebodyHasPutThere) {
    ClientList list;
    for (const char* trap : {"ln -s /tmp/other", "ln /tmp/other", "ln -s /dev/full", "mkfifo",
                             "install -o 1000 /tmp/other"}) {
        WriteFile("/tmp/other", "precious");
        Must(std::string(trap) + " " + kFile);
        EXPECT_TRUE(list.WriteToFile(kFile)) << trap;
        EXPECT_EQ(Must(std::string("stat -c %F%u ") + kFile), "regular file0\n") << trap;
        EXPECT_EQ(ReadFile(kFile), "{\n\t\"ClientList\" : []\n}\n");
        EXPECT_EQ(ReadFile("/tmp/other"), "precious") << trap;
        ::unlink(kFile);
    }
    Must(std::string("install -d -o 1000 ") + kFile);
    WriteFile(std::string(kFile) + "/precious", "x");
    EXPECT_TRUE(list.WriteToFile(kFile));
    EXPECT_EQ(ReadFile(Must("find /tmp/ -name precious -printf %p")), "x");
    Must("mkdir /tmp/own");
    EXPECT_FALSE(list.WriteToFile("/tmp/own") || list.WriteToFile("/dev/full"));
}

}  // namespace
}  // namespace vexotest
