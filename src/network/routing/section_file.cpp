#include "network/routing/section_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <unordered_map>

#include <vexobase/file_text.h>
#include <vexobase/key_value_text.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/utils/file.h>

namespace vexonetwork::network {
namespace {

using vexobase::Line;
using vexobase::LineKind;

void EndLastLine(std::string& text) {
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
}

/// Calls `take(line, its text)` for each line; the pairs before the first header are none.
template <typename Take>
void ForEachLine(std::string_view text, Take take) {
    bool isBehindHeader = false;
    for (std::string_view line; vexobase::CutLine(text, line);) {
        Line parsed = vexobase::ParseLine(vexobase::LineText(line));
        isBehindHeader = isBehindHeader || parsed.kind == LineKind::kHeader;
        if (parsed.kind == LineKind::kPair && !isBehindHeader) {
            parsed.kind = LineKind::kOther;
        }
        take(parsed, line);
    }
}

/// A value that is read back as it is.
std::string Quoted(const std::string& value) {
    return vexobase::Unquote(value) == value ? value : '"' + value + '"';
}

}  // namespace

Section::Section(std::string sectionName, std::string lines)
    : name(std::move(sectionName)), text(std::move(lines)) {
    TakePairs(text);
}

void Section::TakePairs(std::string_view lines) {
    for (const vexobase::SectionPairs& section : vexobase::ParseSections(lines)) {
        pairs.insert(pairs.end(), section.pairs.begin(), section.pairs.end());
    }
}

std::string Section::VerbatimValue(std::string_view key) const {
    const auto last = std::find_if(pairs.rbegin(), pairs.rend(),
                                   [key](const auto& pair) { return pair.first == key; });
    return last == pairs.rend() ? std::string() : last->second;
}

std::string Section::Value(std::string_view key) const {
    return std::string(vexobase::Unquote(VerbatimValue(key)));
}

std::vector<std::string> Section::UnknownLines(std::span<const std::string_view> keys) const {
    constexpr std::size_t kMaxShown = 64;
    std::vector<std::string> unknown;
    ForEachLine(text, [&](const Line& line, std::string_view its) {
        const bool isKnown =
            line.kind == LineKind::kPair && std::ranges::find(keys, line.name) != keys.end();
        if (!isKnown && (line.kind == LineKind::kPair || line.kind == LineKind::kOther)) {
            unknown.emplace_back(vexobase::Trim(vexobase::LineText(its)).substr(0, kMaxShown));
        }
    });
    return unknown;
}

void Section::Set(std::string_view key, const std::string& value) {
    std::string kept;
    ForEachLine(text, [&](const Line& line, std::string_view its) {
        if (line.kind != LineKind::kPair || line.name != key) {
            kept += its;
        }
    });
    EndLastLine(kept);
    if (!value.empty()) {
        kept.append("\t").append(key).append("=").append(Quoted(value)).append("\n");
    }
    text = std::move(kept);
    pairs.clear();
    TakePairs(text);
}

void Section::Append(std::string_view lines) {
    EndLastLine(text);
    text += lines;
    TakePairs(lines);
}

std::string SectionFile::Text() const {
    std::string text;
    for (const Section& section : sections) {
        text += section.Text();
        EndLastLine(text);
    }
    return text + rest;
}

SectionFile SectionFile::Parse(std::string_view text) {
    SectionFile file;
    std::unordered_map<std::string_view, std::size_t> places;
    const std::string_view whole = text;
    std::optional<std::string_view> name;  // of the section that is being read
    std::size_t begin = 0;
    std::size_t end = 0;  // comments behind it go with the header below them, if one follows
    const auto finish = [&] {
        if (!name) {
            return;
        }
        const std::string_view lines = whole.substr(begin, end - begin);
        const auto [place, isNew] = places.try_emplace(*name, file.sections.size());
        if (isNew) {
            file.sections.emplace_back(std::string(*name), std::string(lines));
        } else {
            file.sections[place->second].Append(lines);
        }
        begin = end;
    };
    for (std::string_view line; vexobase::CutLine(text, line);) {
        const Line parsed = vexobase::ParseLine(vexobase::LineText(line));
        if (parsed.kind == LineKind::kHeader) {
            finish();
            name = parsed.name;
        }
        if (parsed.kind != LineKind::kComment && parsed.kind != LineKind::kBlank) {
            end = whole.size() - text.size();
        }
    }
    finish();
    file.rest = whole.substr(begin);
    return file;
}

std::optional<SectionFile> SectionFile::Read(const std::string& path) {
    const auto file = vexobase::ReadFileText(path.c_str());
    if (!file) {
        return errno == ENOENT || errno == ENOTDIR ? std::optional(SectionFile()) : std::nullopt;
    }
    return Parse(file->View());
}

bool SectionFile::Write(const std::string& path) const {
    const std::string text = Text();
    return text.size() <= vexobase::kMaxFileBytes
           && utils::CheckAndMakeDir(path.substr(0, path.rfind('/')), 0755) == 0
           && vexobase::ReplaceFile(path, text) == 0;
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
