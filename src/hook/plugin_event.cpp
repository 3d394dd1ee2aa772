#include "hook/plugin_event.h"

#include <net/if.h>

#include <algorithm>

#include <vexobase/unique_handle.h>
#include <vexonetsdk/sdk_s.h>
#include <vexonetwork/utils/utils.h>
#include <vlib/error.h>
#include <vlib/plugin.h>

namespace vexonetwork::hook {
namespace {

constexpr int kPluginError = 0xD00;

using Session = vexobase::UniqueHandle<VLIBPLUGIN, VLIBPluginExit>;

bool Exists(const std::string& ifname) {
    // The label of an address begins with the name of its interface.
    return ::if_nametoindex(ifname.substr(0, ifname.find(':')).c_str()) != 0;
}

/// @return 0, or -1 after the failure was recorded under the line where it was noticed
int Record(bool failed, int line) {
    if (failed) {
        VLIBCErrSetEx(kPluginError, __FILE__, line);
    }
    return failed ? -1 : 0;
}

int SetArguments(VLIBPLUGIN* session, std::initializer_list<PluginArgument> arguments) {
    const bool set = std::ranges::all_of(arguments, [session](const PluginArgument& argument) {
        return VLIBPluginSetArg(session, argument.first, argument.second.c_str()) >= 0;
    });
    return Record(!set, __LINE__);
}

}  // namespace

std::optional<std::string> LinkWord(const std::string& ifname) {
    if (network::IsEthernetLinkDetected(ifname)) {
        return "true";
    }
    return Exists(ifname) ? std::optional<std::string>("false") : std::nullopt;
}

int RunPluginEvent(const char* name, std::initializer_list<PluginArgument> arguments) {
    const Session session(VLIBPluginSDKInit("net", name));
    if (Record(!session, __LINE__) != 0 || SetArguments(session.Get(), arguments) != 0
        || Record(VLIBPluginSetBlocking(session.Get(), 1) < 0, __LINE__) != 0) {
        return -1;
    }
    return Record(vexonetsdk::sdk_s::VLIBPluginAction_S(session.Get()) < 0, __LINE__);
}

}  // namespace vexonetwork::hook
