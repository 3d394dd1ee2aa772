#include "vexo/change_hook.h"

#include <string>

#include "vexo/hooks/hook_runner.h"
#include "vlib/error.h"

namespace {

using vexoplatform::HookEnvironment;

std::string OrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

int RunStage(int stage, const char* hook, HookEnvironment environment) {
    if (stage != HOOK_STAGE_BEFORE && stage != HOOK_STAGE_AFTER) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    environment["STAGE"] = stage == HOOK_STAGE_BEFORE ? "before" : "after";
    if (vexoplatform::RunHooks("net", hook, environment) != 0) {
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    return 0;
}

}  // namespace

int VEXONetGatewayConfigChangeHook(int stage, const char* protocol, const char* ifname,
                                   const char* oldGateway, const char* newGateway) {
    return RunStage(stage, "gateway_config_change",
                    {{"PROTOCOL", OrEmpty(protocol)},
                     {"IFNAME", OrEmpty(ifname)},
                     {"OLD_GATEWAY", OrEmpty(oldGateway)},
                     {"NEW_GATEWAY", OrEmpty(newGateway)}});
}

int VEXONetDnsConfigChangeHook(int stage, const char* ifname, const VLIBSZLIST* servers) {
    std::string joined;
    for (int i = 0; servers != nullptr && i < servers->count; ++i) {
        joined += (i == 0 ? "" : " ") + OrEmpty(VLIBCSzListGet(servers, i));
    }
    return RunStage(stage, "dns_config_change", {{"IFNAME", OrEmpty(ifname)}, {"DNS", joined}});
}
