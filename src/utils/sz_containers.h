#pragma once

#include <vexobase/unique_handle.h>
#include <vlib/szhash.h>
#include <vlib/szlist.h>

namespace vexonetwork::utils {

/// Owners of the platform's string containers; empty when the allocation failed.
using UniqueSzList = vexobase::UniqueHandle<VLIBSZLIST, VLIBCSzListFree>;
using UniqueSzHash = vexobase::UniqueHandle<VLIBSZHASH, VLIBCSzHashFree>;

}  // namespace vexonetwork::utils
