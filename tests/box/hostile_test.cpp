// Whatever is sent to the eleven methods, the daemon lives and its lists and files stay.

#include <gmock/gmock.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using testing::HasSubstr;

constexpr std::array kMethods = {
    "GetDeviceListData", "SetDeviceListData", "DelDeviceListData", "GetGatewayListData",
    "AddGatewayData",    "DelGatewayData",    "SetSlaveData",      "GetGatewayDataByInterface",
    "CopyGatewayData",   "RefreshGateway",    "ResetIPv6Module",
};

class Hostile : public testing::Test {
  protected:
    void SetUp() override {
        appliance.StartDaemon();
        appliance.ListUplinks();
        before = Settings();
    }

    /// A clean end; under a sanitizer also the end without a leak.
    void TearDown() override { EXPECT_EQ(appliance.StopDaemon(), 0) << appliance.Log(); }

    /// Everything a request could change.
    std::string Settings() {
        std::string now;
        for (const char* type : {"GTYPE_V4", "GTYPE_V6"}) {
            now += appliance.GatewayList(type).toStyledString();
        }
        for (const char* name : {"gateway_v4_priority", "gateway_v6_priority", "gateway_database",
                                 "resolv4.conf", "resolv6.conf"}) {
            now += name + ("\n" + ReadFile(std::string("/etc/iproute2/config/") + name));
        }
        return now + testing::PrintToString(DefaultRoutes("-4"));
    }

    /// Sends one text to one method and sees that it left a log line and nothing else.
    void Refused(const std::string& method, const std::string& text,
                 const std::string& reason = "\n") {
        const size_t logged = appliance.Log().size();
        appliance.Call(method, text);
        const std::string shown = method + " " + text.substr(0, 120);
        EXPECT_THAT(appliance.Log().substr(logged), HasSubstr(reason)) << shown;
        EXPECT_EQ(appliance.Daemon().Wait(Milliseconds(0)), -1) << "the daemon ended on " << shown;
    }

    void ExpectUnchanged() { EXPECT_EQ(Settings(), before); }

    Uplink wan0 = MakeUplink(0);
    Uplink wan1 = MakeUplink(1);
    Appliance appliance;
    std::string before;
};

TEST_F(Hostile, TextsThatAreNoRequest) {
    std::vector<std::string> texts =
        Words(R"({ } [] 5 "x" null true {"type" {"a":1e999} {"type":"\u0000"} {"type":"\ud800"})");
    texts.insert(texts.end(), {"", "\xc3\xa9", "// a comment only", "/* {} */", "{} {}",
                               std::string(100'000, '['), std::string(100'000, '{'),
                               "\"" + std::string(5'000'000, 'a') + "\""});
    for (const std::string method : kMethods) {
        for (const std::string& text : texts) {
            // To forget the router of an interface that is none is done at once; to delete a
            // device that is none has the daemon begin anew.
            if (method != "ResetIPv6Module" && (method != "DelDeviceListData" || text.empty())) {
                Refused(method, text);
            }
        }
    }
    ExpectUnchanged();
}

TEST_F(Hostile, MegabytesAndLineBreaks) {
    const std::string proc = "/proc/" + std::to_string(appliance.Daemon().Pid());
    const auto peak = [&] {
        const std::string status = ReadFile(proc + "/status");
        return std::atol(status.c_str() + status.find("VmHWM:") + 6);
    };
    WriteFile(proc + "/clear_refs", "5");  // the peak is counted from here on
    const long peakBefore = peak();
    std::string numbers = "[1";
    while (numbers.size() < 12'000'000) {
        numbers += ",1";
    }
    // The longer one does not come through the bus.
    for (const std::string& text : {std::string(30'000'000, '\n'), numbers}) {
        for (const char* method : {"GetDeviceListData", "AddGatewayData"}) {
            EXPECT_EQ(appliance.Call(method, text), -1);
        }
    }
    EXPECT_LT(peak() - peakBefore, 200'000) << "KiB";

    Refused("GetDeviceListData", "x\nforged[1]: line" + std::string(1000, '.'), "(x?forged[1]: ");
    EXPECT_THAT(appliance.Log(), testing::Not(testing::ContainsRegex("[^\n]{600}")));
    ExpectUnchanged();
}

/// A whole, valid request for each gateway method that changes something; taken member by member.
std::vector<std::pair<std::string, std::string>> ChangingRequests() {
    return {
        {"AddGatewayData", R"({"type": "GTYPE_V4", "ifname": "wan1", "priority": 0,
            "gateway": "198.51.100.7", "dns": "198.51.100.8", "class": "vpn"})"},
        {"DelGatewayData", R"({"type": "GTYPE_V4", "ifname": "wan0"})"},
        {"SetSlaveData", R"({"type": "GTYPE_V4", "ifname": "wan0", "slave": true})"},
        {"CopyGatewayData", R"({"type": "GTYPE_V4", "interface_source": "wan0",
            "interface_destination": "wan7", "interface_source_delete": true})"},
        {"RefreshGateway", R"({"type": "GTYPE_V4"})"},
    };
}

/// Whether a value is of the type that a member needs.
bool Serves(const Json::Value& value, const Json::Value& wanted) {
    return wanted.isInt() ? value.isInt() : value.type() == wanted.type();
}

TEST_F(Hostile, MembersOfAnotherTypeOrMissing) {
    Json::Value nested;
    nested["type"] = "GTYPE_V4";
    const std::vector<Json::Value> wrong = {
        Json::Value(), Json::Value(Json::arrayValue), nested, 7, -7, 1.5, true,
        "x",           Json::Value::Int64(1) << 40,   1e300,
    };
    for (const auto& [method, text] : ChangingRequests()) {
        const Json::Value whole = Parsed(text);
        for (const std::string& member : whole.getMemberNames()) {
            const std::string reason = member == "type" ? "Unknown type" : "Bad [" + member + "]";
            for (const Json::Value& value : wrong) {
                if (member != "type" && Serves(value, whole[member])) {
                    continue;
                }
                Json::Value request = whole;
                request[member] = value;
                Refused(method, request.toStyledString(), reason);
            }
            if (member != "gateway" && member != "dns" && member != "class") {
                Json::Value request = whole;
                request.removeMember(member);
                Refused(method, request.toStyledString(), reason);
            }
        }
    }
    ExpectUnchanged();
}

TEST_F(Hostile, TextsThatTheKernelOrAFileCouldNotHold) {
    std::vector<std::string> names =
        Words(". .. a/b ../../../etc/passwd sixteencharacter bell\a eth0:1 a]b a\xc2\xa0");
    names.insert(names.end(), {"", "has blank", "tab\there", "line\nbreak", "a=b]\n[x",
                               std::string("nul\0byte", 8), std::string(5'000'000, 'x')});
    const Arguments values = {"192.0.2.9\n[x]", "192.0.2.9\nslave=no",
                              std::string("192.0.2.9\0x", 11), "\r", std::string(300, ' ')};
    for (const auto& [method, whole] : ChangingRequests()) {
        for (const std::string member :
             {"ifname", "interface_source", "interface_destination", "gateway", "dns", "class"}) {
            Json::Value request = Parsed(whole);
            const bool isName = member.starts_with("i");
            for (const std::string& text : isName ? names : values) {
                if (request.isMember(member)) {
                    request[member] = text;
                    Refused(method, request.toStyledString());
                }
            }
        }
    }
    ExpectUnchanged();
}

}  // namespace
}  // namespace vexotest
