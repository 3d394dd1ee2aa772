#include <sys/mount.h>

#include <array>

#include <vexo/default_gateway.h>
#include <vexonetsdk/dbus_client.h>
#include <vexonetwork/dbus/bus_names.h>
#include <vlib/exec.h>

#include "ratio.h"
#include "raw_files.h"
#include "support/appliance.h"

namespace vexobench {
namespace {

constexpr char kFolder[] = "/etc/iproute2/config";
constexpr std::array kFiles = {"/gateway_v4_priority", "/resolv4.conf", "/gateway_database"};

/// Puts the configuration folder on a real disk, where a sync costs what it costs.
void UseRealDisk() {
    const std::string folder = Scratch() + "/config";
    vexotest::Must({"rm", "-rf", folder});
    vexotest::Must({"mkdir", "-p", folder, kFolder});
    vexotest::Must({"mount", "--bind", folder, kFolder});
}

Measurement AddGateway() {
    UseRealDisk();
    const vexotest::Uplink uplink = vexotest::MakeUplink(3);
    vexotest::Appliance appliance;
    appliance.StartDaemon();
    vexonetsdk::dbus::DBusClient client(vexonetwork::dbus::kBusName, "/",
                                        vexonetwork::dbus::kBusName, 0);
    int turn = 0;
    const auto add = [&] {
        client.NewMessage("AddGatewayData");
        client.Append(R"({"type": "GTYPE_V4", "ifname": "wan3", "priority": 0, "class": "ethernet",
            "gateway": ")"
                      + uplink.gateway + R"(", "dns": "192.0.2.)" + std::to_string(++turn % 250)
                      + "\"}");
        client.SendMessage(true, -1);
    };
    add();
    std::array<std::string, kFiles.size()> bytes;
    for (size_t i = 0; i < kFiles.size(); ++i) {
        bytes[i] = vexotest::ReadFile(std::string(kFolder) + kFiles[i]);
    }
    const auto bare = [&] {
        for (size_t i = 0; i < kFiles.size(); ++i) {
            WriteSyncRename(std::string(kFolder) + kFiles[i], bytes[i]);
        }
        VLIBCExecl(VLIB_EXEC_QUIET, "/sbin/ip", "route", "add", "default", "via",
                   uplink.gateway.c_str(), "dev", "wan3", "src", uplink.address.c_str(), nullptr);
    };
    const Measurement result = Alternate(200, add, bare, [] { VEXONetDefaultGatewaySet(nullptr); });
    ::umount(kFolder);
    return result;
}

}  // namespace

std::vector<Figure> GatewayFigures() {
    return {{"AddGatewayData with election",
             "the same files written, synced and renamed, and the same /sbin/ip run", 1.2,
             AddGateway}};
}

}  // namespace vexobench
