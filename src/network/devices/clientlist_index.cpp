#include "network/devices/clientlist_index.h"

namespace vexonetwork::network {

std::optional<std::string> TextOf(const Json::Value& value) {
    return value.isConvertibleTo(Json::stringValue) ? std::optional(value.asString())
                                                    : std::nullopt;
}

const Json::Value* FindMember(const Json::Value& entry, const std::string& name) {
    return entry.isObject() ? entry.find(name.data(), name.data() + name.size()) : nullptr;
}

void MemberIndex::Add(unsigned int place, const Json::Value& entry) {
    const Json::Value* member = FindMember(entry, name);
    if (member == nullptr) {
        ends.insert(place);
    } else if (const auto text = TextOf(*member)) {
        places[*text].insert(place);
    }
}

void MemberIndex::Remove(unsigned int place, const Json::Value& entry) {
    ends.erase(place);
    const Json::Value* member = FindMember(entry, name);
    const auto text = member == nullptr ? std::nullopt : TextOf(*member);
    const auto found = text ? places.find(*text) : places.end();
    if (found == places.end()) {
        return;
    }
    found->second.erase(place);
    if (found->second.empty()) {
        places.erase(found);
    }
}

void MemberIndex::Clear() {
    places.clear();
    ends.clear();
}

std::optional<unsigned int> MemberIndex::Find(const std::string& text) const {
    const auto found = places.find(text);
    if (found == places.end()) {
        return std::nullopt;
    }
    const unsigned int first = *found->second.begin();
    return ends.empty() || first < *ends.begin() ? std::optional(first) : std::nullopt;
}

bool MemberIndex::IsChangedBy(const Json::Value& keys, const Json::Value& entry) const {
    const Json::Value* after = FindMember(keys, name);
    const Json::Value* before = FindMember(entry, name);
    return after != nullptr && (before == nullptr || *after != *before);
}

void ClientListIndex::Add(unsigned int place, const Json::Value& entry) {
    macs.Add(place, entry);
    ips.Add(place, entry);
}

void ClientListIndex::Remove(unsigned int place, const Json::Value& entry) {
    macs.Remove(place, entry);
    ips.Remove(place, entry);
}

void ClientListIndex::Clear() {
    macs.Clear();
    ips.Clear();
}

}  // namespace vexonetwork::network
