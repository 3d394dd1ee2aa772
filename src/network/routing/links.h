#pragma once

#include <map>
#include <string>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network {

/// What a route needs to know of an interface.
struct LinkState {
    unsigned index = 0;  ///< 0: there is none of this name
    bool isUp = false;   ///< the kernel takes routes by it (IFF_UP)
};

/// The interfaces as they are now, each asked for once.
class Links {
  public:
    const LinkState& Find(const std::string& ifname);

  private:
    LinkState Ask(const std::string& ifname);

    std::map<std::string, LinkState> known;
    vexobase::UniqueFd socket;
};

}  // namespace vexonetwork::network
