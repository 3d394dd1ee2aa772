#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexonetwork::network {

/// One section of a file, with the comments above its header. Its lines are kept as they stand.
class Section {
  public:
    /// @param lines  with the header
    Section(std::string sectionName, std::string lines);

    /// An empty one: its header alone.
    explicit Section(const std::string& sectionName)
        : Section(sectionName, "[" + sectionName + "]\n") {}

    const std::string& Name() const { return name; }
    const std::string& Text() const { return text; }

    /// The value of a key as people mean it (vexobase::Unquote); "" when there is none. The last
    /// one counts.
    std::string Value(std::string_view key) const;

    /// The same verbatim, as ConfigSection reads the files that programs write.
    std::string VerbatimValue(std::string_view key) const;

    /// Its lines that set none of these keys, their beginnings only.
    std::vector<std::string> UnknownLines(std::span<const std::string_view> keys) const;

    /// Sets a key, or takes it out when `value` is empty.
    void Set(std::string_view key, const std::string& value);

    /// Appends the lines, with the header, of another section of this name.
    void Append(std::string_view lines);

  private:
    void TakePairs(std::string_view lines);

    std::string name;
    std::string text;
    std::vector<std::pair<std::string, std::string>> pairs;  ///< that the text holds
};

/// A sectioned key=value file that people edit too (the grammar of vexobase/key_value_text.h).
/// Whatever is not changed stays as it stands, also lines that make no sense; but sections of one
/// name are joined where the first one stands. Read in one pass.
struct SectionFile {
    std::vector<Section> sections;
    std::string rest;  ///< what stands behind the last section's lines, or all without sections

    std::string Text() const;

    static SectionFile Parse(std::string_view text);

    /// A missing file is an empty one.
    /// @return nothing when it is there and cannot be read
    static std::optional<SectionFile> Read(const std::string& path);

    /// Replaces the file at once, and makes its folder if need be. What would be too long to be
    /// read again is refused.
    /// @return whether it could be written; the former file is untouched otherwise
    [[nodiscard]] bool Write(const std::string& path) const;
};

/// Tells whether files are still the ones that were read.
class FileStamps {
  public:
    FileStamps() = default;

    /// Looks at the files now.
    explicit FileStamps(const std::vector<std::string>& paths);

    bool operator==(const FileStamps&) const = default;

  private:
    std::vector<long long> facts;
};

}  // namespace vexonetwork::network
