#include <fcntl.h>
#include <libgen.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <locale>
#include <memory>
#include <sstream>

#include <vexobase/log.h>
#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

#include "utils/sz_containers.h"

namespace vexonetwork::utils {

namespace {

constexpr int kCapacity = 1024;
constexpr mode_t kPrivateMask = 0177;

std::string ToText(bool value) {
    return value ? "yes" : "no";
}

template <typename Number>
std::string ToText(Number value) {
    std::ostringstream text;
    // The files are read by others: no grouping and no comma, whatever the process's locale.
    text.imbue(std::locale::classic());
    text << value;
    return text.str();
}

int ConvertHashToMap(const VLIBSZHASH* hash, KeyValueMap& map) {
    if (hash == nullptr) {
        VEXO_LOG(LOG_ERR, "Null hash");
        return -1;
    }
    map.clear();
    for (int i = 0; i < hash->count; ++i) {
        const VLIBSZPAIR& pair = hash->pairs[i];
        if (pair.key != nullptr) {
            map.insert_or_assign(pair.key, pair.value);
        }
    }
    return 0;
}

/// The platform sees texts up to a NUL, so one inside would be lost without notice.
bool HasNul(const std::string& text) {
    return text.find('\0') != text.npos;
}

int FillHash(const KeyValueMap& pairs, UniqueSzHash& hash) {
    for (const auto& [key, value] : pairs) {
        if (HasNul(key) || HasNul(value)
            || VLIBCSzHashSetValue(hash.Address(), key.c_str(), value.c_str()) < 0) {
            VEXO_LOG(LOG_ERR, "Failed to set hash value[%s][%s]", key.c_str(), value.c_str());
            return -1;
        }
    }
    return 0;
}

UniqueSzHash AllocHash() {
    UniqueSzHash hash(VLIBCSzHashAlloc(kCapacity));
    if (!hash) {
        VEXO_LOG(LOG_ERR, "Failed to allocate memory");
    }
    return hash;
}

int CheckFile(const char* path) {
    if (VLIBCFileExist(path) != 1) {
        VEXO_LOG(LOG_ERR, "[%s] does not exist", path);
        return -1;
    }
    return 0;
}

int CheckDirOf(const Config& config) {
    const std::string dir = config.GetDirName();
    if (CheckAndMakeDir(dir, 0755) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to check and make [%s]", dir.c_str());
        return -1;
    }
    return 0;
}

void RemoveIfThere(const std::string& path) {
    if (VLIBCFileExist(path.c_str()) == 1 && ::unlink(path.c_str()) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to remove file [%s]", path.c_str());
    }
}

/// A new file beside a target, open for writing; removed again unless it was finished.
class TemporaryFile {
  public:
    /// The path is cut where the platform's path buffers end.
    explicit TemporaryFile(const std::string& target)
        : path((target + ".tmp.XXXXXX").substr(0, 1023)) {}
    ~TemporaryFile() {
        if (created) {
            RemoveIfThere(path);
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool Open();
    bool Finish();

    FILE* Stream() const { return stream.get(); }
    const std::string& Path() const { return path; }

  private:
    using OpenStream = std::unique_ptr<FILE, decltype(&std::fclose)>;

    std::string path;
    bool created = false;
    OpenStream stream{nullptr, &std::fclose};
};

bool TemporaryFile::Open() {
    const std::string pathTemplate = path;
    const mode_t formerMask = ::umask(kPrivateMask);
    vexobase::UniqueFd fd(::mkostemp(path.data(), O_CLOEXEC));
    if (!fd) {
        // The strict mask stays on purpose: once a folder has refused a file, what this process
        // creates is its owner's alone.
        VEXO_LOG(LOG_ERR, "Failed to create a temporary file [%s]", pathTemplate.c_str());
        return false;
    }
    created = true;
    ::umask(formerMask);
    stream.reset(::fdopen(fd.Get(), "w"));
    if (stream == nullptr) {
        VEXO_LOG(LOG_ERR, "Failed to open a temporary file [%s]", pathTemplate.c_str());
        return false;
    }
    static_cast<void>(fd.Release());
    return true;
}

/// Brings the contents to the disk. A short file must not take the target's place, so every
/// failure counts.
bool TemporaryFile::Finish() {
    const bool flushed = std::fflush(stream.get()) == 0 && ::fsync(::fileno(stream.get())) == 0;
    const bool closed = std::fclose(stream.release()) == 0;
    if (!flushed || !closed) {
        VEXO_LOG(LOG_ERR, "Failed to write a temporary file [%s]", path.c_str());
        return false;
    }
    created = false;
    return true;
}

}  // namespace

std::string Config::GetDirName() const {
    char path[1024] = {};
    name.copy(path, sizeof path - 1);
    return ::dirname(path);
}

void ConfigNoSection::AddKeyValue(const std::string& key, const std::string& value) {
    keyValues[key] = value;
}

void ConfigNoSection::AddKeyValue(const std::string& key, const char* value) {
    keyValues[key] = value;
}

void ConfigNoSection::AddKeyValue(const std::string& key, bool value) {
    keyValues[key] = ToText(value);
}

void ConfigNoSection::AddKeyValue(const std::string& key, int value) {
    keyValues[key] = ToText(value);
}

void ConfigNoSection::AddKeyValue(const std::string& key, double value) {
    keyValues[key] = ToText(value);
}

int ConfigNoSection::Read() {
    if (CheckFile(GetNameCString()) != 0) {
        return -1;
    }
    UniqueSzHash hash = AllocHash();
    if (!hash) {
        return -1;
    }
    if (VLIBCFileGetKeys(GetNameCString(), nullptr, hash.Address(), "=") < 0) {
        VEXO_LOG(LOG_ERR, "Failed to get keys");
        return -1;
    }
    if (ConvertHashToMap(hash.Get(), keyValues) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to convert hash to map");
        return -1;
    }
    return 0;
}

int ConfigNoSection::Write() {
    if (CheckDirOf(*this) != 0) {
        return -1;
    }
    UniqueSzHash pairs = AllocHash();
    if (!pairs) {
        return -1;
    }
    const UniqueSzHash none = AllocHash();
    if (!none || FillHash(keyValues, pairs) != 0) {
        return -1;
    }
    if (VLIBCFileSetKeys(GetNameCString(), pairs.Get(), none.Get(), 0) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to set keys");
        return -1;
    }
    return 0;
}

void ConfigSection::AddKeyValue(const std::string& section, const std::string& key,
                                const std::string& value) {
    sections[section][key] = value;
}

void ConfigSection::AddKeyValue(const std::string& section, const std::string& key,
                                const char* value) {
    sections[section][key] = value;
}

void ConfigSection::AddKeyValue(const std::string& section, const std::string& key, bool value) {
    sections[section][key] = ToText(value);
}

void ConfigSection::AddKeyValue(const std::string& section, const std::string& key, int value) {
    sections[section][key] = ToText(value);
}

void ConfigSection::AddKeyValue(const std::string& section, const std::string& key, double value) {
    sections[section][key] = ToText(value);
}

int ConfigSection::Read() {
    if (CheckFile(GetNameCString()) != 0) {
        return -1;
    }
    UniqueSzList names(VLIBCSzListAlloc(kCapacity));
    if (!names) {
        VEXO_LOG(LOG_ERR, "Failed to allocate memory");
        return -1;
    }
    UniqueSzHash pairs = AllocHash();
    if (!pairs) {
        return -1;
    }
    if (VLIBCFileEnumSection(GetNameCString(), names.Address()) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to enum sections in [%s]", GetNameCString());
        return -1;
    }
    for (int i = 0; i < names->count; ++i) {
        const char* section = VLIBCSzListGet(names.Get(), i);
        if (VLIBCFileGetSection(GetNameCString(), section, pairs.Address()) <= 0) {
            VEXO_LOG(LOG_ERR, "Failed to get section [%s] in [%s]", section, GetNameCString());
            return -1;
        }
        if (ConvertHashToMap(pairs.Get(), sections[section]) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to convert hash to map");
            return -1;
        }
        VLIBCHashRemoveAll(pairs.Get());
    }
    return 0;
}

int ConfigSection::WriteTemp(std::string& path) {
    TemporaryFile file(name);
    if (!file.Open()) {
        return -1;
    }
    UniqueSzHash pairs = AllocHash();
    if (!pairs) {
        return -1;
    }
    for (const auto& [section, keyValues] : sections) {
        VLIBCHashRemoveAll(pairs.Get());
        if (FillHash(keyValues, pairs) != 0) {
            return -1;
        }
        if (HasNul(section)
            || VLIBCFileHash2File(file.Stream(), section.c_str(), pairs.Get(), "\t%s=%s\n") != 0) {
            VEXO_LOG(LOG_ERR, "Failed to add section [%s] in [%s]", section.c_str(),
                     GetNameCString());
            return -1;
        }
    }
    if (!file.Finish()) {
        return -1;
    }
    path = file.Path();
    return 0;
}

int ConfigSection::Write() {
    if (CheckDirOf(*this) != 0) {
        return -1;
    }
    std::string temporary;
    if (WriteTemp(temporary) < 0) {
        VEXO_LOG(LOG_ERR, "Failed to create a temoprary file for [%s]", GetNameCString());
        return -1;
    }
    if (::rename(temporary.c_str(), GetNameCString()) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to rename file from [%s] to [%s]", temporary.c_str(),
                 GetNameCString());
        RemoveIfThere(temporary);
        return -1;
    }
    return 0;
}

}  // namespace vexonetwork::utils
