#include <gmock/gmock.h>

#include "network/devices/host_finder_message.h"

namespace vexotest {
namespace {

using namespace vexonetwork::network;

/// An answer with this member in place of its own.
std::string With(const std::string& member) {
    return R"({"version":1,"type":"answer","token":"0123456789abcdef","ipAddr":"192.0.2.7",)"
           R"("macAddr":"02:00:00:00:00:07",)"
           + member + "}";
}

TEST(HostFinderMessageTest, WhatIsWrittenIsReadAgain) {
    HostFinderMessage question;
    question.token = "00112233445566ff";
    EXPECT_EQ(ParseHostFinder(ToDatagram(question)), question);

    HostFinderMessage answer = question;
    answer.type = HostFinderMessage::Type::kAnswer;
    answer.ipAddr = "192.0.2.7";
    answer.macAddr = "02:00:00:00:00:07";
    // What takes most room as JSON.
    for (const auto& [key, member] : kHostFinderTexts) {
        for (int i = 0; i < 32; ++i) {
            answer.*member += "\xc3\xa4";
        }
    }
    const std::string datagram = ToDatagram(answer);
    EXPECT_LE(datagram.size(), kLongestHostFinderMessage);
    EXPECT_EQ(ParseHostFinder(datagram), answer);
}

TEST(HostFinderMessageTest, ForeignAndMalformedDatagramsAreRefused) {
    const std::string good = With(R"("later":[{"more":1}])");
    EXPECT_TRUE(ParseHostFinder(good));
    for (const std::string& datagram :
         {std::string(), std::string("\0", 1), std::string("M-SEARCH * HTTP/1.1\r\n"),
          std::string("[]"), std::string("null"), good.substr(0, 90), std::string(1000, '['),
          good + std::string(kLongestHostFinderMessage, ' '), std::string(R"({"version":1})")}) {
        EXPECT_FALSE(ParseHostFinder(datagram)) << datagram;
    }
    for (const char* member : {R"("version":2)",
                               R"("version":1.0)",
                               R"("version":"1")",
                               R"("type":["answer"])",
                               R"("type":"farewell")",
                               R"("token":1234567890123456)",
                               R"("token":"0123456789ABCDEF")",
                               R"("token":"0123456789abcde")",
                               R"("token":"0123456789abcdef0")",
                               R"("ipAddr":"192.0.2.256")",
                               R"("ipAddr":"192.0.2.07")",
                               R"("ipAddr":"192.0.2.7\u0000")",
                               R"("ipAddr":["192.0.2.7"])",
                               R"("ipAddr":null)",
                               R"("macAddr":"00:00:00:00:00:00")",
                               R"("macAddr":"01:00:5e:00:00:01")",
                               R"("macAddr":"02:00:00:00:00:0A")",
                               R"("macAddr":"02-00-00-00-00-07")",
                               R"("macAddr":"02:00:00:00:00:07:08")",
                               R"("macAddr":{})"}) {
        EXPECT_FALSE(ParseHostFinder(With(member))) << member;
    }
}

TEST(HostFinderMessageTest, TextsThatAreNoneAreLeftOut) {
    const std::string longest(64, 'x');
    const std::string quote = "\"";
    const std::pair<std::string, std::string> names[] = {
        {R"("\u0416\ud83d\ude00 \"x\"")", "\u0416\U0001f600 \"x\""},
        {quote + longest + quote, longest},
        {quote + longest + "x\"", ""}};
    for (const auto& [json, name] : names) {
        EXPECT_EQ(ParseHostFinder(With(R"("serial":)" + json))->serial, name) << json;
    }
    // Other types, control characters, half a character, no UTF-8, one too long, one cut.
    for (const char* json :
         {R"("")", "5", "true", "null", R"(["nas"])", R"({"nas":1})", R"("a\u0000b")",
          R"("\u001b[31m")", R"("a\nb")", R"("\u007f")", R"("\u0085")", R"("\udc00")", "\"\xff\"",
          "\"\xc0\xaf\"", "\"\xe0\x80\xaf\"", "\"\xf0\x80\x80\xaf\"", "\"\xf4\x90\x80\x80\"",
          "\"nas\xe2\x82\""}) {
        const auto answer =
            ParseHostFinder(With(R"("serial":"7","friendlyName":)" + std::string(json)));
        ASSERT_TRUE(answer) << json;
        EXPECT_EQ(answer->friendlyName, "") << json;
        EXPECT_EQ(answer->serial, "7") << json;
    }
}

}  // namespace
}  // namespace vexotest
