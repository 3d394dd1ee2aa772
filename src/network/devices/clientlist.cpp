#include "vexonetwork/network/clientlist.h"

#include <sys/types.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <vexobase/log.h>
#include <vexonetwork/utils/json_reader.h>

#include "network/devices/clientlist_file.h"
#include "network/devices/clientlist_index.h"

namespace vexonetwork::network {

namespace {

constexpr char kEntries[] = "ClientList";
constexpr char kNameless[] = "General DMA";

/// Holds the lock of a list until its own end.
class Hold {
  public:
    explicit Hold(PthreadMutex& lock) : mutex(&lock) { mutex->Lock(); }
    ~Hold() {
        if (mutex != nullptr) {
            mutex->Unlock();
        }
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// The lock outlives this object.
    void Keep() { mutex = nullptr; }

  private:
    PthreadMutex* mutex;
};

bool IsGroup(const Json::Value& keys, const char* name) {
    const Json::Value* member = FindMember(keys, name);
    return member != nullptr && (member->isObject() || member->isArray());
}

/// Addresses and names can be read as text; an empty object or array is no name.
bool IsReadable(const Json::Value& keys) {
    for (const char* name :
         {"macAddr", "ipAddr", "friendlyName", "modelDescription", "modelName"}) {
        const bool isAddress = std::string_view(name).ends_with("Addr");
        if (IsGroup(keys, name) && (isAddress || !keys[name].empty())) {
            VEXO_LOG(LOG_ERR, "Error: UpdateKeys - member (%s) is an object or array, not a text",
                     name);
            return false;
        }
    }
    return true;
}

void SetMembers(const Json::Value& keys, Json::Value& entry) {
    for (auto member = keys.begin(); member != keys.end(); ++member) {
        const char* end = nullptr;
        const char* begin = member.memberName(&end);
        *entry.demand(begin, end) = *member;
    }
}

void Stamp(Json::Value& entry, const std::string& now) {
    std::string name;
    ClientList::DetermineDisplayName(entry, name);
    entry["displayName"] = name;
    entry["asso_time"] = now;
}

const Json::Value* FindEntries(const Json::Value& root) {
    const Json::Value* entries = FindMember(root, kEntries);
    return entries != nullptr && entries->isArray() ? entries : nullptr;
}

}  // namespace

/// One of the two members that entries are found by.
struct ClientList::KeyMember {
    const char* name;
    const char* title;  ///< in messages
    const MemberIndex& (ClientListIndex::*index)() const;
};

ClientList::ClientList() : places(std::make_unique<ClientListIndex>()) {
    EraseList();
}

ClientList::~ClientList() {
    if (lockLost) {
        // Nobody can wait for it any more, and a mutex must not be destroyed while it is taken.
        mutex.Unlock();
    }
}

void ClientList::EraseList() {
    const Hold hold(mutex);
    if (!root.isObject()) {
        root = Json::Value(Json::objectValue);
    }
    root[kEntries] = Json::Value(Json::arrayValue);
    places->Clear();
}

bool ClientList::LoadClientList(const std::string& path) {
    const auto text = ReadPlainFile(path);
    if (!text) {
        VEXO_LOG(LOG_ERR, "Error: LoadClientList - %s could not open", path.c_str());
        return false;
    }
    if (!utils::ParseJson(*text, root)) {
        VEXO_LOG(LOG_ERR, "Error: LoadClientList - Json::Reader::parse failed");
        return false;
    }
    if (FindEntries(root) == nullptr) {
        VEXO_LOG(LOG_ERR, "Error: LoadClientList - %s has no array (%s)", path.c_str(), kEntries);
    }
    Reindex();
    return true;
}

void ClientList::Reindex() {
    places->Clear();
    const Json::Value* entries = FindEntries(root);
    for (unsigned int place = 0; place < Size(); ++place) {
        places->Add(place, (*entries)[place]);
    }
}

unsigned int ClientList::EraseEntriesWithoutMac() {
    const Hold hold(mutex);
    Json::Value kept(Json::arrayValue);
    const unsigned int before = Size();
    for (unsigned int place = 0; place < before; ++place) {
        const Json::Value& entry = EntryAt(place);
        const Json::Value* mac = FindMember(entry, "macAddr");
        if (mac != nullptr && !TextOf(*mac).value_or("").empty()) {
            kept.append(entry);
        }
    }
    const unsigned int erased = before - kept.size();
    if (erased != 0) {
        root[kEntries].swap(kept);
        Reindex();
    }
    return erased;
}

bool ClientList::WriteToFile(const std::string& path) {
    const Hold hold(mutex);
    const vexobase::UniqueFd fd = OpenPlainFile(path);
    if (!fd) {
        VEXO_LOG(LOG_ERR, "Error - %s could not open", path.c_str());
        return false;
    }
    if (!WriteAll(fd, utils::ToTabbedText(root))) {
        VEXO_LOG(LOG_ERR, "Error - %s is incomplete: %s", path.c_str(), std::strerror(errno));
    }
    return true;
}

void ClientList::Exchange(ClientList& lost) {
    const Hold hold(mutex);
    std::swap(root, lost.root);
    std::swap(places, lost.places);
}

unsigned int ClientList::Size() const {
    const Json::Value* entries = FindEntries(root);
    return entries == nullptr ? 0 : entries->size();
}

bool ClientList::VerifyMacIsExist(const std::string& mac, unsigned int& index) const {
    const auto place = places->Macs().Find(mac);
    index = place.value_or(index);
    return place.has_value();
}

bool ClientList::VerifyIPIsExist(const std::string& ip, unsigned int& index) const {
    const auto place = places->Ips().Find(ip);
    index = place.value_or(index);
    return place.has_value();
}

bool ClientList::GetObject(const std::string& mac, Json::Value& out) const {
    const auto place = places->Macs().Find(mac);
    if (place) {
        out = EntryAt(*place);
    }
    return place.has_value();
}

std::string ClientList::FindKey(const std::string& mac, const std::string& key) const {
    const auto place = places->Macs().Find(mac);
    const Json::Value* member = place ? FindMember(EntryAt(*place), key) : nullptr;
    return member == nullptr ? "" : TextOf(*member).value_or("");
}

std::string ClientList::FindMacByIP(const std::string& ip) const {
    const auto place = places->Ips().Find(ip);
    const Json::Value* mac = place ? FindMember(EntryAt(*place), "macAddr") : nullptr;
    return mac == nullptr ? "" : TextOf(*mac).value_or("");
}

bool ClientList::EraseObject(const std::string& mac) {
    Hold hold(mutex);
    const auto place = places->Macs().Find(mac);
    if (!place) {
        // Kept as it has always been: who erases what is not there is left with the lock.
        hold.Keep();
        lockLost = true;
        return false;
    }
    Json::Value& entries = *Entries();
    const unsigned int last = entries.size() - 1;
    places->Remove(*place, entries[*place]);
    if (*place != last) {
        places->Remove(last, entries[last]);
        entries[*place].swap(entries[last]);
        places->Add(*place, entries[*place]);
    }
    entries.resize(last);
    return true;
}

bool ClientList::UpdateKeysByMac(const std::string& mac, const Json::Value& keys, const bool& add) {
    return UpdateKeys({"macAddr", "MAC", &ClientListIndex::Macs}, mac, keys, add);
}

bool ClientList::UpdateKeysByIP(const std::string& ip, const Json::Value& keys, const bool& add) {
    return UpdateKeys({"ipAddr", "IP", &ClientListIndex::Ips}, ip, keys, add);
}

bool ClientList::UpdateKeys(const KeyMember& member, const std::string& address,
                            const Json::Value& keys, bool add) {
    const std::string now = GetLocalTime();
    const Hold hold(mutex);
    if (address.empty()) {
        VEXO_LOG(LOG_ERR, "Error: UpdateKeys - %s address is empty", member.title);
        return false;
    }
    if (!keys.isObject() || keys.empty()) {
        VEXO_LOG(LOG_ERR, "Error: UpdateKeys - json object member number (%zd)", ssize_t{0});
        return false;
    }
    if (!IsReadable(keys)) {
        return false;
    }
    if (const auto place = ((*places).*member.index)().Find(address)) {
        Refresh(*place, keys, now);
        return true;
    }
    if (!add) {
        return false;
    }
    Json::Value entry = keys;
    entry[member.name] = address;
    Stamp(entry, now);
    return Append(std::move(entry));
}

void ClientList::Refresh(unsigned int place, const Json::Value& keys, const std::string& now) {
    Json::Value& entry = (*Entries())[place];
    const bool moves = places->IsChangedBy(keys, entry);
    if (moves) {
        places->Remove(place, entry);
    }
    SetMembers(keys, entry);
    Stamp(entry, now);
    if (moves) {
        places->Add(place, entry);
    }
}

bool ClientList::Append(Json::Value entry) {
    Json::Value* entries = Entries();
    if (entries == nullptr) {
        VEXO_LOG(LOG_ERR, "Error: UpdateKeys - the list has no array (%s), erase it first",
                 kEntries);
        return false;
    }
    const Json::Value& appended = entries->append(std::move(entry));
    places->Add(entries->size() - 1, appended);
    return true;
}

/// The array, made where there is nothing in its place. Null when there is something else.
Json::Value* ClientList::Entries() {
    if (!root.isNull() && !root.isObject()) {
        return nullptr;
    }
    Json::Value& entries = root[kEntries];
    return entries.isNull() || entries.isArray() ? &entries : nullptr;
}

const Json::Value& ClientList::EntryAt(unsigned int place) const {
    return (*FindEntries(root))[place];
}

void ClientList::DetermineDisplayName(const Json::Value& entry, std::string& name) {
    for (const char* source : {"friendlyName", "modelDescription", "modelName"}) {
        const Json::Value* member = FindMember(entry, source);
        auto text = member == nullptr ? std::nullopt : TextOf(*member);
        if (text && !text->empty()) {
            name = std::move(*text);
            return;
        }
    }
    name = kNameless;
}

}  // namespace vexonetwork::network
