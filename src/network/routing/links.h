#pragma once

#include <map>
#include <string>

#include <vexobase/unique_fd.h>

namespace vexonetwork::network {

/// What a route needs to know of an interface.
struct Link {
    unsigned index = 0;  ///< 0: there is none of this name
    bool isUp = false;   ///< the kernel takes routes by it (IFF_UP)
};

/// The interfaces as they are now, each asked for once.
class Links {
  public:
    const Link& Find(const std::string& ifname);

  private:
    Link Ask(const std::string& ifname);

    std::map<std::string, Link> known;
    vexobase::UniqueFd socket;
};

}  // namespace vexonetwork::network
