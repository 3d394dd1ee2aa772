#pragma once

#include <string>
#include <vector>

#include <vexobase/unique_fd.h>

namespace vexotest {

/// Puts router advertisements on a link as no real router would: from any address, with any hop
/// limit, as fast as it can.
class Advertiser {
  public:
    /// @param netns   where the port is
    /// @param ifname  an Ethernet port
    Advertiser(const std::string& netns, const std::string& ifname);

    struct Advertisement {
        std::string source = "fe80::1";
        unsigned char hopLimit = 255;
        unsigned char flags = 0;  ///< as in byte 5 of the message
        /// Options as bytes; a prefix for autoconfiguration when none are given.
        std::vector<unsigned char> options = {};
    };

    /// @return whether the link took it
    bool Send(const Advertisement& advertisement);

  private:
    vexobase::UniqueFd socket;
};

}  // namespace vexotest
