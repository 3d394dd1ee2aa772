#include "vlib/plugin.h"

#include <limits.h>

#include <cctype>
#include <string_view>

#include "plugin_session.h"
#include "vlib/error.h"

namespace {

bool IsFolderName(const char* name) {
    const std::string_view text(name == nullptr ? "" : name);
    return !text.empty() && text != "." && text != ".." && text.find('/') == text.npos
           && text.size() <= NAME_MAX;
}

bool IsKey(const char* key) {
    const std::string_view text(key == nullptr ? "" : key);
    if (text.empty() || std::isdigit(static_cast<unsigned char>(text.front())) != 0) {
        return false;
    }
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') {
            return false;
        }
    }
    return true;
}

int Refuse() {
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
    return -1;
}

}  // namespace

extern "C" {

VLIBPLUGIN* VLIBPluginSDKInit(const char* category, const char* name) {
    if (!IsFolderName(category) || !IsFolderName(name)) {
        Refuse();
        return nullptr;
    }
    return new VLIBPLUGIN{.category = category, .name = name, .arguments = {}};
}

int VLIBPluginSetArg(VLIBPLUGIN* session, const char* key, const char* value) {
    if (session == nullptr || !IsKey(key) || value == nullptr) {
        return Refuse();
    }
    session->arguments[key] = value;
    return 0;
}

int VLIBPluginSetBlocking(VLIBPLUGIN* session, int blocking) {
    if (session == nullptr || (blocking != 0 && blocking != 1)) {
        return Refuse();
    }
    session->blocking = blocking == 1;
    return 0;
}

void VLIBPluginExit(VLIBPLUGIN* session) {
    delete session;
}
}
