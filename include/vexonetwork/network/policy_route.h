#pragma once

#include <memory>
#include <string>

namespace vexonetwork::network {

enum class IPType { V4, V6 };

/// Policy routing: tables of routes that packets of a source are looked up in before the main one.
///
/// The routes of table T stand in "/etc/iproute2/config/T-table", one section each with the keys
/// `destination` (prefix or "default"), `gateway`, `ifname` and `metric`; a route belongs to the
/// family of its destination, or of its gateway when the destination is "default". A default
/// route via "0.0.0.0" or "::" is one by the device alone. A route by an interface that is not
/// there, or down, waits for it. Numbers of tables are kept in "/etc/iproute2/rt_tables".
///
/// The table "static" for "all" is that of the static routes: only its default routes stand in it,
/// the others in the main table, and only while it has one there are rules, just before the main
/// table's. Those of other tables for "all" have that place too, behind the rules of others.
///
/// Rules and routes are set by rtnetlink(7) and carry protocol 86; those of others are left alone.
/// Results are 0, or -1 after a log line; an object says what stays wrong only once. No lock is
/// taken. For one thread.
class PolicyRoute {
  public:
    PolicyRoute();
    ~PolicyRoute();
    PolicyRoute(PolicyRoute&&) noexcept;
    PolicyRoute& operator=(PolicyRoute&&) noexcept;

    /// Removes the table's rules of one family, then its routes. A table without a number has
    /// nothing in the kernel.
    int DisableTable(IPType type, const std::string& table);

    /// Installs the table's routes of one family and a rule that sends packets from `source`
    /// ("all", an address or a prefix) there, beside its other rules; routes of before that have
    /// left the file go. A table without a number gets one. A route that is malformed or refused
    /// is logged and left out, and the result is then -1; a table without routes of the family is
    /// left alone.
    int EnableTable(IPType type, const std::string& table, const std::string& source);

    /// What DisableTable() and EnableTable() come to, without a moment in which a packet finds
    /// less than before or after.
    int RenewTable(IPType type, const std::string& table, const std::string& source);

    /// Whether the last work on a family could not read the table's file, or get a number because
    /// somebody else held the lock of the numbers. Nothing was taken away then; do it again.
    bool IsBehind() const;

  private:
    struct Memory;

    int Install(IPType type, const std::string& table, const std::string& source, bool alone);

    std::unique_ptr<Memory> memory;
};

}  // namespace vexonetwork::network
