#include <gtest/gtest.h>

#include <vexonetwork/utils/json_reader.h>

namespace {

using namespace vexonetwork::utils;

TEST(JsonReader, RefusesHostileTextAndKeepsTheValue) {
    const std::string deep(100'000, '[');
    for (const std::string& text :
         {std::string(), std::string("{"), std::string("{\"a\":}"), std::string("nul"), deep,
          R"({"a":)" + deep, std::string(R"("\ud800")")}) {
        Json::Value value = "before";
        EXPECT_FALSE(ParseJson(text, value)) << text.substr(0, 20);
        EXPECT_EQ(value, "before");
    }
}

TEST(JsonReader, AllowsComments) {
    Json::Value value;
    ASSERT_TRUE(ParseJson("// list\n{\"a\": /* one */ 1}", value));
    EXPECT_EQ(ToCompactText(value), "{\"a\":1}\n");
}

TEST(JsonReader, ReadsMembersOnlyOfTheirType) {
    Json::Value value;
    ASSERT_TRUE(ParseJson(R"({"text": "x", "number": -7, "real": 5.0, "big": 4294967296,
                              "flag": true, "none": null, "list": []})",
                          value));
    EXPECT_EQ(GetString(value, "text"), "x");
    EXPECT_EQ(GetInt(value, "number"), -7);
    EXPECT_EQ(GetBool(value, "flag"), true);
    for (const char* key : {"real", "big", "none", "list", "absent"}) {
        EXPECT_FALSE(GetString(value, key) || GetInt(value, key) || GetBool(value, key)) << key;
    }
    EXPECT_FALSE(GetString(value, "number") || GetInt(value, "flag") || GetBool(value, "number"));
    for (const Json::Value& noObject : {Json::Value(), Json::Value(1), value["list"]}) {
        EXPECT_FALSE(GetString(noObject, "text"));
    }
}

}  // namespace
