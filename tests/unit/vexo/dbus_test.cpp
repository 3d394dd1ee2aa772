#include <dbus/dbus-glib.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>

#include <string>

#include <vexonetsdk/dbus_client.h>

#include "support/process.h"

namespace {

using testing::StartsWith;
using vexonetsdk::dbus::DBusClient;

constexpr char kBus[] = "org.freedesktop.DBus";

/// A message bus of the test's own, which is the session bus.
class Bus {
  public:
    Bus() {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/tmp/bus", 1);
        // The parent of a forking daemon ends when the bus can be called.
        pid = std::stoi(vexotest::Must(
            "dbus-daemon --session --fork --print-pid --address=unix:path=/tmp/bus"));
    }
    void End() const { ::kill(pid, SIGKILL); }

  private:
    pid_t pid;
};

DBusClient ClientOf(const std::string& name) {
    return {name, "/", kBus, DBUS_BUS_SESSION};
}

/// Calls a method with one string.
int Call(DBusClient& client, const std::string& method, const std::string& argument) {
    return client.NewMessage(method) == 0 && client.Append(argument) == 0
                   && client.SendMessage(true, -7) == 0
               ? 0
               : -1;
}

TEST(BusClient, CallsAndTakesTheReply) {
    const Bus bus;
    DBusClient client = ClientOf(kBus);
    std::string owner = "untouched";
    EXPECT_EQ(Call(client, "GetNameOwner", "com.example.Nobody"), -1);
    EXPECT_THAT(client.LastError(), testing::HasSubstr("no such name"));
    ASSERT_EQ(Call(client, "NameHasOwner", kBus), 0);
    EXPECT_EQ(client.GetReply(owner), -1) << "a boolean";
    EXPECT_EQ(owner, "untouched");
    ASSERT_EQ(Call(client, "GetNameOwner", kBus), 0) << client.LastError();
    EXPECT_EQ(client.GetReply(owner), 0);
    EXPECT_EQ(owner, kBus);
    ASSERT_EQ(client.NewMessage("GetId"), 0);
    EXPECT_EQ(client.GetReply(owner), -1) << "the reply before is no reply to this call";
    EXPECT_EQ(client.SendMessage(false, -1), 0);
    EXPECT_EQ(client.SendMessage(true, -1), -1) << "it was sent";
}

TEST(BusClient, OutlivesTheBusAndWhatTheLibraryWouldEndTheProcessFor) {
    const Bus bus;
    DBusClient client = ClientOf(kBus);
    EXPECT_TRUE(client.IsServerReady());
    EXPECT_EQ(ClientOf("no name").NewMessage("Get") + client.NewMessage("no method"), -2);
    for (const std::string& text :
         {std::string("\xc3\x28"), std::string("a\0b", 3), std::string(1 << 27, 'a')}) {
        EXPECT_EQ(Call(client, "GetNameOwner", text), -1);
    }
    bus.End();
    EXPECT_EQ(Call(client, "GetNameOwner", kBus), -1);
    EXPECT_EQ(Call(client, "GetNameOwner", kBus), -1);
    EXPECT_THAT(client.LastError(), StartsWith("the message bus cannot be reached: "));
}

}  // namespace
