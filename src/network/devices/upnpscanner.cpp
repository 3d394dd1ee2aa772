#include "vexonetwork/network/upnpscanner.h"

#include <vexonetwork/network/clientlist.h>

namespace vexonetwork::network {

UpnpScanner* UpnpScanner::Inst() {
    static UpnpScanner* const scanner = new UpnpScanner;
    return scanner;
}

int UpnpScanner::Start() {
    return -1;
}

void UpnpScanner::Stop() {}

Json::Value UpnpScanner::GetData() {
    return ClientList().GetClientList();
}

}  // namespace vexonetwork::network
