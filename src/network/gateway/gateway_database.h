#pragma once

#include <string>
#include <vector>

#include <vexonetwork/network/gateway_info.h>
#include <vexonetwork/utils/config.h>

#include "network/routing/section_file.h"

namespace vexonetwork::network::module {

/// The addresses last configured for each interface, for the time of one request: the file is read
/// when it is first needed, and again only when somebody has changed it since. The configuration's
/// restore and people do.
class GatewayDatabase {
  public:
    /// @return 1 when the file has another value (or none), 0 when the same, -1 after a log line
    int IsChanged(const std::string& section, const std::string& key, const std::string& value);

    /// Stores the chosen addresses of every entry; all else that the file holds stays.
    /// @return 0, or -1 after a log line
    int Store(GATEWAY_TYPE list, const std::vector<GatewayInfo>& entries, bool gateway, bool dns);

  private:
    int Load();

    utils::ConfigSection file;
    utils::SectionMap sections;
    FileStamps read;  ///< the file as it was then
    bool isRead = false;
};

}  // namespace vexonetwork::network::module
