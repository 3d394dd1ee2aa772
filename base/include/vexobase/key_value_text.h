#pragma once

#include <string_view>
#include <utility>
#include <vector>

/// The grammar of `key=value` text, flat or divided by `[section]` headers. Every reader of such
/// files parses by it, so that they all understand a file alike.
///
/// A line is blanks, key, `=`, value; the value runs verbatim to the end of the line, a carriage
/// return included, and blanks between key and `=` do not count. Lines that begin with `#` or `;`
/// are comments; one that begins with `[` is a header up to the first `]`, whatever follows it.
/// Lines that are none of these, or hold a NUL, say nothing. The last line needs no newline. Of a
/// key's several lines the last wins; sections of one name are one; pairs before the first header
/// are in no section.
namespace vexobase {

enum class LineKind { kPair, kHeader, kComment, kBlank, kOther };

/// One line; the texts lie in the line it was parsed from.
struct Line {
    LineKind kind;
    std::string_view name;   ///< the key of a pair, the section of a header
    std::string_view value;  ///< of a pair, verbatim
};

/// @param text  without its newline
Line ParseLine(std::string_view text, std::string_view separator = "=");

/// Cuts the next line, with its newline if it has one, off the front of `rest`.
/// @return false at the end
bool CutLine(std::string_view& rest, std::string_view& line);

/// The line without its newline.
std::string_view LineText(std::string_view line);

/// Cuts the lines before the next one that begins like a header off the front of `rest`, many
/// times quicker than parsing them.
/// @param rest  begins with a whole line
/// @return false when there is no such line; `rest` is then empty
bool SkipToHeader(std::string_view& rest);

/// One section of a text, the pairs in the order of their lines; all lies in that text.
struct SectionPairs {
    std::string_view name;
    std::vector<std::pair<std::string_view, std::string_view>> pairs;
};

/// The sections in the order of their first headers, read in one pass.
std::vector<SectionPairs> ParseSections(std::string_view text);

/// The text without blanks and carriage returns around it.
std::string_view Trim(std::string_view text);

/// The value as people mean it who write a file by hand: trimmed, and without one pair of quotes.
std::string_view Unquote(std::string_view value);

/// Whether a pair, or a header of a section, would be read back as it is.
bool IsWritablePair(std::string_view key, std::string_view value);
bool IsWritableSection(std::string_view section);

}  // namespace vexobase
