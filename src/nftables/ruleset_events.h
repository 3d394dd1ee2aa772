#pragma once

#include <vexobase/unique_fd.h>

namespace vexonetwork::nftables {

/// A socket that becomes readable when any nftables ruleset changes (NFNLGRP_NFTABLES). What it
/// tells is only that: who wants to know more asks OwnTable::Holds(). It does not block.
/// @return none, with errno, where the kernel has no nftables
vexobase::UniqueFd ListenToRulesets();

}  // namespace vexonetwork::nftables
