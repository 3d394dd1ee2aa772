#pragma once

#include <istream>
#include <string>

namespace vexonetwork::utils {

/// A hardware address as six octets of two hexadecimal digits joined by colons, case kept. Twelve
/// bare digits are brought to that form; any other text is held as given.
class MacAddress {
  public:
    MacAddress() = default;
    MacAddress(const std::string& address);
    MacAddress& operator=(const std::string& address);

    std::string ToString() const { return text; }
    const char* ToCString() const { return text.c_str(); }
    operator std::string() const { return text; }
    operator const char*() const { return text.c_str(); }

    /// Compares the texts, case included. A literal would be compared by its place in memory.
    bool operator==(const MacAddress& other) const { return text == other.text; }
    bool operator==(const char*) const = delete;

    /// Whether the text has the colon form.
    bool IsFormalized() const;

    /// Whether the text is twelve hexadecimal digits; what it is not is logged.
    bool IsFormalizable() const;

    /// Brings twelve digits to the colon form.
    /// @return whether the text has the colon form now
    bool Formalize();

    /// The address whose sixth octet is counted on by `n` modulo 255, in lower case, without carry
    /// into the fifth; octets that cannot be read are 0. A negative remainder gives a text that is
    /// no address.
    MacAddress operator+(int n) const;

  private:
    std::string text;
};

/// Reads one word delimited by white space; without one the address stays.
std::istream& operator>>(std::istream& in, MacAddress& address);

}  // namespace vexonetwork::utils
