#include "vexonetwork/network/keloscanner.h"

#include <mutex>

#include <vexonetwork/network/clientlist.h>

#include "network/devices/host_finder/host_finder.h"
#include "network/devices/scanner_thread.h"

namespace vexonetwork::network {

namespace {

Json::Value EntryOf(const HostFinderMessage& answer) {
    Json::Value entry(Json::objectValue);
    entry["ipAddr"] = answer.ipAddr;
    entry["macAddr"] = answer.macAddr;
    for (const auto& [key, member] : kHostFinderTexts) {
        if (!(answer.*member).empty()) {
            entry[key] = answer.*member;
        }
    }
    return entry;
}

}  // namespace

struct KeloScanner::State {
    void Keep(const HostFinder::Answers& answers) {
        const std::lock_guard lock(mutex);
        clientList.EraseList();
        for (const HostFinderMessage& answer : answers) {
            clientList.UpdateKeysByMac(answer.macAddr, EntryOf(answer), true);
        }
    }

    std::mutex mutex;
    ClientList clientList;
    ScannerThread thread;
};

KeloScanner::KeloScanner() : state(std::make_unique<State>()) {}

KeloScanner::~KeloScanner() = default;

KeloScanner* KeloScanner::Inst() {
    static KeloScanner* const scanner = new KeloScanner;
    return scanner;
}

int KeloScanner::Start() {
    return state->thread.Start("host-finder", [this](int stop) {
        HostFinder(stop, [this](const auto& answers) { state->Keep(answers); }).Run();
    });
}

void KeloScanner::Stop() {
    state->thread.Stop();
}

Json::Value KeloScanner::GetData() {
    const std::lock_guard lock(state->mutex);
    return state->clientList.GetClientList();
}

}  // namespace vexonetwork::network
