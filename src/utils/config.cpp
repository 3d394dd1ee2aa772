#include <libgen.h>

#include <cstdio>
#include <locale>
#include <sstream>

#include <vexobase/file_text.h>
#include <vexobase/key_value_text.h>
#include <vexobase/log.h>
#include <vexonetwork/utils/config.h>
#include <vexonetwork/utils/file.h>
#include <vlib/file.h>

#include "utils/sz_containers.h"
#include "utils/temporary_file.h"

namespace vexonetwork::utils {

namespace {

constexpr int kCapacity = 1024;

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

/// @return the number of lines, or -1
int FillHash(const vexobase::SectionPairs& section, UniqueSzHash& hash) {
    for (const auto& [key, value] : section.pairs) {
        if (VLIBCSzHashSetValue(hash.Address(), std::string(key).c_str(),
                                std::string(value).c_str())
            < 0) {
            return -1;
        }
    }
    return static_cast<int>(section.pairs.size());
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
    UniqueSzHash pairs = AllocHash();
    if (!pairs) {
        return -1;
    }
    // From one opening: of a file that is replaced meanwhile the sections are of one state.
    const auto file = vexobase::ReadFileText(GetNameCString());
    if (!file) {
        VEXO_LOG(LOG_ERR, "Failed to enum sections in [%s]", GetNameCString());
        return -1;
    }
    for (const vexobase::SectionPairs& section : vexobase::ParseSections(file->View())) {
        const std::string title(section.name);
        if (FillHash(section, pairs) <= 0) {
            VEXO_LOG(LOG_ERR, "Failed to get section [%s] in [%s]", title.c_str(),
                     GetNameCString());
            return -1;
        }
        if (ConvertHashToMap(pairs.Get(), sections[title]) != 0) {
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
