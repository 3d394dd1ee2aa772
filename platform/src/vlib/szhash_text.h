#pragma once

#include <string_view>

#include "vlib/szhash.h"

namespace vlib {

inline std::string_view KeyOf(const VLIBSZPAIR& pair) {
    return {pair.key, pair.keyLength};
}
inline std::string_view ValueOf(const VLIBSZPAIR& pair) {
    return {pair.value, pair.valueLength};
}

/// VLIBCSzHashSetValue of texts that are not NUL-terminated.
int SetPair(VLIBSZHASH* hash, std::string_view key, std::string_view value);

/// @return the slot of `key` in `hash->pairs`, or -1 when it is absent
int FindPair(const VLIBSZHASH& hash, std::string_view key);

}  // namespace vlib
