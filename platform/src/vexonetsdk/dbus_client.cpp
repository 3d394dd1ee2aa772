#include "vexonetsdk/dbus_client.h"

#include <dbus/dbus.h>

#include <algorithm>
#include <utility>

#include "vexonetsdk/bus_connection.h"

namespace vexonetsdk::dbus {

namespace {

void Drop(DBusMessage*& message) {
    if (DBusMessage* dropped = std::exchange(message, nullptr)) {
        dbus_message_unref(dropped);
    }
}

/// The library ends the process over text it would not put on the wire.
bool IsSendable(const std::string& text) {
    // The other parts of a message with one argument take far less than this.
    constexpr std::size_t kRoomForHeader = 65536;
    return text.find('\0') == text.npos && dbus_validate_utf8(text.c_str(), nullptr)
           && text.size() <= DBUS_MAXIMUM_MESSAGE_LENGTH - kRoomForHeader;
}

}  // namespace

DBusClient::DBusClient(const std::string& destination, const std::string& objectPath,
                       const std::string& interfaceName, int bus)
    : busName(destination), path(objectPath), interface(interfaceName), busType(bus) {}

DBusClient::~DBusClient() {
    Drop(message);
    Drop(reply);
    CloseBus(connection);
}

bool DBusClient::Connect() const {
    if (connection != nullptr && dbus_connection_get_is_connected(connection)) {
        return true;
    }
    CloseBus(std::exchange(connection, nullptr));
    BusError error;
    connection = OpenBus(busType, error);
    if (connection == nullptr) {
        lastError = "the message bus cannot be reached: " + error.Text();
        return false;
    }
    return true;
}

int DBusClient::NewMessage(const std::string& method) {
    Drop(message);
    Drop(reply);
    lastError.clear();
    if (!dbus_validate_bus_name(busName.c_str(), nullptr)
        || !dbus_validate_path(path.c_str(), nullptr)
        || !dbus_validate_interface(interface.c_str(), nullptr)
        || !dbus_validate_member(method.c_str(), nullptr)) {
        lastError = "no valid bus name, path, interface or method";
        return -1;
    }
    message = dbus_message_new_method_call(busName.c_str(), path.c_str(), interface.c_str(),
                                           method.c_str());
    if (message == nullptr) {
        lastError = "out of memory";
        return -1;
    }
    return 0;
}

int DBusClient::Append(const std::string& text) {
    if (message == nullptr) {
        lastError = "no call was begun";
        return -1;
    }
    if (!IsSendable(text)) {
        lastError = "the argument is not UTF-8 text, or too long for a message";
        return -1;
    }
    const char* pointer = text.c_str();
    if (!dbus_message_append_args(message, DBUS_TYPE_STRING, &pointer, DBUS_TYPE_INVALID)) {
        lastError = "out of memory";
        return -1;
    }
    return 0;
}

int DBusClient::SendMessage(bool wait, int timeout) {
    if (message == nullptr) {
        lastError = "no call was begun";
        return -1;
    }
    if (!Connect()) {
        return -1;
    }
    Drop(reply);
    if (!wait) {
        dbus_message_set_no_reply(message, true);
        const bool queued = dbus_connection_send(connection, message, nullptr);
        Drop(message);
        dbus_connection_flush(connection);
        lastError = queued ? "" : "out of memory";
        return queued ? 0 : -1;
    }
    BusError error;
    reply = dbus_connection_send_with_reply_and_block(
        connection, message, std::max(timeout, DBUS_TIMEOUT_USE_DEFAULT), error.Get());
    Drop(message);
    if (reply == nullptr) {
        lastError = error.Text();
        return -1;
    }
    return 0;
}

int DBusClient::GetReply(std::string& text) {
    if (reply == nullptr) {
        lastError = "there is no reply";
        return -1;
    }
    BusError error;
    const char* pointer = nullptr;
    if (!dbus_message_get_args(reply, error.Get(), DBUS_TYPE_STRING, &pointer, DBUS_TYPE_INVALID)) {
        lastError = error.Text();
        return -1;
    }
    text = pointer;
    return 0;
}

bool DBusClient::IsServerReady() const {
    if (!dbus_validate_bus_name(busName.c_str(), nullptr) || !Connect()) {
        return false;
    }
    BusError error;
    const bool owned = dbus_bus_name_has_owner(connection, busName.c_str(), error.Get());
    if (error.IsSet()) {
        lastError = error.Text();
    }
    return owned;
}

}  // namespace vexonetsdk::dbus
