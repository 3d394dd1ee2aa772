#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include <vexobase/key_value_text.h>

#include "file_text.h"
#include "szhash_text.h"
#include "szlist_text.h"
#include "vlib/error.h"
#include "vlib/file.h"

namespace vlib {

namespace {

using vexobase::CutLine;
using vexobase::Line;
using vexobase::LineKind;
using vexobase::LineText;
using vexobase::ParseLine;
using vexobase::SkipToHeader;
using vexobase::Unquote;

/// Calls `take(line)` for each pair of a file, whatever section it stands in, until it returns
/// false.
template <typename Take>
bool ForEachPair(std::string_view text, std::string_view separator, Take take) {
    std::string_view line;
    while (CutLine(text, line)) {
        const Line parsed = ParseLine(LineText(line), separator);
        if (parsed.kind == LineKind::kPair && !take(parsed)) {
            return false;
        }
    }
    return true;
}

enum class SectionResult { kAbsent, kRead, kStopped };

/// The same for the pairs of one section, which may stand in several places of the file.
template <typename Take>
SectionResult ForEachPairOf(std::string_view text, std::string_view section, Take take) {
    auto result = SectionResult::kAbsent;
    bool inside = false;
    std::string_view line;
    while ((inside || SkipToHeader(text)) && CutLine(text, line)) {
        const Line parsed = ParseLine(LineText(line));
        if (parsed.kind == LineKind::kHeader) {
            inside = parsed.name == section;
            result = inside ? SectionResult::kRead : result;
        } else if (inside && parsed.kind == LineKind::kPair && !take(parsed)) {
            return SectionResult::kStopped;
        }
    }
    return result;
}

bool Contains(const VLIBSZLIST& list, std::string_view text) {
    return std::any_of(list.items, list.items + list.count,
                       [text](const char* item) { return text == item; });
}

/// @return the length of what was put into the buffer
int CopyOut(std::string_view text, char* buffer, int size) {
    const size_t length = std::min(text.size(), static_cast<size_t>(size) - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

/// @return the number of lines taken, or -1 when the section is absent or memory is short
int TakeSection(std::string_view text, const char* section, VLIBSZHASH** hash) {
    int taken = 0;
    const auto result = ForEachPairOf(text, section, [&](const Line& pair) {
        ++taken;
        return SetPair(*hash, pair.name, pair.value) == 0;
    });
    if (result == SectionResult::kAbsent) {
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
    }
    return result == SectionResult::kRead ? taken : -1;
}

int Fail(int error) {
    VLIBCErrSet(error);
    return -1;
}

/// The last value of a key of a flat file; a null view when the key is absent.
std::string_view FindValue(std::string_view text, std::string_view key) {
    std::string_view value;
    ForEachPair(text, "=", [&](const Line& pair) {
        value = pair.name == key ? pair.value : value;
        return true;
    });
    return value;
}

}  // namespace

}  // namespace vlib

using namespace vlib;

extern "C" {

int VLIBCFileGetKeys(const char* path, const VLIBSZLIST* keys, VLIBSZHASH** hash,
                     const char* separator) {
    if (path == nullptr || hash == nullptr || *hash == nullptr || separator == nullptr
        || *separator == '\0') {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto file = ReadFileText(path);
    if (!file) {
        return -1;
    }
    int taken = 0;
    const bool done = ForEachPair(file->View(), separator, [&](const Line& pair) {
        if (keys != nullptr && !Contains(*keys, pair.name)) {
            return true;
        }
        ++taken;
        return SetPair(*hash, pair.name, pair.value) == 0;
    });
    return done ? taken : -1;
}

int VLIBCFileGetKeyValue(const char* path, const char* key, char* value, int size,
                         int /*options*/) {
    if (path == nullptr || key == nullptr || value == nullptr || size < 1) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto file = ReadFileText(path);
    if (!file) {
        return -1;
    }
    const std::string_view found = FindValue(file->View(), key);
    return found.data() == nullptr ? Fail(VLIB_ERR_NOT_FOUND)
                                   : CopyOut(Unquote(found), value, size);
}

int VLIBCFileCheckKeyValue(const char* path, const char* key, const char* value, int ignoreCase) {
    if (path == nullptr || key == nullptr || value == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return 0;
    }
    const auto file = ReadFileText(path);
    const std::string_view found = file ? FindValue(file->View(), key) : std::string_view();
    if (found.data() == nullptr) {
        return 0;
    }
    const std::string_view actual = Unquote(found);
    const std::string_view wanted(value);
    if (ignoreCase == 0 || actual.size() != wanted.size()) {
        return actual == wanted ? 1 : 0;
    }
    return ::strncasecmp(actual.data(), wanted.data(), wanted.size()) == 0 ? 1 : 0;
}

int VLIBCFileEnumSection(const char* path, VLIBSZLIST** list) {
    if (path == nullptr || list == nullptr || *list == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto file = ReadFileText(path);
    if (!file) {
        return -1;
    }
    std::unordered_set<std::string_view> seen;
    std::string_view rest = file->View();
    std::string_view line;
    while (SkipToHeader(rest) && CutLine(rest, line)) {
        const Line parsed = ParseLine(LineText(line));
        if (parsed.kind == LineKind::kHeader && seen.insert(parsed.name).second
            && PushText(*list, parsed.name) < 0) {
            return -1;
        }
    }
    return static_cast<int>(seen.size());
}

int VLIBCFileGetSection(const char* path, const char* section, VLIBSZHASH** hash) {
    if (path == nullptr || section == nullptr || hash == nullptr || *hash == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto file = ReadFileText(path);
    if (!file) {
        return -1;
    }
    return TakeSection(file->View(), section, hash);
}

int VLIBCFileGetSectionValue(const char* path, const char* section, const char* key, char* value,
                             int size) {
    if (path == nullptr || section == nullptr || key == nullptr || value == nullptr || size < 1) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto file = ReadFileText(path);
    if (!file) {
        return -1;
    }
    const std::string_view wanted(key);
    std::string_view found;
    ForEachPairOf(file->View(), section, [&](const Line& pair) {
        found = pair.name == wanted ? pair.value : found;
        return true;
    });
    return found.data() == nullptr ? Fail(VLIB_ERR_NOT_FOUND) : CopyOut(found, value, size);
}
}
