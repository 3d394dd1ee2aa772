#pragma once

#include <list>
#include <string>
#include <unordered_map>
#include <utility>

namespace vexonetwork {

/// The addresses of one interface in the order in which they came, each once. An index beside the
/// list keeps a change cheap however many there are.
class AddressList {
  public:
    using Entry = std::pair<std::string, int>;  ///< address text, prefix length

    AddressList() = default;
    AddressList(AddressList&&) = default;
    AddressList& operator=(AddressList&&) = default;

    /// @return whether the list has changed
    bool Add(const Entry& entry);
    bool Remove(const Entry& entry);

    bool Contains(const Entry& entry) const { return places.contains(ToText(entry)); }
    const std::list<Entry>& Entries() const { return entries; }

    /// "ADDRESS/PREFIX" of each, joined with ",".
    std::string Join() const;

    /// "ADDRESS/PREFIX"
    static std::string ToText(const Entry& entry);

  private:
    std::list<Entry> entries;
    std::unordered_map<std::string, std::list<Entry>::iterator> places;
};

}  // namespace vexonetwork
