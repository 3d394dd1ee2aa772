#pragma once

#include <json/value.h>

#include <optional>
#include <set>
#include <string>
#include <unordered_map>

namespace vexonetwork::network {

/// A member as text: a string, number, bool or null. Nothing for an object or an array.
std::optional<std::string> TextOf(const Json::Value& value);

/// A member of an entry, or null; any kind of `entry` is allowed.
const Json::Value* FindMember(const Json::Value& entry, const std::string& name);

/// Where the texts of one member stand in a list. Finds what a walk from the front would find that
/// compares texts and ends at the first entry without the member.
class MemberIndex {
  public:
    explicit MemberIndex(const char* memberName) : name(memberName) {}

    void Add(unsigned int place, const Json::Value& entry);
    void Remove(unsigned int place, const Json::Value& entry);
    void Clear();

    std::optional<unsigned int> Find(const std::string& text) const;

    /// Whether setting the members of `keys` in an entry changes where it is found.
    bool IsChangedBy(const Json::Value& keys, const Json::Value& entry) const;

  private:
    std::string name;
    std::unordered_map<std::string, std::set<unsigned int>> places;
    std::set<unsigned int> ends;  ///< entries without the member
};

/// Both keys of a list of devices.
class ClientListIndex {
  public:
    void Add(unsigned int place, const Json::Value& entry);
    void Remove(unsigned int place, const Json::Value& entry);
    void Clear();

    bool IsChangedBy(const Json::Value& keys, const Json::Value& entry) const {
        return macs.IsChangedBy(keys, entry) || ips.IsChangedBy(keys, entry);
    }

    const MemberIndex& Macs() const { return macs; }
    const MemberIndex& Ips() const { return ips; }

  private:
    MemberIndex macs{"macAddr"};
    MemberIndex ips{"ipAddr"};
};

}  // namespace vexonetwork::network
