#include "device_list_watch.h"

#include <unistd.h>

#include <vexobase/log.h>
#include <vexonetwork/network/module/devicelist_module.h>
#include <vexonetwork/network/module/module_manager.h>

namespace vexonetd {
namespace {

using vexonetwork::network::module::DeviceListModule;
using vexonetwork::network::module::MODULE_DEVICE_LIST;
using vexonetwork::network::module::ModuleManager;

struct WatchSource {
    GSource base;
    const DeviceListModule* module;
};

[[noreturn]] void SaveAndEnd(const DeviceListModule& module) {
    const bool saved = module.RescueList();
    VEXO_LOG(LOG_ERR,
             "The device list is lost, as a device was deleted that is not in it; it was%s saved."
             " Ending, to be started anew",
             saved ? "" : " not");
    // No module is taken down: that would wait for the list.
    ::_exit(1);
}

void CheckModule(const DeviceListModule* module) {
    if (module != nullptr && module->IsListLost()) {
        SaveAndEnd(*module);
    }
}

/// The loop asks before each turn, first of all its sources.
gboolean OnTurn(GSource* source, gint* timeout) {
    *timeout = -1;
    CheckModule(reinterpret_cast<WatchSource*>(source)->module);
    return FALSE;  // not ready: there is nothing to dispatch
}

GSourceFuncs sourceFunctions = {OnTurn, nullptr, nullptr, nullptr, nullptr, nullptr};

}  // namespace

DeviceListWatch::DeviceListWatch()
    : module(dynamic_cast<const DeviceListModule*>(
        ModuleManager::GetInstance().GetModule(MODULE_DEVICE_LIST))),
      source(g_source_new(&sourceFunctions, sizeof(WatchSource))) {
    reinterpret_cast<WatchSource*>(source)->module = module;
    g_source_set_priority(source, G_PRIORITY_HIGH);
    g_source_attach(source, nullptr);
}

DeviceListWatch::~DeviceListWatch() {
    g_source_destroy(source);
    g_source_unref(source);
}

void DeviceListWatch::Check() const {
    CheckModule(module);
}

}  // namespace vexonetd
