#pragma once

#include <json/value.h>

#include <atomic>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include <vexonetwork/utils/pthread_mutex.h>

namespace vexonetwork::network {

class ClientListIndex;

/// The devices seen on the local networks: a JSON document {"ClientList": [entry, ...]} whose
/// entries are objects with "macAddr", "ipAddr" or both, a "displayName", the time of the last
/// update in "asso_time", and whatever else was reported of them.
///
/// An entry without the member that is searched for ends a search: what stands behind it is not
/// found. Texts are compared byte for byte; a member that is a number or a bool counts as its text.
///
/// Updates, erasing and writing take the list's lock. Searches, copies and the load take none:
/// callers that read while another thread updates serialise themselves. Nothing is thrown; what
/// cannot be done is logged and leaves the list as it was.
class ClientList {
  public:
    ClientList();
    ~ClientList();
    ClientList(const ClientList&) = delete;
    ClientList& operator=(const ClientList&) = delete;

    void EraseList();

    /// Takes the place of the document by the one in a file, of whatever form; only a regular file
    /// of this user's own is read. What is no JSON leaves the document as it was.
    /// @return whether the file was read
    bool LoadClientList(const std::string& path);
    bool Load(const std::string& path) { return LoadClientList(path); }

    /// Writes the document, indented by tabs, in place. Where others may write they may have put
    /// something else there: a link or another's file is removed, and not written through.
    /// @return whether the file could be opened
    bool WriteToFile(const std::string& path);

    Json::Value GetClientList() const { return root; }

    /// The number of entries; what is no array has none.
    unsigned int Size() const;

    /// @param index  the place of the first entry with this address; unchanged without one
    bool VerifyMacIsExist(const std::string& mac, unsigned int& index) const;
    bool VerifyIPIsExist(const std::string& ip, unsigned int& index) const;

    /// @param out  a copy of the entry; unchanged without one
    bool GetObject(const std::string& mac, Json::Value& out) const;

    /// @return the member of an entry as text; "" without entry or member
    std::string FindKey(const std::string& mac, const std::string& key) const;
    std::string FindMacByIP(const std::string& ip) const;

    /// Removes an entry; the last one takes its place. When there is no such entry the lock stays
    /// taken, and the next call that needs it waits for ever: ask VerifyMacIsExist first.
    /// @return whether it was removed
    bool EraseObject(const std::string& mac);

    /// Removes what is no device with a MAC: nothing would be found behind it. The others keep
    /// their order.
    /// @return how many were removed
    unsigned int EraseEntriesWithoutMac();

    /// Whether EraseObject has left the lock taken. May be called from any thread.
    bool IsLockLost() const { return lockLost; }

    /// Exchanges the entries with those of a list whose lock is lost, so that they can be changed
    /// again. To be called on the thread that has lost it, while nobody else uses either list.
    void Exchange(ClientList& lost);

    /// Sets the members of `keys` in the entry of an address and keeps its others, then renews
    /// "displayName" and "asso_time". Members that addresses and names are taken from must not be
    /// objects or arrays; as a name, an empty one counts as missing.
    /// @param add  whether an entry that is missing is appended
    /// @return whether the entry is there and was updated
    bool UpdateKeysByMac(const std::string& mac, const Json::Value& keys, const bool& add);
    bool UpdateKeysByIP(const std::string& ip, const Json::Value& keys, const bool& add);

    /// Chooses the name to show: "friendlyName", else "modelDescription", else "modelName", the
    /// first that is not empty, else "General DMA".
    static void DetermineDisplayName(const Json::Value& entry, std::string& name);

    /// The local time as "14:03:59 2026/11/14", the year being that of the ISO 8601 week.
    static std::string GetLocalTime();

    /// Reads such a text.
    /// @param now  of two dates that are written alike the later one counts that is not in the
    /// future
    /// @return nothing for a text of another form
    static std::optional<std::time_t> ParseLocalTime(const std::string& text, std::time_t now);

  private:
    struct KeyMember;

    bool UpdateKeys(const KeyMember& member, const std::string& address, const Json::Value& keys,
                    bool add);
    void Refresh(unsigned int place, const Json::Value& keys, const std::string& now);
    bool Append(Json::Value entry);
    void Reindex();
    Json::Value* Entries();
    const Json::Value& EntryAt(unsigned int place) const;

    PthreadMutex mutex;
    std::atomic<bool> lockLost = false;
    Json::Value root;
    std::unique_ptr<ClientListIndex> places;  ///< kept in step with root
};

}  // namespace vexonetwork::network
