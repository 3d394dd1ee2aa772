#include "vexonetsdk/base_hook.h"

#include "vexo/hooks/hook_runner.h"

namespace vexonetsdk::hook {

BaseHook::BaseHook(const std::string& category, const std::string& name)
    : hookCategory(category), hookName(name) {}

void BaseHook::SetEnv(const std::string& key, const std::string& value) {
    environment[key] = value;
}

std::string BaseHook::GetEnv(const std::string& key) const {
    const auto place = environment.find(key);
    return place == environment.end() ? "" : place->second;
}

int BaseHook::ExecHook() {
    return IsValid() ? vexoplatform::RunHooks(hookCategory, hookName, environment) : -1;
}

}  // namespace vexonetsdk::hook
