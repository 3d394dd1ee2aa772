#include <dbus/dbus-glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/types.h>

#include <string>
#include <thread>

#include <vexonetsdk/dbus_client.h>
#include <vexonetsdk/dbus_server.h>

#include "support/files.h"
#include "support/process.h"
#include "support/syslog_spy.h"

namespace {

using vexonetsdk::dbus::DBusClient;
using vexonetsdk::dbus::DBusServer;
using vexotest::SyslogSpy;

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kAddress[] = "unix:path=/tmp/vexotest-bus";

/// A message bus of the test's own, which is the session bus.
class Bus {
  public:
    Bus() {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", kAddress, 1);
        // The parent of a forking daemon ends when the bus can be called.
        const auto started = vexotest::Run({"dbus-daemon", "--session", "--fork", "--print-pid",
                                            std::string("--address=") + kAddress});
        EXPECT_EQ(started.status, 0) << started.err;
        pid = std::stoi("0" + started.out);
    }
    ~Bus() { End(); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    void End() {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            pid = 0;
        }
    }

  private:
    pid_t pid = 0;
};

/// Calls a method of the bus itself with one string.
int Call(DBusClient& client, const std::string& method, const std::string& argument) {
    return client.NewMessage(method) == 0 && client.Append(argument) == 0
                   && client.SendMessage(true, -1) == 0
               ? 0
               : -1;
}

TEST(BusClient, CallsAndTakesTheReply) {
    const Bus bus;
    const int before = vexotest::OpenDescriptors();
    {
        DBusClient client(kBus, "/", kBus, DBUS_BUS_SESSION);
        std::string owner = "untouched";
        EXPECT_EQ(client.GetReply(owner), -1) << "nothing was sent";
        ASSERT_EQ(Call(client, "GetNameOwner", kBus), 0) << client.LastError();
        EXPECT_EQ(client.GetReply(owner), 0);
        EXPECT_EQ(owner, kBus);
        EXPECT_EQ(client.LastError(), "");

        owner = "untouched";
        EXPECT_EQ(Call(client, "GetNameOwner", "com.example.Nobody"), -1);
        EXPECT_NE(client.LastError().find("no such name"), std::string::npos) << client.LastError();
        EXPECT_EQ(client.GetReply(owner), -1) << "the reply before is no reply to this call";
        ASSERT_EQ(Call(client, "NameHasOwner", kBus), 0);
        EXPECT_EQ(client.GetReply(owner), -1) << "a boolean";
        EXPECT_EQ(owner, "untouched");

        ASSERT_EQ(client.NewMessage("GetId"), 0);
        EXPECT_EQ(client.SendMessage(false, -1), 0);
        EXPECT_EQ(client.SendMessage(true, -1), -1) << "it was sent";
        EXPECT_EQ(client.Append("x"), -1);
    }
    EXPECT_EQ(vexotest::OpenDescriptors(), before);
}

TEST(BusClient, RefusesWhatTheLibraryWouldEndTheProcessFor) {
    const Bus bus;
    DBusClient client(kBus, "/", kBus, DBUS_BUS_SESSION);
    ASSERT_EQ(client.NewMessage("GetNameOwner"), 0);
    EXPECT_EQ(client.Append("\xc3\x28"), -1);
    EXPECT_EQ(client.Append(std::string("a\0b", 3)), -1);
    EXPECT_EQ(client.Append(std::string(1 << 27, 'a')), -1);
    EXPECT_EQ(client.Append(kBus), 0) << "the call is still good";
    EXPECT_EQ(client.SendMessage(true, -7), 0);
    EXPECT_EQ(client.NewMessage("no method"), -1);
    EXPECT_EQ(DBusClient("no name", "/", kBus, DBUS_BUS_SESSION).NewMessage("Get"), -1);
    EXPECT_EQ(DBusClient(kBus, "no path", kBus, DBUS_BUS_SESSION).NewMessage("Get"), -1);
    EXPECT_EQ(DBusClient(kBus, "/", "nointerface", DBUS_BUS_SESSION).NewMessage("Get"), -1);
    EXPECT_FALSE(DBusClient("no name", "/", kBus, DBUS_BUS_SESSION).IsServerReady());
}

TEST(BusClient, SeesWhoIsThereAndOutlivesTheBus) {
    Bus bus;
    DBusClient client(kBus, "/", kBus, DBUS_BUS_SESSION);
    EXPECT_TRUE(client.IsServerReady());
    EXPECT_FALSE(DBusClient("com.example.Nobody", "/", kBus, DBUS_BUS_SESSION).IsServerReady());
    bus.End();
    EXPECT_EQ(Call(client, "GetNameOwner", kBus), -1);
    EXPECT_NE(client.LastError(), "");
    EXPECT_EQ(Call(client, "GetNameOwner", kBus), -1);
    EXPECT_EQ(client.LastError().find("the message bus cannot be reached: "), 0u)
        << client.LastError();
    EXPECT_FALSE(client.IsServerReady());
}

/// An object without methods, on the bus under its name.
class Served {
  public:
    ~Served() { g_object_unref(object); }

    int Initialize() { return server.Initialize(G_OBJECT_TYPE(object), &kInfo, object); }

    GObject* object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    DBusServer server{"com.example.Test", "/", DBUS_BUS_SESSION};

  private:
    static constexpr DBusGObjectInfo kInfo{1, nullptr, 0, "", "", ""};
};

bool IsServed() {
    return DBusClient("com.example.Test", "/", "com.example.Test", DBUS_BUS_SESSION)
        .IsServerReady();
}

TEST(BusServer, OwnsItsNameUntilItDies) {
    const Bus bus;
    const int before = vexotest::OpenDescriptors();
    {
        Served served;
        ASSERT_EQ(served.Initialize(), 0);
        EXPECT_TRUE(IsServed());
        EXPECT_EQ(served.Initialize(), -1) << "once is enough";
        const SyslogSpy log;
        Served second;
        EXPECT_EQ(second.Initialize(), -1);
        EXPECT_EQ(second.server.StartLoop(), -1);
        EXPECT_TRUE(log.Has("dbus_server",
                            "Failed to take the bus name [com.example.Test]: it has an owner"));
        EXPECT_TRUE(IsServed());
    }
    EXPECT_FALSE(IsServed());
    // GLib keeps one descriptor of its own to wake its loop.
    EXPECT_LE(vexotest::OpenDescriptors(), before + 1);
}

TEST(BusServer, LeavesItsLoopWhenToldTo) {
    const Bus bus;
    Served served;
    ASSERT_EQ(served.Initialize(), 0);
    std::thread other([&] { served.server.QuitLoop(); });
    EXPECT_EQ(served.server.StartLoop(), 0) << "whether told before or after it began";
    other.join();
    // The object may go before the server does.
    DBusServer server("com.example.Other", "/", DBUS_BUS_SESSION);
    GObject* object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    static constexpr DBusGObjectInfo kInfo{1, nullptr, 0, "", "", ""};
    ASSERT_EQ(server.Initialize(G_TYPE_OBJECT, &kInfo, object), 0);
    g_object_unref(object);
}

TEST(BusServer, LeavesItsLoopWhenTheBusIsLost) {
    Bus bus;
    Served served;
    ASSERT_EQ(served.Initialize(), 0);
    bus.End();
    const SyslogSpy log;
    EXPECT_EQ(served.server.StartLoop(), -1);
    EXPECT_TRUE(log.Has("dbus_server", "The message bus of [com.example.Test] went away"));
}

TEST(BusServer, FailsWithoutABus) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/tmp/no-bus", 1);
    const SyslogSpy log;
    Served served;
    EXPECT_EQ(served.Initialize(), -1);
    EXPECT_EQ(served.server.StartLoop(), -1);
    ASSERT_FALSE(log.Messages().empty());
    EXPECT_EQ(log.Messages()[0].find("Failed to connect to the message bus: "), 0u);
}

}  // namespace
