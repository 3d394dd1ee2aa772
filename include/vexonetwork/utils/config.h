#pragma once

#include <map>
#include <string>

namespace vexonetwork::utils {

using KeyValueMap = std::map<std::string, std::string>;
using SectionMap = std::map<std::string, KeyValueMap>;

/// A file of `key=value` lines held in memory. Every operation that returns int gives 0, or -1
/// after a line in the system log. An object is for one thread; processes that share a file take a
/// FileLock around Read and Write.
class Config {
  public:
    Config() = default;
    explicit Config(const std::string& path) : name(path) {}
    virtual ~Config() = default;

    virtual int Write() = 0;
    virtual int Read() = 0;

    std::string GetNameString() const { return name; }

    /// Valid until the name changes or the object dies.
    const char* GetNameCString() const { return name.c_str(); }

    /// Redirects later reads and writes; what is held stays.
    void SetName(const std::string& path) { name = path; }

    /// The folder of the path, by dirname(3) of its first 1023 bytes.
    std::string GetDirName() const;

  protected:
    std::string name;
};

/// A flat file.
class ConfigNoSection : public Config {
  public:
    using Config::Config;

    /// Sets a key. A bool is stored as "yes" or "no"; a double with six significant digits.
    void AddKeyValue(const std::string& key, const std::string& value);
    void AddKeyValue(const std::string& key, const char* value);
    void AddKeyValue(const std::string& key, bool value);
    void AddKeyValue(const std::string& key, int value);
    void AddKeyValue(const std::string& key, double value);

    /// The value of a key; an absent one is added with an empty value, which Write then writes.
    std::string GetKeyValue(const std::string& key) { return keyValues[key]; }
    KeyValueMap GetKeyValues() const { return keyValues; }

    /// Sets every key in the file, which keeps the keys that are not held here.
    int Write() override;

    /// Replaces what is held by what the file holds; on failure it stays.
    int Read() override;

  private:
    KeyValueMap keyValues;
};

/// A file divided into sections.
class ConfigSection : public Config {
  public:
    using Config::Config;

    /// Sets a key of a section, as ConfigNoSection does; the section is added when absent.
    void AddKeyValue(const std::string& section, const std::string& key, const std::string& value);
    void AddKeyValue(const std::string& section, const std::string& key, const char* value);
    void AddKeyValue(const std::string& section, const std::string& key, bool value);
    void AddKeyValue(const std::string& section, const std::string& key, int value);
    void AddKeyValue(const std::string& section, const std::string& key, double value);

    /// The value of a key; an absent section or key is added, with an empty value.
    std::string GetKeyValue(const std::string& section, const std::string& key) {
        return sections[section][key];
    }
    SectionMap GetKeyValues() const { return sections; }

    bool Find(const std::string& section) const { return sections.contains(section); }

    /// @return whether there was such a section
    bool DeleteSection(const std::string& section) { return sections.erase(section) > 0; }

    bool Empty() const { return sections.empty(); }

    /// Writes everything to a new file beside the target, mode 0600, and syncs it. A failure
    /// leaves no file. When the file cannot even be created, the process keeps umask 0177.
    /// @param path  takes the new file's path; unchanged on failure
    int WriteTemp(std::string& path);

    /// Replaces the file at once: whoever opens it finds the former contents or the new ones. On
    /// failure the former file is untouched.
    int Write() override;

    /// Replaces each section that the file holds; others that are held stay. A section without
    /// keys is a failure; the sections before it are then taken over.
    int Read() override;

  private:
    SectionMap sections;
};

}  // namespace vexonetwork::utils
