#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

#include <vexobase/log_budget.h>
#include <vexonetlink/socket.h>

namespace vexonetwork::network {

/// The kernel's neighbour table, against which the claims of strangers are held. For one thread.
class NeighbourTable {
  public:
    /// The MAC that the kernel sends to for a host on an interface, as MacText tells it; "" while
    /// it knows none, of which a failure is logged.
    std::string MacOf(unsigned index, in_addr host);

  private:
    std::optional<vexonetlink::Socket> socket;  ///< opened when first needed
    vexobase::LogBudget logBudget{10};          ///< strangers have us ask
};

}  // namespace vexonetwork::network
