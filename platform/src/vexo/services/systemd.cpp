#include "vexo/systemd.h"

#include <string>

#include "vexo/services/system_manager.h"
#include "vlib/error.h"

namespace {

using vexoplatform::FullUnitName;
using vexoplatform::SystemManager;

/// Asks the manager about a unit.
/// @return what `ask` returned, or `failure` when there is no unit name or no manager
template <typename Result, typename Ask>
Result AskAbout(const char* unit, Result failure, Ask ask) {
    if (unit == nullptr || *unit == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return failure;
    }
    auto manager = SystemManager::Connect();
    const Result result = manager ? ask(*manager, FullUnitName(unit)) : failure;
    if (result == failure) {
        VLIBCErrSet(VLIB_ERR_SYSTEMD_FAILED);
    }
    return result;
}

}  // namespace

bool VEXOCSystemdEnable(const char* unit) {
    return AskAbout(unit, false, [](SystemManager& manager, const std::string& name) {
        return manager.SetEnabled(name, true);
    });
}

bool VEXOCSystemdDisable(const char* unit) {
    return AskAbout(unit, false, [](SystemManager& manager, const std::string& name) {
        return manager.SetEnabled(name, false);
    });
}

bool VEXOCSystemdStart(const char* unit) {
    return AskAbout(unit, false, [](SystemManager& manager, const std::string& name) {
        return manager.RunJob("StartUnit", name);
    });
}

bool VEXOCSystemdStop(const char* unit) {
    return AskAbout(unit, false, [](SystemManager& manager, const std::string& name) {
        return manager.RunJob("StopUnit", name);
    });
}

int VEXOCSystemdActiveStatusGet(const char* unit) {
    return AskAbout(unit, -1, [](SystemManager& manager, const std::string& name) {
        return manager.IsActive(name);
    });
}
