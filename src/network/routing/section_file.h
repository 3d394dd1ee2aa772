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
    Section(std::string sectionName, std::string lines);

    /// An empty one: its header alone.
    explicit Section(const std::string& sectionName)
        : Section(sectionName, "[" + sectionName + "]\n") {}

    const std::string& Name() const { return name; }
    const std::string& Text() const { return text; }

    /// The value of a key without blanks around it; "" when there is none. The last one counts.
    std::string Value(std::string_view key) const;

    /// Its lines that set none of these keys, their beginnings only.
    std::vector<std::string> Strays(std::span<const std::string_view> keys) const;

    /// Sets a key, or takes it out when `value` is empty.
    void Set(std::string_view key, const std::string& value);

  private:
    void ReadPairs();

    std::string name;
    std::string text;
    std::vector<std::pair<std::string, std::string>> pairs;  ///< that the text holds
};

/// A sectioned key=value file that people edit too: whatever is not changed stays as it stands,
/// also lines that make no sense. Read in one pass.
struct SectionFile {
    std::vector<Section> sections;
    std::string rest;  ///< what stands behind the last section's lines, or all without sections

    std::string Text() const;

    static SectionFile Parse(std::string_view text);

    /// A missing file is an empty one.
    /// @return nothing when it is there and cannot be read
    static std::optional<SectionFile> Read(const std::string& path);

    /// Replaces the file at once, and makes its folder if need be.
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
