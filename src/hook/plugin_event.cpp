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

bool SetArguments(VLIBPLUGIN* session, std::initializer_list<PluginArgument> arguments) {
    return std::ranges::all_of(arguments, [session](const PluginArgument& argument) {
        return VLIBPluginSetArg(session, argument.first, argument.second.c_str()) >= 0;
    });
}

}  // namespace

std::optional<std::string> LinkWord(const std::string& ifname) {
    if (network::IsEthernetLinkDetected(ifname)) {
        return "true";
    }
    return Exists(ifname) ? std::optional<std::string>("false") : std::nullopt;
}

int RunPluginEvent(const char* name, std::initializer_list<PluginArgument> arguments,
                   const char* file, int line) {
    const Session session(VLIBPluginSDKInit("net", name));
    if (session && SetArguments(session.Get(), arguments)
        && VLIBPluginSetBlocking(session.Get(), 1) >= 0
        && vexonetsdk::sdk_s::VLIBPluginAction_S(session.Get()) >= 0) {
        return 0;
    }
    VLIBCErrSetEx(kPluginError, file, line);
    return -1;
}

}  // namespace vexonetwork::hook
