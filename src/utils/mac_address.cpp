#include <sys/types.h>

#include <algorithm>
#include <cstdio>

#include <vexobase/log.h>
#include <vexonetwork/utils/mac_address.h>

namespace vexonetwork::utils {

namespace {

constexpr std::size_t kDigits = 12;
constexpr std::size_t kFormalLength = 17;

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

MacAddress::MacAddress(const std::string& address) : text(address) {
    Formalize();
}

MacAddress& MacAddress::operator=(const std::string& address) {
    text = address;
    Formalize();
    return *this;
}

bool MacAddress::IsFormalized() const {
    if (text.size() != kFormalLength) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? text[i] != ':' : !IsHexDigit(text[i])) {
            return false;
        }
    }
    return true;
}

bool MacAddress::IsFormalizable() const {
    if (text.size() != kDigits) {
        VEXO_LOG(LOG_DEBUG, "Bad mac addr length (%zd)", static_cast<ssize_t>(text.size()));
        return false;
    }
    if (!std::all_of(text.begin(), text.end(), IsHexDigit)) {
        VEXO_LOG(LOG_ERR, "Bad mac addr [%s]", text.c_str());
        return false;
    }
    return true;
}

bool MacAddress::Formalize() {
    if (IsFormalized()) {
        return true;
    }
    if (!IsFormalizable()) {
        return false;
    }
    for (std::size_t colon = 2; colon < kFormalLength; colon += 3) {
        text.insert(colon, 1, ':');
    }
    return true;
}

MacAddress MacAddress::operator+(int n) const {
    unsigned short octets[6] = {};
    std::sscanf(text.c_str(), "%2hx:%2hx:%2hx:%2hx:%2hx:%2hx", &octets[0], &octets[1], &octets[2],
                &octets[3], &octets[4], &octets[5]);
    // Modulo 255, not 256: addresses that were derived once must come out the same again.
    octets[5] = static_cast<unsigned short>((long{octets[5]} + n) % 255);
    char formatted[32];
    std::snprintf(formatted, sizeof formatted, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0],
                  octets[1], octets[2], octets[3], octets[4], octets[5]);
    return MacAddress(std::string(formatted));
}

std::istream& operator>>(std::istream& in, MacAddress& address) {
    if (std::string word; in >> word) {
        address = word;
    }
    return in;
}

}  // namespace vexonetwork::utils
