#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <vexonetwork/network/clientlist.h>
#include <vexonetwork/network/module/base_module.h>

namespace vexonetwork::network {
class ArpScanner;
class KeloScanner;
class UpnpScanner;
}  // namespace vexonetwork::network

namespace vexonetwork::network::module {

/// Knows the devices on the LAN: what the three scanners find becomes one list, which also keeps
/// devices that have left and what the user calls them. It outlives restarts in
/// "/tmp/connectionlist_upnpscanner.json".
///
/// Every result is 0, or -1 after a log line that says why. Requests may come from several threads
/// and are served one after another; the other calls take no lock.
class DeviceListModule : public BaseModule {
  public:
    DeviceListModule();

    static BaseModule* Create();

    /// Serves "method" "get" (see GetDataByScannerType), "set" (SetData) and "del" (DeleteData).
    int ProcessRequest(const Json::Value& in, Json::Value& out) override;

    /// Loads the list and starts the scanners. @return 0
    int InitialModule() override;

    /// Writes the list and stops the scanners. @return 0
    int TerminateModule() override;

    int StartModule() override { return 0; }

    int StartUpnpScanner();
    int StartKeloScanner();
    int StartArpScanner();

    void StopUpnpScanner();
    void StopKeloScanner();
    void StopArpScanner();

    /// What one scanner has found, as {"ClientList": [...]}; fails before it was started.
    int GetUpnpScannerData(Json::Value& out);
    int GetKeloScannerData(Json::Value& out);
    int GetArpScannerData(Json::Value& out);

    /// Loads the list's file, if there is one: all that is a device with a MAC. Without a list in
    /// it the list is empty.
    void InitClientList();
    void TerminateClientList();

    /// Merges devices into the list, by their "macAddr" or else their "ipAddr"; an element that has
    /// neither ends that with -1, and those before it stay merged. A list of 20,000 devices is
    /// full: for a new one the one goes that was seen longest ago, and that the user has not given
    /// a name; without such a one the new one is left out. Either has a log line.
    /// @param list  {"ClientList": [...]}
    /// @param add   whether devices that are not in the list are added
    int MergeList(const Json::Value& list, const bool& add);

    /// Has the neighbour table scanned, merges what all scanners know, writes the file. The
    /// neighbour table alone brings new devices; the others tell more of those.
    int GetAllScannerData(Json::Value& out);

    /// Serves "scannertype" "all", "upnp" and "kelo".
    int GetDataByScannerType(const Json::Value& in, Json::Value& out);

    /// Stores what the user calls a device: of "macAddr" the texts "userdef_displayName" and
    /// "userdef_deviceType". The next request for all, or the end, writes the file.
    int SetData(const Json::Value& in);

    /// Takes the device "macAddr" out of the list. After one that is not in it, calls that change
    /// or write the list wait for ever; ProcessRequest, where that has happened, goes on with a new
    /// list of the same entries.
    int DeleteData(const Json::Value& in);

  private:
    using Getter = int (DeviceListModule::*)(Json::Value& out);

    int Serve(const Json::Value& in, Json::Value& out);
    void RenewLostList();
    void MakeRoom(const Json::Value& devices);
    int MergeFrom(Getter getter, const char* scanner, bool add);

    UpnpScanner* upnpScanner = nullptr;
    KeloScanner* keloScanner = nullptr;
    ArpScanner* arpScanner = nullptr;
    std::unique_ptr<ClientList> clientList;
    std::mutex serving;
};

}  // namespace vexonetwork::network::module
