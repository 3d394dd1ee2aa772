#pragma once

#include <string>

#include <vexonetwork/network/gateway_info.h>
#include <vexonetwork/utils/config.h>

namespace vexonetwork::network::module {

// Sections of the gateway files. A failure is 0 or -1 after a log line.

int LoadSections(utils::ConfigSection& file);
int StoreSections(utils::ConfigSection& file);

/// The value of a key; "" when there is none.
std::string ValueOf(const utils::KeyValueMap& pairs, const std::string& key);

GatewayInfo ToEntry(const utils::KeyValueMap& pairs);
void AddEntry(const std::string& section, const GatewayInfo& entry, utils::ConfigSection& file);

}  // namespace vexonetwork::network::module
