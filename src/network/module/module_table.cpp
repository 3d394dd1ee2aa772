#include <vexonetwork/network/module/devicelist_module.h>
#include <vexonetwork/network/module/ipv6_module.h>
#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/network/module/test_module.h>

namespace vexonetwork::network::module {

// Apart from the manager, so that the manager knows no concrete module.
const ModuleManager::MODULE_INFO ModuleManager::module_info[4] = {
    {MODULE_TEST, false, TestModule::Create},
    {MODULE_IPV6, true, IPv6Module::Create},
    {MODULE_ROUTE, true, RouteModule::Create},
    {MODULE_DEVICE_LIST, true, DeviceListModule::Create},
};

}  // namespace vexonetwork::network::module
