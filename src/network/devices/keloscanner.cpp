#include "vexonetwork/network/keloscanner.h"

#include <vexonetwork/network/clientlist.h>

namespace vexonetwork::network {

KeloScanner* KeloScanner::Inst() {
    static KeloScanner* const scanner = new KeloScanner;
    return scanner;
}

int KeloScanner::Start() {
    return -1;
}

void KeloScanner::Stop() {}

Json::Value KeloScanner::GetData() {
    return ClientList().GetClientList();
}

}  // namespace vexonetwork::network
