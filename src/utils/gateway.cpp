#include <vexo/default_gateway.h>
#include <vexo/event_log.h>
#include <vexobase/log.h>
#include <vexonetwork/utils/gateway.h>
#include <vlib/error.h>

namespace vexonetwork::utils {

namespace {

constexpr int kWarning = 2;
constexpr int kEventNoneToNone = 293606159;
constexpr int kEventRemoved = 293606160;
constexpr int kEventChanged = 293606161;

void WriteEvent(int event, const char* first, const char* second) {
    VEXOLogSet1(kWarning, 1, event, first, second, "", "", "", "", "");
}

void WriteChangeEvent(const IPAddress& former, const IPAddress& latter) {
    if (!latter.IsEmpty()) {
        WriteEvent(kEventChanged, former.ToCString(), latter.ToCString());
    } else if (!former.IsEmpty()) {
        WriteEvent(kEventRemoved, former.ToCString(), "");
    } else {
        // The message tables have an entry of its own for this; they are looked up by number.
        WriteEvent(kEventNoneToNone, latter.ToCString(), "");
    }
}

}  // namespace

int Gateway::Get(IPAddress& address) {
    char text[20] = {};
    if (VEXONetDefaultGatewayGet(text, sizeof text) < 0) {
        VEXO_LOG(LOG_ERR, "get gateway failed [0x%04X %s:%d]", static_cast<unsigned>(VLIBCErrGet()),
                 VLIBCErrFile(), VLIBCErrLine());
        return -1;
    }
    address = std::string(text);
    return 0;
}

int Gateway::GetConfig(IPAddress& address) {
    char text[20] = {};
    if (VEXONetDefaultGatewayGetConf(text, sizeof text) < 0) {
        VEXO_LOG(LOG_ERR, "get gateway config failed [0x%04X %s:%d]",
                 static_cast<unsigned>(VLIBCErrGet()), VLIBCErrFile(), VLIBCErrLine());
        return -1;
    }
    address = std::string(text);
    return 0;
}

int Gateway::Set(const IPAddress& address) {
    IPAddress current;
    if (Get(current) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to get gateway");
        return -1;
    }
    IPAddress configured;
    if (GetConfig(configured) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to get gateway conf");
        return -1;
    }
    if (address == current && address == configured) {
        return 0;
    }
    if (VEXONetDefaultGatewaySetConf(address.ToCString()) < 0) {
        VEXO_LOG(LOG_ERR, "set gateway conf failed");
        return -1;
    }
    if (VEXONetDefaultGatewaySet(address.ToCString()) < 0) {
        VEXO_LOG(LOG_ERR, "set gateway failed");
        return -1;
    }
    WriteChangeEvent(configured, address);
    return 0;
}

int Gateway::Backup() {
    if (Get(backup) != 0 || (backup.IsEmpty() && GetConfig(backup) != 0)) {
        return -1;
    }
    if (backup.IsEmpty()) {
        VEXO_LOG(LOG_ERR, "Failed to backup gateway");
        return -1;
    }
    return 0;
}

int Gateway::Restore() {
    return backup.IsEmpty() ? -1 : Set(backup);
}

}  // namespace vexonetwork::utils
