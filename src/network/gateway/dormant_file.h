#pragma once

#include <vexonetwork/network/gateway_list.h>

namespace vexonetwork::network::module {

// The dormant entries of a list in a file of their own, beside the priority file, which does not
// have them. One that the machine has booted often without a link of its interface is forgotten.

/// An entry sleeps through as many boots of the machine.
inline constexpr unsigned kMaxBootsAsleep = 64;

/// Adds what the file has to the list that was read from the priority file, which goes before.
void LoadDormant(GATEWAY_TYPE type, GatewayList& list);

/// Brings the file in step with the list; without a dormant entry there is none. A failure leaves a
/// log line and the former file.
void StoreDormant(GATEWAY_TYPE type, const GatewayList& list);

}  // namespace vexonetwork::network::module
