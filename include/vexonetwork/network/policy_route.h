#pragma once

#include <string>

namespace vexonetwork::network {

enum class IPType { V4, V6 };

/// Policy routing: tables of routes that packets of a source are looked up in before the main one.
///
/// The routes of table T stand in "/etc/iproute2/config/T-table", one section each with the keys
/// `destination` (prefix or "default"), `gateway`, `ifname` and `metric`; a route belongs to the
/// family of its destination, or of its gateway when the destination is "default". A default
/// route via "0.0.0.0" or "::" is one by the device alone. Numbers of tables are kept in
/// "/etc/iproute2/rt_tables". Rules and routes are set by "/sbin/ip", see ip-rule(8).
///
/// Results are 0, or -1 after a log line. No lock is taken.
class PolicyRoute {
  public:
    /// Removes the table's rules of one family and flushes its routes. A table without a number
    /// has nothing in the kernel, and nothing is run.
    int DisableTable(IPType type, const std::string& table);

    /// Installs the table's routes of one family and a rule that sends packets from `source`
    /// ("all", an address or a prefix) there. A table without a number gets one. A route that is
    /// malformed or refused is logged and left out, and the result is then -1; a table without
    /// routes of the family is left alone.
    int EnableTable(IPType type, const std::string& table, const std::string& source);
};

}  // namespace vexonetwork::network
