#pragma once

#include <vexobase/unique_fd.h>

namespace vexonetwork::nftables {

/// A socket that becomes readable when any nftables ruleset changes (NFNLGRP_NFTABLES). What it
/// tells is only that: who wants to know more asks OwnTable::Holds(). It does not block.
/// @return none, with errno, where the kernel has no nftables
vexobase::UniqueFd ListenToRulesets();

/// Forgets what such a socket has told, also what was lost for want of room. One that is none tells
/// nothing.
void DrainRulesets(const vexobase::UniqueFd& socket);

}  // namespace vexonetwork::nftables
