#pragma once

#include <string_view>

#include "vlib/szlist.h"

namespace vlib {

/// VLIBCSzListPush of a text that is not NUL-terminated.
int PushText(VLIBSZLIST* list, std::string_view text);

}  // namespace vlib
