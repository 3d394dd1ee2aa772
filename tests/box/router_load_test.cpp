#include <gmock/gmock.h>

#include <thread>

#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>

#include "support/advertiser.h"
#include "support/appliance.h"

// Advertisements and requests to forget their router at once, under the thread sanitizer too.

namespace vexotest {
namespace {

using vexonetwork::network::module::IPv6Module;
using vexonetwork::network::module::ModuleManager;
using vexonetwork::network::module::RouteModule;

TEST(RouterLoad, AdvertisementsAndResetsComeAtOnce) {
    const Uplink uplink = MakeUplink(0);
    ModuleManager& manager = ModuleManager::GetInstance();
    manager.AddModule({vexonetwork::network::module::MODULE_ROUTE, true, RouteModule::Create});
    manager.AddModule({vexonetwork::network::module::MODULE_IPV6, true, IPv6Module::Create});
    ASSERT_TRUE(manager.InitModules());
    ASSERT_TRUE(manager.Start());

    std::thread routers([&] {
        Advertiser advertiser(uplink.provider, "far");
        for (int i = 0; i < 3'000; ++i) {
            advertiser.Send({.flags = static_cast<unsigned char>(i % 4 * 0x40)});
        }
    });
    std::vector<std::thread> callers;
    for (const char* ifname : {"wan0", "nowhere"}) {
        callers.emplace_back([&manager, ifname] {
            Json::Value request;
            request["method"] = "RESET_IPV6_MODULE";
            request["ifname"] = ifname;
            for (int i = 0; i < 3'000; ++i) {
                Json::Value reply;
                EXPECT_EQ(manager.ProcessRequest(vexonetwork::network::module::MODULE_IPV6, request,
                                                 reply),
                          0);
            }
        });
    }
    routers.join();
    for (std::thread& caller : callers) {
        caller.join();
    }
    Advertiser last(uplink.provider, "far");
    EXPECT_TRUE(Eventually([&] {
        last.Send({.source = "fe80::77"});
        return ReadFile("/run/vexo/ipv6_routers.json").find("fe80::77") != std::string::npos;
    }));
    ExpectDefaultRoutes("-6", {"via fe80::77 dev wan0"});
    manager.RemoveModule(vexonetwork::network::module::MODULE_IPV6);
    manager.RemoveModule(vexonetwork::network::module::MODULE_ROUTE);
}

}  // namespace
}  // namespace vexotest
