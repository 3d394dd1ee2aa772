#include <fcntl.h>
#include <json/json.h>
#include <unistd.h>

#include <cstdio>

#include <vexobase/unique_fd.h>
#include <vexonetwork/network/arpscanner.h>
#include <vexonetwork/network/clientlist.h>
#include <vexonetwork/utils/json_reader.h>

#include "ratio.h"
#include "support/files.h"
#include "support/process.h"

namespace vexobench {
namespace {

using vexonetwork::network::ArpScanner;
using vexonetwork::network::ClientList;

constexpr int kDevices = 10'000;
constexpr int kSilent = 200;
constexpr int kRounds = 30;

/// What a scan reports of so many devices.
std::vector<Json::Value> Reports(int count) {
    std::vector<Json::Value> reports;
    for (int i = 0; i < count; ++i) {
        char mac[32];
        std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x", i / 256, i % 256);
        Json::Value& report = reports.emplace_back();
        report["macAddr"] = mac;
        report["ipAddr"] = "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
        report["netif"] = "br0";
        report["friendlyName"] = "device-" + std::to_string(i);
    }
    return reports;
}

void Merge(const std::vector<Json::Value>& reports, ClientList& list) {
    for (const Json::Value& report : reports) {
        list.UpdateKeysByMac(report["macAddr"].asString(), report, true);
    }
}

Measurement MergeBesideCopy() {
    const std::vector<Json::Value> reports = Reports(kDevices);
    ClientList list;
    Merge(reports, list);
    const Json::Value document = list.GetClientList();
    return Alternate(
        kRounds, [&] { Merge(reports, list); }, [&] { const Json::Value copy = document; });
}

Measurement MergeOfTwiceAsMany() {
    const std::vector<Json::Value> half = Reports(kDevices);
    const std::vector<Json::Value> whole = Reports(2 * kDevices);
    ClientList small;
    ClientList large;
    Merge(half, small);
    Merge(whole, large);
    return Alternate(
        kRounds, [&] { Merge(whole, large); }, [&] { Merge(half, small); });
}

void WriteBytes(const std::string& path, const std::string& bytes) {
    const vexobase::UniqueFd fd(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (::write(fd.Get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::perror(path.c_str());
    }
}

Measurement ListFile() {
    ClientList list;
    Merge(Reports(kDevices), list);
    const Json::Value document = list.GetClientList();
    const std::string path = Scratch() + "/devices";
    return Alternate(
        kRounds, [&] { list.WriteToFile(path); },
        [&] { WriteBytes(path + ".raw", vexonetwork::utils::ToTabbedText(document)); });
}

/// The scan of a bridge with devices that the kernel was told of.
Measurement SilentDevices() {
    const std::string program = "/usr/local/bin/nmblookup";
    vexotest::Must({"cp", VEXO_BIN_DIR "/vexobench-silent", program});
    vexotest::Must("ip link add br0 type bridge");
    vexotest::Must("ip link set br0 up");
    vexotest::Must("ip address add 192.0.2.1/24 dev br0");
    std::string batch;
    for (int i = 2; i < kSilent + 2; ++i) {
        char line[96];
        std::snprintf(line, sizeof line,
                      "neigh add 192.0.2.%d lladdr 02:00:00:00:00:%02x nud permanent dev br0\n", i,
                      i);
        batch += line;
    }
    vexotest::WriteFile("/tmp/neighbours", batch);
    vexotest::Must("ip -batch /tmp/neighbours");
    std::string name;
    Measurement result = Alternate(
        3, [] { ArpScanner::Inst()->GetData(); },
        [&] { ArpScanner::Inst()->GetNmbInfoByIP("192.0.2.254", name); });
    result.note =
        std::to_string(ArpScanner::Inst()->GetData()["ClientList"].size()) + " devices listed";
    vexotest::Must("ip link del br0");
    ::unlink(program.c_str());
    return result;
}

}  // namespace

std::vector<Figure> DeviceFigures() {
    return {
        {"merging 10,000 devices into 10,000", "a copy of the same document", 3, MergeBesideCopy},
        {"merging 20,000 devices into 20,000", "merging 10,000 into 10,000", 2.2,
         MergeOfTwiceAsMany},
        {"ClientList::WriteToFile, 10,000", "the same text made and written", 1.2, ListFile},
        {"scan of 200 silent devices", "asking one that is silent for 500 ms", 3, SilentDevices}};
}

}  // namespace vexobench
