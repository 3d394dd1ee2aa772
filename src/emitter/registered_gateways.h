#pragma once

#include <vexonetwork/network/gateway_follower.h>

namespace vexonetwork {

/// Whatever is the route module at the moment of each call. One that knows no typed calls is only
/// requested to elect, whichever interface has changed; without a module nothing happens.
network::module::GatewayFollower& RegisteredGateways();

}  // namespace vexonetwork
