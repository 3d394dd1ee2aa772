#pragma once

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
/// Every result is 0, or -1 after a log line that says why. It takes no lock: requests come one
/// after another.
class DeviceListModule : public BaseModule {
  public:
    DeviceListModule() : BaseModule(MODULE_DEVICE_LIST) {}

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

    /// Loads the list's file, if there is one. Without a usable list in it the list is empty.
    void InitClientList();
    void TerminateClientList();

    /// Merges devices into the list, by their "macAddr" or else their "ipAddr"; an element that has
    /// neither ends that with -1, and those before it stay merged. A list of 20,000 devices is
    /// full: new ones are left out with a log line.
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

    /// Takes the device "macAddr" out of the list. After a device that is not in it, the list is
    /// lost.
    int DeleteData(const Json::Value& in);

    /// Whether the list can neither be changed nor written any more, and whoever tries waits for
    /// ever: what is to be done then is to call RescueList and begin anew.
    bool IsListLost() const { return clientList.IsLockLost(); }

    /// Writes the file of a lost list. @return whether it could be opened
    bool RescueList() const;

  private:
    using Getter = int (DeviceListModule::*)(Json::Value& out);

    int MergeFrom(Getter getter, const char* scanner, bool add);

    UpnpScanner* upnpScanner = nullptr;
    KeloScanner* keloScanner = nullptr;
    ArpScanner* arpScanner = nullptr;
    ClientList clientList;
};

}  // namespace vexonetwork::network::module
