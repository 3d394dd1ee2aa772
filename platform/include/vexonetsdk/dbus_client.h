#pragma once

#include <string>

struct DBusConnection;
struct DBusMessage;

namespace vexonetsdk::dbus {

/// Calls on one object of a message bus over a connection of its own. For one thread at a time.
/// Every operation returns a negative number on failure.
class DBusClient {
  public:
    /// @param bus  a DBusBusType: 0 session, which is the appliance's own bus unless
    ///             DBUS_SESSION_BUS_ADDRESS names another at the first connection; 1 system
    DBusClient(const std::string& destination, const std::string& objectPath,
               const std::string& interfaceName, int bus);
    virtual ~DBusClient();
    DBusClient(const DBusClient&) = delete;
    DBusClient& operator=(const DBusClient&) = delete;

    /// Begins a call; what was begun before is dropped.
    int NewMessage(const std::string& method);

    /// Appends one string argument. Text that is not UTF-8 or holds a NUL is refused.
    int Append(const std::string& text);

    /// Sends the call.
    /// @param wait     whether to wait for the reply; an error reply is a failure
    /// @param timeout  milliseconds; -1 for the library's default
    int SendMessage(bool wait, int timeout);

    /// Takes the single string of the reply; `text` is unchanged on failure.
    int GetReply(std::string& text);

    /// Whether the bus name has an owner.
    bool IsServerReady() const;

    /// What the last failed operation had to say, for people; "" when nothing failed.
    const std::string& LastError() const { return lastError; }

  private:
    bool Connect() const;

    std::string busName;
    std::string path;
    std::string interface;
    int busType;
    mutable DBusConnection* connection = nullptr;
    DBusMessage* message = nullptr;
    DBusMessage* reply = nullptr;
    mutable std::string lastError;
};

}  // namespace vexonetsdk::dbus
