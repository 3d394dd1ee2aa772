#include "network/routing/section_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <vexobase/replace_file.h>
#include <vexonetwork/utils/file.h>

namespace vexonetwork::network {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view Trim(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// Cuts the next line, with its newline, off the front.
std::string_view CutLine(std::string_view& rest) {
    const auto line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    rest.remove_prefix(line.size());
    return line;
}

std::optional<std::string_view> HeaderOf(std::string_view line) {
    line = Trim(line);
    const auto end = line.find(']');
    return line.starts_with('[') && end != line.npos ? std::optional(line.substr(1, end - 1))
                                                     : std::nullopt;
}

bool IsRemark(std::string_view line) {
    line = Trim(line);
    return line.empty() || line.starts_with('#') || line.starts_with(';');
}

/// The key and value of a line that has any.
std::optional<std::pair<std::string_view, std::string_view>> PairIn(std::string_view line) {
    const auto equals = line.find('=');
    return equals == line.npos || IsRemark(line)
               ? std::nullopt
               : std::optional(
                   std::pair(Trim(line.substr(0, equals)), Trim(line.substr(equals + 1))));
}

}  // namespace

Section::Section(std::string sectionName, std::string lines)
    : name(std::move(sectionName)), text(std::move(lines)) {
    ReadPairs();
}

void Section::ReadPairs() {
    pairs.clear();
    bool isBehindHeader = false;  // what stands before the first header sets nothing
    for (std::string_view left = text; !left.empty();) {
        const auto line = CutLine(left);
        const auto pair = PairIn(line);
        if (HeaderOf(line)) {
            isBehindHeader = true;
        } else if (pair && isBehindHeader) {
            pairs.emplace_back(*pair);
        }
    }
}

std::string Section::Value(std::string_view key) const {
    std::string value;
    for (const auto& [each, its] : pairs) {
        if (each == key) {
            value = its;
        }
    }
    return value;
}

std::vector<std::string> Section::Strays(std::span<const std::string_view> keys) const {
    constexpr std::size_t kMostShown = 64;
    std::vector<std::string> strays;
    bool isBehindHeader = false;
    for (std::string_view left = text; !left.empty();) {
        const auto line = CutLine(left);
        const auto pair = PairIn(line);
        if (HeaderOf(line)) {
            isBehindHeader = true;
            continue;
        }
        const bool isKnown = pair && std::find(keys.begin(), keys.end(), pair->first) != keys.end();
        if (!IsRemark(line) && !(isKnown && isBehindHeader)) {
            strays.emplace_back(Trim(line).substr(0, kMostShown));
        }
    }
    return strays;
}

void Section::Set(std::string_view key, const std::string& value) {
    std::string kept;
    for (std::string_view left = text; !left.empty();) {
        const auto line = CutLine(left);
        const auto pair = PairIn(line);
        if (!pair || pair->first != key) {
            kept += line;
        }
    }
    if (!kept.empty() && kept.back() != '\n') {
        kept += '\n';
    }
    if (!value.empty()) {
        kept.append("\t").append(key).append("=").append(value).append("\n");
    }
    text = std::move(kept);
    ReadPairs();
}

std::string SectionFile::Text() const {
    std::string text;
    for (const Section& section : sections) {
        text += section.Text();
        if (!text.empty() && text.back() != '\n') {
            text += '\n';
        }
    }
    return text + rest;
}

SectionFile SectionFile::Parse(std::string_view text) {
    SectionFile file;
    std::string lines;    // of the section that is being read, or what stands before the first
    std::string remarks;  // they go with the header below them, if one follows
    std::string name;
    bool isSection = false;
    while (!text.empty()) {
        const auto line = CutLine(text);
        if (const auto header = HeaderOf(line)) {
            if (isSection) {
                file.sections.emplace_back(std::move(name), std::move(lines));
                lines.clear();
            }
            lines.append(remarks).append(line);
            remarks.clear();
            name = *header;
            isSection = true;
        } else if (IsRemark(line)) {
            remarks += line;
        } else {
            lines.append(remarks).append(line);
            remarks.clear();
        }
    }
    if (isSection) {
        file.sections.emplace_back(std::move(name), std::move(lines));
        lines.clear();
    }
    file.rest = lines + remarks;
    return file;
}

/// By lines, as reading the buffer itself throws for a folder.
std::optional<SectionFile> SectionFile::Read(const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::status(path, ignored).type() == std::filesystem::file_type::not_found) {
        return SectionFile();
    }
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::string line; std::getline(file, line);) {
        text += line + '\n';
    }
    return file.is_open() && !file.bad() ? std::optional(Parse(text)) : std::nullopt;
}

bool SectionFile::Write(const std::string& path) const {
    return utils::CheckAndMakeDir(path.substr(0, path.rfind('/')), 0755) == 0
           && vexobase::ReplaceFile(path, Text()) == 0;
}

FileStamps::FileStamps(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        struct stat status {};
        ::stat(path.c_str(), &status);  // all zero when it is not there
        facts.insert(facts.end(),
                     {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
                      status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
    }
}

}  // namespace vexonetwork::network
