// The daemon's own modules, started more than once.

#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include <vexonetwork/network/module/module_manager.h>

#include "support/appliance.h"

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork::network::module;

/// The names of this process's threads, each as often as it runs.
std::multiset<std::string> Threads() {
    std::multiset<std::string> names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        names.insert(ReadFile(task.path() / "comm"));
    }
    return names;
}

/// The kernel lists a thread for a moment after it was joined.
void ExpectThreads(const std::multiset<std::string>& names) {
    EXPECT_TRUE(Eventually([&] { return Threads() == names; })) << PrintToString(Threads());
}

Json::Value Ask(MODULE_TYPE module, const std::string& request) {
    Json::Value reply;
    EXPECT_EQ(ModuleManager::GetInstance().ProcessRequest(module, Parsed(request), reply), 0);
    return reply;
}

/// What the modules tell of what they know.
std::string Knowledge() {
    const std::string gateways = R"({"method": "GET_GATEWAY_LIST_DATA", "type": "GTYPE_V)";
    std::string text = Ask(MODULE_ROUTE, gateways + "4\"}").toStyledString();
    text += Ask(MODULE_ROUTE, gateways + "6\"}").toStyledString();
    Json::Value devices = Ask(MODULE_DEVICE_LIST, R"({"method": "get", "scannertype": "all"})");
    for (Json::Value& device : devices["ClientList"]) {
        device.removeMember("asso_time");
    }
    return text + devices.toStyledString();
}

TEST(RealModules, StartedAgainHaveNothingTwice) {
    const Uplink wan0 = MakeUplink(0);
    WriteFile("/etc/vexoinfo.conf", "net_topology=2\n");
    Must("ip link add br0 address 02:00:00:00:00:01 type bridge");
    Must("ip address add 203.0.113.1/24 dev br0");
    Must("ip link set br0 up");
    Must("ip neigh add 203.0.113.2 lladdr 02:00:00:00:00:02 nud permanent dev br0");
    ModuleManager& manager = ModuleManager::GetInstance();
    const auto idle = Threads();
    int atRest = 0;
    for (int life = 0; life < 2; ++life) {
        EXPECT_TRUE(manager.Initialize() && manager.Start());
        Ask(MODULE_ROUTE, R"({"method": "ADD_GATEWAY_DATA", "type": "GTYPE_V4", "ifname": "wan0",
                              "priority": 0, "gateway": "192.0.2.1"})");
        const std::string known = Knowledge();
        const auto threads = Threads();
        EXPECT_THAT(threads, AllOf(Contains("host-finder\n"), Contains("upnp-scanner\n"),
                                   Contains("router-adverts\n"), Contains("device-names\n"),
                                   SizeIs(idle.size() + 4)));
        const int inUse = OpenDescriptors();

        EXPECT_TRUE(manager.Initialize()) << "started modules are initialised again";
        EXPECT_TRUE(manager.Initialize()) << "initialised ones are left alone";
        EXPECT_TRUE(manager.Start());
        EXPECT_FALSE(manager.Start()) << "started already";
        ExpectThreads(threads);
        EXPECT_EQ(OpenDescriptors(), inUse);
        EXPECT_EQ(Knowledge(), known);
        ExpectDefaultRoutes("-4", {RouteOf(wan0)});

        for (const auto type : {MODULE_IPV6, MODULE_ROUTE, MODULE_DEVICE_LIST}) {
            EXPECT_FALSE(manager.RemoveModule(type));
        }
        ExpectThreads(idle);
        // What belongs to the process as a whole is there from the first life on.
        EXPECT_EQ(OpenDescriptors(), life == 0 ? (atRest = OpenDescriptors()) : atRest);
    }
}

}  // namespace
}  // namespace vexotest
