#include "network/devices/neighbour_table.h"

#include <string.h>

#include <cerrno>

#include <vexobase/log.h>
#include <vexonetlink/snapshot.h>

#include "network/devices/bridges.h"

namespace vexonetwork::network {

std::string NeighbourTable::MacOf(unsigned index, in_addr host) {
    if (!socket) {
        socket = vexonetlink::Socket::Open();
    }
    const auto neighbour =
        socket ? vexonetlink::FindNeighbour(*socket, index, vexobase::FromInet(host))
               : std::nullopt;
    if (neighbour) {
        return neighbour->IsValid() ? MacText(neighbour->hardwareAddress) : "";
    }
    // Also when the interface has just gone.
    if (errno != ENOENT && errno != ENODEV) {
        if (logBudget.Spend()) {
            VEXO_LOG(LOG_ERR, "Failed to ask for a neighbour: %s", ::strerror(errno));
        }
        socket.reset();
    }
    return "";
}

}  // namespace vexonetwork::network
