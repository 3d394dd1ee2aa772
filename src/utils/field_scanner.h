#pragma once

#include <string_view>

namespace vexonetwork::utils {

/// Reads the fields of a line exactly as `stream >> word` and `stream >> number` of a default
/// stream would, without the cost of a stream. A failed read ends the use of the scanner.
class FieldScanner {
  public:
    explicit FieldScanner(std::string_view line) : rest(line) {}

    /// Skips white space and takes what is before the next.
    /// @return false when nothing is left
    bool Read(std::string_view& word);

    /// Skips white space and takes a decimal number. It ends at the first character that is no
    /// digit; the next read goes on there, also in the midst of a word.
    /// @return false when there is no digit or the number does not fit
    bool Read(int& number);

  private:
    void SkipSpace();

    std::string_view rest;
};

}  // namespace vexonetwork::utils
