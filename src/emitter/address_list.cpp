#include <vexonetwork/emitter/address_list.h>

namespace vexonetwork {

bool AddressList::Add(const Entry& entry) {
    const auto [place, isNew] = places.try_emplace(ToText(entry));
    if (isNew) {
        place->second = entries.insert(entries.end(), entry);
    }
    return isNew;
}

bool AddressList::Remove(const Entry& entry) {
    const auto place = places.find(ToText(entry));
    if (place == places.end()) {
        return false;
    }
    entries.erase(place->second);
    places.erase(place);
    return true;
}

std::string AddressList::Join() const {
    std::string text;
    for (const Entry& entry : entries) {
        text += (text.empty() ? "" : ",") + ToText(entry);
    }
    return text;
}

std::string AddressList::ToText(const Entry& entry) {
    return entry.first + "/" + std::to_string(entry.second);
}

}  // namespace vexonetwork
