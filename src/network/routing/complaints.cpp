#include "network/routing/complaints.h"

#define VEXO_LOG_SOURCE "policy_route"
#include <vexobase/log.h>

namespace vexonetwork::network {

void Complaints::Say(const std::string& text) {
    constexpr int kMaxLines = 50;
    last = text;
    if (!present.insert(text).second || former.contains(text)) {
        return;
    }
    if (++count <= kMaxLines) {
        VEXO_LOG(LOG_ERR, "%s", text.c_str());
    } else if (count == kMaxLines + 1) {
        VEXO_LOG(LOG_ERR, "Further routes and rules could not be set either");
    }
}

}  // namespace vexonetwork::network
