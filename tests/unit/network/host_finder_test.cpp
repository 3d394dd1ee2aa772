#include <gmock/gmock.h>

#include "network/devices/host_finder_message.h"

namespace vexotest {
namespace {

using namespace vexonetwork::network;

constexpr char kQuestion[] = R"("version":1,"type":"question","token":"0123456789abcdef")";
constexpr char kAnswer[] =
    R"("version":1,"type":"answer","token":"0123456789abcdef","ipAddr":"192.0.2.7","macAddr":"02:00:00:00:00:07")";

std::string With(const std::string& members, const std::string& more = "") {
    return "{" + members + more + "}";
}

TEST(HostFinderMessageTest, WhatIsWrittenIsReadAgain) {
    HostFinderMessage answer;
    answer.type = HostFinderMessage::Type::kAnswer;
    answer.token = "00112233445566ff";
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

    HostFinderMessage question;
    question.token = answer.token;
    EXPECT_EQ(ParseHostFinder(ToDatagram(question)), question);
}

TEST(HostFinderMessageTest, ForeignAndMalformedDatagramsAreRefused) {
    EXPECT_TRUE(ParseHostFinder(With(kQuestion, R"(,"more":[{"later":1}])")));
    EXPECT_TRUE(ParseHostFinder(With(kAnswer)));
    const std::string deep(500, '[');
    for (const std::string& datagram : {
             std::string(),
             std::string("\0", 1),
             std::string("M-SEARCH * HTTP/1.1\r\n"),
             std::string("[]"),
             std::string("null"),
             With(kQuestion).substr(0, 50),
             With(kQuestion, ",\"more\":" + deep),
             With(kQuestion) + std::string(kLongestHostFinderMessage, ' '),
             With(R"("version":2,"type":"question","token":"0123456789abcdef")"),
             With(R"("version":1.0,"type":"question","token":"0123456789abcdef")"),
             With(R"("version":"1","type":"question","token":"0123456789abcdef")"),
             With(R"("type":"question","token":"0123456789abcdef")"),
             With(R"("version":1,"token":"0123456789abcdef")"),
             With(R"("version":1,"type":["answer"],"token":"0123456789abcdef")"),
             With(R"("version":1,"type":"question")"),
             With(R"("version":1,"type":"question","token":1234567890123456)"),
             With(R"("version":1,"type":"question","token":"0123456789ABCDEF")"),
             With(R"("version":1,"type":"question","token":"0123456789abcde")"),
             With(R"("version":1,"type":"question","token":"0123456789abcdef0")"),
         }) {
        EXPECT_FALSE(ParseHostFinder(datagram)) << datagram;
    }
}

TEST(HostFinderMessageTest, AnAnswerNeedsTheAddressesOfOneStation) {
    for (const char* address : {R"("192.0.2")", R"("192.0.2.256")", R"("192.0.2.07")", R"("")", "7",
                                R"("192.0.2.7\u0000")", R"("::1")", R"(["192.0.2.7"])", "null"}) {
        EXPECT_FALSE(ParseHostFinder(With(kAnswer, R"(,"ipAddr":)" + std::string(address))))
            << address;
    }
    for (const char* mac :
         {R"("00:00:00:00:00:00")", R"("ff:ff:ff:ff:ff:ff")", R"("01:00:5e:00:00:01")",
          R"("02:00:00:00:00:0A")", R"("020000000007")", R"("02-00-00-00-00-07")", "{}",
          R"("02:00:00:00:00:07:08")", R"("02:00:00:00:00:0")", R"("0g:00:00:00:00:07")"}) {
        EXPECT_FALSE(ParseHostFinder(With(kAnswer, R"(,"macAddr":)" + std::string(mac)))) << mac;
    }
}

TEST(HostFinderMessageTest, TextsThatAreNoneAreLeftOut) {
    const std::string longest(64, 'x');
    const std::pair<std::string, std::string> names[] = {
        {R"("nas")", "nas"},
        {R"("\u0416\ud83d\ude00 \"x\"")", "\u0416\U0001f600 \"x\""},
        {'"' + longest + '"', longest},
        {"\"x" + longest + '"', ""},
        {R"("")", ""},
        {"5", ""},
        {"true", ""},
        {R"(["nas"])", ""},
        {R"({"nas":1})", ""},
        {R"("a\u0000b")", ""},
        {R"("a\u001b[31m")", ""},
        {R"("a\nb")", ""},
        {R"("\u007f")", ""},
        {R"("\u0085")", ""},
        {R"("\udc00")", ""},           // half of a character
        {"\"\xff\"", ""},              // no UTF-8 at all
        {"\"\xc0\xaf\"", ""},          // too long for its character
        {"\"\xe0\x80\xaf\"", ""},      //
        {"\"\xf0\x80\x80\xaf\"", ""},  //
        {"\"\xf4\x90\x80\x80\"", ""},  // beyond Unicode
        {"\"nas\xe2\x82\"", ""},       // cut
    };
    for (const auto& [json, name] : names) {
        const auto answer =
            ParseHostFinder(With(kAnswer, R"(,"serial":"7","friendlyName":)" + json));
        ASSERT_TRUE(answer) << json;
        EXPECT_EQ(answer->friendlyName, name) << json;
        EXPECT_EQ(answer->serial, "7") << json;
    }
}

}  // namespace
}  // namespace vexotest
