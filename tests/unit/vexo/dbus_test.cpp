#include <dbus/dbus-glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <string>
#include <thread>

#include <vexonetsdk/dbus_client.h>
#include <vexonetsdk/dbus_server.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using testing::StartsWith;
using vexonetsdk::dbus::DBusClient;
using vexonetsdk::dbus::DBusServer;
using vexotest::SyslogSpy;

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kName[] = "com.example.Test";

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

/// An object without methods, on the bus under its name.
struct Served {
    ~Served() { g_object_unref(object); }

    int Initialize() {
        static constexpr DBusGObjectInfo kInfo{1, nullptr, 0, "", "", ""};
        return server.Initialize(G_OBJECT_TYPE(object), &kInfo, object);
    }

    GObject* object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    DBusServer server{kName, "/", DBUS_BUS_SESSION};
};

TEST(BusServer, OwnsItsNameUntilItDiesOrTheBusIsLost) {
    const Bus bus;
    const SyslogSpy log;
    {
        Served served;
        ASSERT_EQ(served.Initialize(), 0);
        EXPECT_EQ(served.Initialize(), -1) << "once is enough";
        Served second;
        EXPECT_EQ(second.Initialize(), -1);
        EXPECT_EQ(log.Messages().back(),
                  "Failed to take the bus name [com.example.Test]: it has an owner");
        EXPECT_EQ(second.server.StartLoop(), -1);
        EXPECT_TRUE(ClientOf(kName).IsServerReady());
    }
    const int before = vexotest::OpenDescriptors();
    Served served;
    EXPECT_FALSE(ClientOf(kName).IsServerReady());
    ASSERT_EQ(served.Initialize(), 0);
    std::thread other([&] { served.server.QuitLoop(); });
    EXPECT_EQ(served.server.StartLoop(), 0) << "whether told before or after it began";
    other.join();
    bus.End();
    EXPECT_EQ(served.server.StartLoop(), -1);
    EXPECT_EQ(log.Messages().back(), "The message bus of [com.example.Test] went away");
    EXPECT_EQ(Served().Initialize(), -1);
    EXPECT_THAT(log.Messages().back(), StartsWith("Failed to connect to the message bus: "));
    EXPECT_LE(vexotest::OpenDescriptors(), before + 1) << "the lost connection";
}

}  // namespace
