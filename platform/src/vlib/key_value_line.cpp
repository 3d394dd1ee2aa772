#include "key_value_line.h"

#include <algorithm>

namespace vlib {

namespace {

constexpr std::string_view kPlaceholder = "%s";

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view TrimFront(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view TrimBack(std::string_view text) {
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool IsCommentStart(char c) {
    return c == '#' || c == ';';
}

Line ParseHeader(std::string_view text) {
    const auto end = text.find(']');
    if (end == text.npos) {
        return {LineKind::kOther, {}, {}};
    }
    return {LineKind::kHeader, text.substr(1, end - 1), {}};
}

Line ParsePair(std::string_view text, std::string_view separator) {
    const auto position = text.find(separator);
    const std::string_view key = TrimBack(text.substr(0, position));
    if (position == text.npos || key.empty()) {
        return {LineKind::kOther, {}, {}};
    }
    return {LineKind::kPair, key, text.substr(position + separator.size())};
}

}  // namespace

Line ParseLine(std::string_view text, std::string_view separator) {
    text = TrimFront(text);
    // A text with a NUL cannot be handed to callers, who take C strings, without cutting it.
    if (text.empty() || text.find('\0') != text.npos) {
        return {LineKind::kOther, {}, {}};
    }
    if (IsCommentStart(text.front())) {
        return {LineKind::kComment, {}, {}};
    }
    return text.front() == '[' ? ParseHeader(text) : ParsePair(text, separator);
}

bool SkipToHeader(std::string_view& rest) {
    for (auto bracket = rest.find('['); bracket != rest.npos;
         bracket = rest.find('[', bracket + 1)) {
        const std::string_view before = TrimBack(rest.substr(0, bracket));
        if (before.empty() || before.back() == '\n') {
            rest.remove_prefix(before.size());
            return true;
        }
    }
    rest = {};
    return false;
}

bool CutLine(std::string_view& rest, std::string_view& line) {
    if (rest.empty()) {
        return false;
    }
    line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    rest.remove_prefix(line.size());
    return true;
}

std::string_view LineText(std::string_view line) {
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    return line;
}

std::optional<LineFormat> ParseFormat(const char* format) {
    if (format == nullptr) {
        return LineFormat{"", "="};
    }
    const std::string_view text(format);
    const auto key = text.find(kPlaceholder);
    const auto value = key == text.npos ? key : text.find(kPlaceholder, key + 2);
    if (value == text.npos || text.substr(value) != "%s\n") {
        return std::nullopt;
    }
    const LineFormat parts{text.substr(0, key), text.substr(key + 2, value - key - 2)};
    if (!TrimFront(parts.indent).empty() || TrimFront(parts.separator) != "=") {
        return std::nullopt;
    }
    return parts;
}

bool IsWritablePair(std::string_view key, std::string_view value) {
    return !key.empty() && !IsBlank(key.front()) && !IsBlank(key.back())
           && !IsCommentStart(key.front()) && key.front() != '[' && key.find('=') == key.npos
           && key.find('\n') == key.npos && value.find('\n') == value.npos;
}

bool IsWritableSection(std::string_view section) {
    return section.find(']') == section.npos && section.find('\n') == section.npos;
}

std::string_view Unquote(std::string_view value) {
    constexpr const char* kBlanks = " \t\r";
    value.remove_prefix(std::min(value.find_first_not_of(kBlanks), value.size()));
    value = value.substr(0, value.find_last_not_of(kBlanks) + 1);
    if (value.size() >= 2 && value.front() == value.back()
        && (value.front() == '"' || value.front() == '\'')) {
        value = value.substr(1, value.size() - 2);
    }
    return value;
}

}  // namespace vlib
