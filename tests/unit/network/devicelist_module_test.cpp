#include <fcntl.h>
#include <gmock/gmock.h>
#include <malloc.h>
#include <syslog.h>
#include <unistd.h>

#include <thread>

#include <vexobase/unique_fd.h>
#include <vexonetwork/network/module/devicelist_module.h>
#include <vexonetwork/utils/json_reader.h>

#include "support/appliance.h"
#include "support/event_queue.h"
#include "support/syslog_spy.h"

namespace vexotest {
namespace {

using namespace testing;
using vexobase::UniqueFd;
using vexonetwork::network::module::DeviceListModule;

const std::string kFile = "/tmp/connectionlist_upnpscanner.json";

/// A bridge with two devices that the kernel knows.
void MakeLan() {
    WriteFile("/etc/vexoinfo.conf", "net_topology=2\n");
    WriteFile("/tmp/batch", R"(link add br0 type bridge
address add 192.0.2.1/24 dev br0
link set br0 up
neigh add 192.0.2.2 lladdr 02:00:00:00:00:02 nud permanent dev br0
neigh add 192.0.2.3 lladdr 02:00:00:00:00:03 nud permanent dev br0
)");
    Must("ip -batch /tmp/batch");
}

int Ask(DeviceListModule& module, const std::string& request, Json::Value* reply = nullptr) {
    Json::Value out;
    return module.ProcessRequest(Parsed(request), reply == nullptr ? out : *reply);
}

/// The entries for all, by MAC.
std::map<std::string, Json::Value> All(DeviceListModule& module) {
    Json::Value reply;
    EXPECT_EQ(Ask(module, R"({"method": "get", "scannertype": "all"})", &reply), 0);
    std::map<std::string, Json::Value> entries;
    for (const Json::Value& entry : reply["ClientList"]) {
        entries[entry["macAddr"].asString()] = entry;
    }
    EXPECT_EQ(reply["ClientList"].size(), entries.size()) << reply;
    return entries;
}

TEST(DeviceListModuleTest, EveryWrongRequestSaysWhatIsWrong) {
    const std::string set = R"({"method": "set", "macAddr": "m", "userdef_displayName": )";
    const std::string noSet = "failed to set data";
    const std::string noGet = "failed to get data by scannertype";
    const std::string noDel = "failed to del data";
    const auto missing = [](const std::string& name) {
        return "indata has no member (" + name + ") or wrong format";
    };
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"{}", {missing("method")}},
        {"[\"method\"]", {missing("method")}},
        {R"({"method": 1})", {missing("method")}},
        {R"({"method": "put"})", {"unknown type from input (put)"}},
        {R"({"method": "get", "scannertype": []})", {missing("scannertype"), noGet}},
        {R"({"method": "get", "scannertype": "arp"})", {"unknown type from input (arp)", noGet}},
        {R"({"method": "get", "scannertype": "upnp"})",
         {"no upnp scanner when getting data", "failed to get upnp data", noGet}},
        {R"({"method": "get", "scannertype": "kelo"})",
         {"no kelo scanner when getting data", "failed to get upnp data", noGet}},
        {R"({"method": "get", "scannertype": "all"})",
         {"no arp scanner when getting data", "cannot get arp data", "failed to get all list data",
          noGet}},
        {R"({"method": "set"})", {missing("macAddr"), noSet}},
        {set + "7}", {missing("userdef_displayName"), noSet}},
        {set + "\"n\"}", {missing("userdef_deviceType"), noSet}},
        {set + R"("n", "userdef_deviceType": ""})", {"input string should not be empty", noSet}},
        {set + R"("n", "userdef_deviceType": "t"})", {"failed to get object (m) from list", noSet}},
        {R"({"method": "del", "macAddr": {}})", {missing("macAddr"), noDel}},
        {R"({"method": "del", "macAddr": ""})", {"input mac should not be empty", noDel}},
        {R"({"method": "del", "macAddr": "m"})", {"failed to erase object (m) from list", noDel}},
    };
    DeviceListModule module;
    for (const auto& [request, messages] : cases) {
        const SyslogSpy log;
        EXPECT_EQ(Ask(module, request), -1) << request;
        EXPECT_EQ(log.Messages(), messages) << request;
        for (const LogLine& line : log.Lines()) {
            EXPECT_TRUE(line.level == LOG_ERR && line.source == "devicelist_module") << request;
        }
    }
}

TEST(DeviceListModuleTest, NeighboursAreAddedAndTheOthersOnlyEnrichThem) {
    MakeLan();
    DeviceListModule module;
    module.InitialModule();
    EXPECT_THAT(All(module), SizeIs(2));
    EXPECT_EQ(module.MergeList(Parsed(R"({"ClientList": [
                  {"macAddr": "02:00:00:00:00:02", "modelName": "TV 5", "ipAddr": "192.0.2.2"},
                  {"ipAddr": "192.0.2.3", "friendlyName": "Printer", "upnp_location": "http://x"},
                  {"macAddr": "02:00:00:00:00:04", "friendlyName": "Stranger"}]})"),
                               false),
              0);
    EXPECT_EQ(Ask(module, R"({"method": "set", "macAddr": "02:00:00:00:00:03",
                              "userdef_displayName": "Mine", "userdef_deviceType": "lamp"})"),
              0);
    auto devices = All(module);
    EXPECT_THAT(devices, SizeIs(2));
    EXPECT_EQ(devices["02:00:00:00:00:02"]["displayName"], "TV 5");
    const Json::Value& printer = devices["02:00:00:00:00:03"];
    EXPECT_EQ(printer["displayName"], "Printer");
    EXPECT_EQ(printer["upnp_location"], "http://x");
    EXPECT_EQ(printer["netif"], "br0");

    // One that has left stays, with its name, over a restart too.
    Must("ip neigh del 192.0.2.3 dev br0");
    module.TerminateModule();
    DeviceListModule next;
    next.InitialModule();
    devices = All(next);
    EXPECT_EQ(devices["02:00:00:00:00:03"]["userdef_displayName"], "Mine");
    EXPECT_EQ(devices["02:00:00:00:00:03"]["userdef_deviceType"], "lamp");
    EXPECT_EQ(Ask(next, R"({"method": "del", "macAddr": "02:00:00:00:00:03"})"), 0);
    EXPECT_THAT(All(next), SizeIs(1));
    next.TerminateModule();
}

TEST(DeviceListModuleTest, ADeviceThatIsSlowToTellItsNameHoldsNobodyUp) {
    MakeLan();
    DeviceListModule module;
    module.InitialModule();
    EXPECT_THAT(All(module), SizeIs(2));
    Must("mkfifo /tmp/go");
    const UniqueFd go(::open("/tmp/go", O_RDWR | O_CLOEXEC));
    WriteScript("/usr/local/bin/nmblookup",
                "echo >>/tmp/begun\nread go </tmp/go\necho 'SLOW <ACTIVE>'");
    std::thread lister([&] { EXPECT_THAT(All(module), SizeIs(2)); });
    EXPECT_TRUE(Eventually([] { return ReadFile("/tmp/begun") == "\n\n"; }));
    EXPECT_EQ(Ask(module, R"({"method": "set", "macAddr": "02:00:00:00:00:03",
                              "userdef_displayName": "Mine", "userdef_deviceType": "lamp"})"),
              0);
    lister.join();
    // Nobody has waited for the programs: they are there and come to their end.
    // A line for each is one byte: they read at the same time, byte by byte.
    EXPECT_EQ(::write(go.Get(), "\n\n", 2), 2);
    EXPECT_TRUE(Eventually([&] {
        return All(module)["02:00:00:00:00:03"]["displayName"] == "SLOW";
    })) << "it comes with a later list";
    module.TerminateModule();
    EXPECT_EQ(ChildrenOf(::getpid()), "") << "those that the last list asked for";
}

TEST(DeviceListModuleTest, GoesOnAfterUnknownDevicesWereDeletedBySeveralAtOnce) {
    DeviceListModule module;
    EXPECT_EQ(module.MergeList(Parsed(R"({"ClientList": [{"macAddr": "m"}]})"), true), 0);
    const auto deleteUnknown = [&module] {
        EXPECT_EQ(Ask(module, R"({"method": "del", "macAddr": "typo"})"), -1);
    };
    const auto work = [&](const std::string& name) {
        for (int i = 0; i < 500; ++i) {
            deleteUnknown();
            EXPECT_EQ(Ask(module, R"({"method": "set", "userdef_deviceType": "t", "macAddr": "m",
                                      "userdef_displayName": ")"
                                      + name + "\"}"),
                      0);
        }
    };
    std::thread other(work, "a");
    work("b");
    other.join();
    const std::size_t before = ::mallinfo2().uordblks;  // bytes allocated
    for (int i = 0; i < 2'000; ++i) {
        deleteUnknown();
    }
    EXPECT_LT(::mallinfo2().uordblks, before + 65536);
    module.TerminateModule();
    EXPECT_THAT(ReadFile(kFile), ContainsRegex("userdef_displayName\" : \"[ab]\""));
}

TEST(DeviceListModuleTest, WhatIsNoDeviceEndsTheMerge) {
    DeviceListModule module;
    for (const char* list : {"5", "[]", "{}", R"({"ClientList": {}})"}) {
        EXPECT_EQ(module.MergeList(Parsed(list), true), -1) << list;
    }
    for (const char* element : {"5", "\"x\"", "[]", "null", R"({"macAddr": "", "ipAddr": null})",
                                R"({"macAddr": {"a": 1}, "ipAddr": ["192.0.2.9"]})"}) {
        const std::string list = R"({"ClientList": [{"macAddr": "m"}, )" + std::string(element)
                                 + R"(, {"macAddr": "n"}]})";
        EXPECT_EQ(module.MergeList(Parsed(list), true), -1) << element;
        EXPECT_EQ(Ask(module, R"({"method": "del", "macAddr": "m"})"), 0) << "merged before";
    }
    EXPECT_EQ(Ask(module, R"({"method": "del", "macAddr": "n"})"), -1);
}

TEST(DeviceListModuleTest, AFullListStillLearnsOfItsDevices) {
    DeviceListModule module;
    const SyslogSpy log;
    Json::Value list;
    for (int i = 0; i <= 20'000; ++i) {
        list["ClientList"][i]["macAddr"] = std::to_string(i);
    }
    EXPECT_EQ(module.MergeList(list, true), 0);
    EXPECT_EQ(module.MergeList(list, true), 0);
    EXPECT_EQ(Ask(module, R"({"method": "set", "macAddr": "19999", "userdef_displayName": "a",
                              "userdef_deviceType": "b"})"),
              0);
    EXPECT_EQ(Ask(module, R"({"method": "del", "macAddr": "0"})"), 0);
    EXPECT_EQ(module.MergeList(list, true), 0);
    EXPECT_EQ(log.Lines().size(), 3U) << "once each time";
    EXPECT_EQ(Ask(module, R"({"method": "del", "macAddr": "20000"})"), -1);
}

TEST(DeviceListModuleTest, TheOldestOfAFullListGoButNoneThatTheUserHasNamed) {
    MakeLan();
    Json::Value list;
    for (int i = 0; i < 20'000; ++i) {
        list["ClientList"][i]["macAddr"] = std::to_string(i);
        list["ClientList"][i]["asso_time"] = "12:00:00 2025/03/01";
    }
    // Of the last days of 2024, which bear the year of their ISO week; of the year before.
    list["ClientList"][7]["asso_time"] = "12:00:00 2025/12/30";
    list["ClientList"][9'000]["asso_time"] = "13:00:00 2023/06/01";
    list["ClientList"][3]["asso_time"] = "12:00:00 2023/06/01";
    list["ClientList"][3]["userdef_deviceType"] = "lamp";
    list["ClientList"][5]["asso_time"] = "12:00:00 2023/06/01";
    list["ClientList"][5]["userdef_displayName"] = "Mine";
    list["ClientList"][4]["asso_time"] = "12:00:00 2023/06/01";
    list["ClientList"][4]["macAddr"] = "02:00:00:00:00:02";
    WriteFile(kFile, list.toStyledString());
    DeviceListModule module;
    module.InitialModule();
    EXPECT_EQ(All(module).count("9000"), 0U);
    EXPECT_EQ(module.MergeList(Parsed(R"({"ClientList": [{"macAddr": "a"}]})"), true), 0);
    auto devices = All(module);
    EXPECT_THAT(devices, SizeIs(20'000));
    EXPECT_FALSE(devices.contains("7"));
    for (const char* mac : {"3", "5", "02:00:00:00:00:02", "02:00:00:00:00:03", "a"}) {
        EXPECT_TRUE(devices.contains(mac)) << mac;
    }
    module.TerminateModule();
}

TEST(DeviceListModuleTest, AFileOfAnyFormIsSkippedAndReplaced) {
    MakeLan();
    const std::string device = R"({"ClientList": [{"macAddr": "old", "a": 1}]})";
    WriteFile("/tmp/list", device);
    const std::string skipped = "failed to read (" + kFile + ") to client list, skip it";
    // Most are a text, some are something else in the place of a file.
    const std::string forms[] = {"",
                                 device.substr(0, 30),
                                 std::string(100'000, '['),
                                 "{}",
                                 R"({"ClientList": {"macAddr": "old"}})",
                                 "!ln -s /tmp/list " + kFile,
                                 "!mkfifo " + kFile,
                                 "!install -o 1000 /tmp/list " + kFile,
                                 "!truncate --size 100M " + kFile};
    for (const std::string& form : forms) {
        ::unlink(kFile.c_str());
        form.starts_with('!') ? void(Must(form.substr(1))) : WriteFile(kFile, form);
        const SyslogSpy log;
        DeviceListModule module;
        module.InitialModule();
        EXPECT_TRUE(log.Has("devicelist_module", skipped)) << form.substr(0, 60);
        EXPECT_THAT(All(module), AllOf(SizeIs(2), Not(Contains(Key("old"))))) << form.substr(0, 60);
        EXPECT_THAT(ReadFile(kFile), HasSubstr("02:00:00:00:00:03"));
        EXPECT_EQ(ReadFile("/tmp/list"), device);
        module.TerminateModule();
    }
    WriteFile(kFile, R"({"ClientList": [5, {"ipAddr": "192.0.2.2"}, {"macAddr": ""},
                  {"macAddr": "02:00:00:00:00:03", "userdef_displayName": "Mine"}]})");
    DeviceListModule module;
    module.InitialModule();
    EXPECT_THAT(All(module), SizeIs(2)) << "devices alone, none of them twice";
    EXPECT_EQ(All(module)["02:00:00:00:00:03"]["userdef_displayName"], "Mine");
    module.TerminateModule();
}

}  // namespace
}  // namespace vexotest
