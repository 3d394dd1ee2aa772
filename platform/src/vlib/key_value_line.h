#pragma once

#include <optional>
#include <string_view>

namespace vlib {

enum class LineKind { kPair, kHeader, kComment, kOther };

/// One line of a key=value file; the texts lie in the line it was parsed from.
struct Line {
    LineKind kind;
    std::string_view name;   ///< the key of a pair, the section of a header
    std::string_view value;  ///< of a pair, verbatim
};

/// @param text  without its newline
Line ParseLine(std::string_view text, std::string_view separator = "=");

/// Cuts the lines before the next one that begins like a header off the front of `rest`, many
/// times quicker than parsing them.
/// @param rest  begins with a whole line
/// @return false when there is no such line; `rest` is then empty
bool SkipToHeader(std::string_view& rest);

/// Cuts the next line, with its newline if it has one, off the front of `rest`.
/// @return false at the end
bool CutLine(std::string_view& rest, std::string_view& line);

/// The line without its newline.
std::string_view LineText(std::string_view line);

/// What stands before the key and between key and value when pairs are written.
struct LineFormat {
    std::string_view indent;
    std::string_view separator;
};

/// Splits a line format at its two %s. The format of a caller is never handed to printf.
/// @return nothing unless a line of this format is read back as the same pair
std::optional<LineFormat> ParseFormat(const char* format);

/// Whether a pair, or a header of a section, would be read back as it is.
bool IsWritablePair(std::string_view key, std::string_view value);
bool IsWritableSection(std::string_view section);

/// The value as people mean it: without blanks around it and without one pair of quotes.
std::string_view Unquote(std::string_view value);

}  // namespace vlib
