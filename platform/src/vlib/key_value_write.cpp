#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <vexobase/file_text.h>
#include <vexobase/key_value_text.h>
#include <vexobase/replace_file.h>

#include "file_text.h"
#include "szhash_text.h"
#include "vlib/error.h"
#include "vlib/file.h"

namespace vlib {

namespace {

using vexobase::CutLine;
using vexobase::IsWritableSection;
using vexobase::kMaxFileBytes;
using vexobase::Line;
using vexobase::LineKind;
using vexobase::LineText;
using vexobase::ParseLine;

/// What stands before the key and between key and value when pairs are written.
struct LineFormat {
    std::string_view indent;
    std::string_view separator;
};

/// Splits a line format at its two %s. The format of a caller is never handed to printf.
std::optional<LineFormat> ParseFormat(const char* format) {
    if (format == nullptr) {
        return LineFormat{"", "="};
    }
    constexpr std::string_view kPlaceholder = "%s";
    constexpr const char* kBlanks = " \t";
    const std::string_view text(format);
    const auto key = text.find(kPlaceholder);
    const auto value = key == text.npos ? key : text.find(kPlaceholder, key + 2);
    if (value == text.npos || text.substr(value) != "%s\n") {
        return std::nullopt;
    }
    const LineFormat parts{text.substr(0, key), text.substr(key + 2, value - key - 2)};
    // So that a line of this format is read back as the same pair.
    const bool isGood = parts.indent.find_first_not_of(kBlanks) == text.npos
                        && parts.separator.ends_with('=')
                        && parts.separator.find_first_not_of(kBlanks) == parts.separator.size() - 1;
    return isGood ? std::optional(parts) : std::nullopt;
}

void AppendPair(std::string& text, const LineFormat& format, const VLIBSZPAIR& pair) {
    text.append(format.indent).append(KeyOf(pair)).append(format.separator).append(ValueOf(pair));
    text.push_back('\n');
}

void AppendSection(std::string& text, const LineFormat& format, std::string_view section,
                   const VLIBSZHASH& hash) {
    text.append("[").append(section).append("]\n");
    for (int slot = 0; slot < hash.count; ++slot) {
        AppendPair(text, format, hash.pairs[slot]);
    }
}

void EndLastLine(std::string& text) {
    if (!text.empty() && text.back() != '\n') {
        text.push_back('\n');
    }
}

/// The text with every pair set: in the line where its key first stood, else at the end.
std::string SetPairs(std::string_view rest, const VLIBSZHASH& pairs, const LineFormat& format) {
    std::string text;
    std::vector<bool> written(static_cast<size_t>(pairs.count));
    const auto write = [&](int slot) {
        if (!written[static_cast<size_t>(slot)]) {
            AppendPair(text, format, pairs.pairs[slot]);
            written[static_cast<size_t>(slot)] = true;
        }
    };
    std::string_view line;
    while (CutLine(rest, line)) {
        const Line parsed = ParseLine(LineText(line));
        const int slot = parsed.kind == LineKind::kPair ? FindPair(pairs, parsed.name) : -1;
        if (slot >= 0) {
            write(slot);
        } else {
            text.append(line);
        }
    }
    EndLastLine(text);
    for (int slot = 0; slot < pairs.count; ++slot) {
        write(slot);
    }
    return text;
}

/// The text with the section's pairs replaced where its header first stood, else at the end.
/// What people wrote between the pairs stays: it may well be about the section that follows.
std::string ReplaceSection(std::string_view rest, std::string_view section, const VLIBSZHASH& hash,
                           const LineFormat& format) {
    std::string text;
    bool written = false;
    bool inside = false;
    std::string_view line;
    while (CutLine(rest, line)) {
        const Line parsed = ParseLine(LineText(line));
        const bool header = parsed.kind == LineKind::kHeader;
        inside = header ? parsed.name == section : inside;
        if (inside && header && !written) {
            AppendSection(text, format, section, hash);
            written = true;
        } else if (!inside || (!header && parsed.kind != LineKind::kPair)) {
            text.append(line);
        }
    }
    EndLastLine(text);
    if (!written) {
        AppendSection(text, format, section, hash);
    }
    return text;
}

int Fail(int error) {
    VLIBCErrSet(error);
    return -1;
}

bool AreWritable(const VLIBSZHASH& hash) {
    for (int slot = 0; slot < hash.count; ++slot) {
        if (!vexobase::IsWritablePair(KeyOf(hash.pairs[slot]), ValueOf(hash.pairs[slot]))) {
            return false;
        }
    }
    return true;
}

/// Replaces the file by `edit(its text)`; a missing file has an empty text.
template <typename Edit>
int EditFile(const char* path, Edit edit) {
    auto file = ReadFileText(path);
    if (!file && errno != ENOENT) {
        return -1;
    }
    const std::string text = edit(file ? file->View() : std::string_view());
    if (text.size() > kMaxFileBytes) {
        return Fail(VLIB_ERR_UNWRITABLE);
    }
    return vexobase::ReplaceFile(path, text) == 0 ? 0 : Fail(VLIB_ERR_WRITE_FAILED);
}

int SetKeys(const char* path, const VLIBSZHASH& pairs, const char* lineFormat) {
    const auto format = ParseFormat(lineFormat);
    if (!format || !AreWritable(pairs)) {
        return Fail(VLIB_ERR_UNWRITABLE);
    }
    return EditFile(path, [&](std::string_view text) { return SetPairs(text, pairs, *format); });
}

}  // namespace

}  // namespace vlib

using namespace vlib;

extern "C" {

int VLIBCFileSetKeys(const char* path, const VLIBSZHASH* keys, const VLIBSZHASH* /*aux*/,
                     int /*options*/) {
    if (path == nullptr || keys == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    return SetKeys(path, *keys, nullptr);
}

int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format) {
    if (path == nullptr || key == nullptr || value == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    // Nothing frees this table or writes through its pointers: it only borrows the texts.
    VLIBSZPAIR pair{const_cast<char*>(key), const_cast<char*>(value), std::strlen(key),
                    std::strlen(value)};
    return SetKeys(path, VLIBSZHASH{1, 1, &pair, nullptr, 0}, format);
}

int VLIBCFileAddSection(const char* path, const char* section, const VLIBSZHASH* hash,
                        const char* format) {
    if (path == nullptr || section == nullptr || hash == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto parts = ParseFormat(format);
    if (!parts || !IsWritableSection(section) || !AreWritable(*hash)) {
        return Fail(VLIB_ERR_UNWRITABLE);
    }
    return EditFile(
        path, [&](std::string_view text) { return ReplaceSection(text, section, *hash, *parts); });
}

int VLIBCFileHash2File(FILE* stream, const char* section, const VLIBSZHASH* hash,
                       const char* format) {
    if (stream == nullptr || section == nullptr || hash == nullptr) {
        return Fail(VLIB_ERR_BAD_PARAMETER);
    }
    const auto parts = ParseFormat(format);
    if (!parts || !IsWritableSection(section) || !AreWritable(*hash)) {
        return Fail(VLIB_ERR_UNWRITABLE);
    }
    std::string text;
    text.reserve(1024);  // most sections
    AppendSection(text, *parts, section, *hash);
    if (text.size() > kMaxFileBytes) {
        return Fail(VLIB_ERR_UNWRITABLE);
    }
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size()
               ? 0
               : Fail(VLIB_ERR_WRITE_FAILED);
}
}
