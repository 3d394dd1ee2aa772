#include "vexobase/key_value_text.h"

#include <algorithm>
#include <unordered_map>

namespace vexobase {

namespace {

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

/// Where the sections stand in their list. Most files have a few, which are quickest compared one
/// by one; of many, an index is kept.
class SectionPlaces {
  public:
    /// @return the number of the section, that of the next one when it is new
    std::size_t Find(std::string_view name, const std::vector<SectionPairs>& sections) {
        constexpr std::size_t kFew = 8;
        if (sections.size() < kFew) {
            const auto known = std::ranges::find(sections, name, &SectionPairs::name);
            return static_cast<std::size_t>(known - sections.begin());
        }
        for (std::size_t i = index.size(); i < sections.size(); ++i) {
            index.emplace(sections[i].name, i);
        }
        const auto known = index.find(name);
        return known == index.end() ? sections.size() : known->second;
    }

  private:
    std::unordered_map<std::string_view, std::size_t> index;
};

}  // namespace

Line ParseLine(std::string_view text, std::string_view separator) {
    text = TrimFront(text);
    if (text.empty() || text == "\r") {
        return {LineKind::kBlank, {}, {}};
    }
    // A text with a NUL cannot be handed to callers, who take C strings, without cutting it.
    if (text.find('\0') != text.npos) {
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

std::vector<SectionPairs> ParseSections(std::string_view text) {
    constexpr std::size_t kUsualPairs = 8;
    std::vector<SectionPairs> sections;
    SectionPlaces places;
    std::size_t place = 0;
    std::string_view line;
    bool inside = false;
    while ((inside || SkipToHeader(text)) && CutLine(text, line)) {
        const Line parsed = ParseLine(LineText(line));
        if (parsed.kind == LineKind::kHeader) {
            inside = true;
            place = places.Find(parsed.name, sections);
            if (place == sections.size()) {
                sections.push_back({parsed.name, {}});
                sections.back().pairs.reserve(kUsualPairs);
            }
        } else if (inside && parsed.kind == LineKind::kPair) {
            sections[place].pairs.emplace_back(parsed.name, parsed.value);
        }
    }
    return sections;
}

bool IsWritablePair(std::string_view key, std::string_view value) {
    return !key.empty() && !IsBlank(key.front()) && !IsBlank(key.back())
           && !IsCommentStart(key.front()) && key.front() != '[' && key.find('=') == key.npos
           && key.find('\n') == key.npos && value.find('\n') == value.npos;
}

bool IsWritableSection(std::string_view section) {
    return section.find(']') == section.npos && section.find('\n') == section.npos;
}

std::string_view Trim(std::string_view text) {
    constexpr const char* kBlanks = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string_view Unquote(std::string_view value) {
    value = Trim(value);
    if (value.size() >= 2 && value.front() == value.back()
        && (value.front() == '"' || value.front() == '\'')) {
        value = value.substr(1, value.size() - 2);
    }
    return value;
}

}  // namespace vexobase
