#pragma once

#include <memory>
#include <string>
#include <vector>

#include <vexonetwork/network/clientlist.h>

namespace vexonetwork::network {

class NetbiosNames;
struct ArpDevice;

/// Lists the devices that the kernel's neighbour table knows on bridges, with the names that the
/// leases of the DHCP server or the devices themselves (NetBIOS, RFC 1002 section 4.2.17) tell.
class ArpScanner {
  public:
    ArpScanner();
    ~ArpScanner();

    /// The one scanner of the process; never destroyed.
    static ArpScanner* Inst();

    /// @return 0; a scan runs when its data is asked for, on the thread of who asks
    int Start() { return 0; }

    /// Nothing is to be stopped but questions that nobody waits for any more.
    void Stop();

    /// Scans anew. Names that devices are asked for are waited for a second at most; what they
    /// answer later is in the next scan's data.
    /// @return {"ClientList": [...]} with "macAddr", "ipAddr", "netif" and, of devices with a name,
    ///         "friendlyName"; empty when the appliance's network role is below 2
    Json::Value GetData();

    /// Adds the devices of "/proc/net/arp" to the list. @return 0, or -1 after a log line
    int GetArpTable();

    /// Adds the device of one line of that table; a line of another form and one of an interface
    /// whose name does not contain "br" is left out. @return 0, or -1 after a log line
    int AppendClientList(const std::string& line);

    /// @param name  the name in the first line with this text in "/etc/dhcpd/dhcpd.conf.leases";
    ///              unchanged without one
    void GetDHCPInfoByMAC(const std::string& mac, std::string& name);

    /// @param name  what the device calls itself; unchanged when it does not answer within 5 s
    void GetNmbInfoByIP(const std::string& ip, std::string& name);

  private:
    int Append(const std::vector<ArpDevice>& devices);
    std::vector<std::string> FindNames(const std::vector<ArpDevice>& devices);
    int Update(const ArpDevice& device, const std::string& name);

    ClientList clientList;
    int topology = 0;  ///< the network role at the last scan
    std::unique_ptr<NetbiosNames> netbiosNames;
};

}  // namespace vexonetwork::network
