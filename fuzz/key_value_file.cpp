#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <vexobase/unique_fd.h>
#include <vlib/file.h>

#include "utils/sz_containers.h"

// Any bytes are read, written back section by section, and read again: both readings are equal.

namespace {

using vexonetwork::utils::UniqueSzHash;
using vexonetwork::utils::UniqueSzList;

using Pairs = std::map<std::string, std::string>;
using Sections = std::map<std::string, Pairs>;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A file without a folder, so that a run touches no disk.
class MemoryFile {
  public:
    MemoryFile() : fd(::memfd_create("key_value_file", MFD_CLOEXEC)) { Require(bool(fd)); }

    std::string Path() const { return "/proc/self/fd/" + std::to_string(fd.Get()); }
    FILE* Open() const {
        FILE* const stream = std::fopen(Path().c_str(), "w");
        Require(stream != nullptr);
        return stream;
    }

  private:
    vexobase::UniqueFd fd;
};

Pairs ToPairs(const VLIBSZHASH& hash) {
    Pairs pairs;
    for (int i = 0; i < hash.count; ++i) {
        Require(pairs.emplace(hash.pairs[i].key, hash.pairs[i].value).second);
    }
    return pairs;
}

void CheckValues(const std::string& path, const std::string& section, const Pairs& pairs) {
    for (const auto& [key, value] : pairs) {
        std::string buffer(value.size() + 1, '\0');
        Require(VLIBCFileGetSectionValue(path.c_str(), section.c_str(), key.c_str(), buffer.data(),
                                         static_cast<int>(buffer.size()))
                == static_cast<int>(value.size()));
        Require(buffer.c_str() == value);
    }
}

/// Reads every section and writes it to `copy` when there is one.
Sections ReadSections(const std::string& path, FILE* copy) {
    Sections sections;
    UniqueSzList names(VLIBCSzListAlloc(1024));
    Require(VLIBCFileEnumSection(path.c_str(), names.Address()) == names->count);
    for (int i = 0; i < names->count; ++i) {
        const char* const name = VLIBCSzListGet(names.Get(), i);
        UniqueSzHash hash(VLIBCSzHashAlloc(1));
        Require(VLIBCFileGetSection(path.c_str(), name, hash.Address()) >= hash->count);
        Require(sections.emplace(name, ToPairs(*hash.Get())).second);
        CheckValues(path, name, sections[name]);
        Require(copy == nullptr || VLIBCFileHash2File(copy, name, hash.Get(), "\t%s=%s\n") == 0);
    }
    return sections;
}

void CheckFlat(const std::string& path) {
    UniqueSzHash hash(VLIBCSzHashAlloc(1));
    Require(VLIBCFileGetKeys(path.c_str(), nullptr, hash.Address(), "=") >= hash->count);
    for (int i = 0; i < hash->count; ++i) {
        char value[16];
        Require(VLIBCFileGetKeyValue(path.c_str(), hash->pairs[i].key, value, sizeof value, 0)
                < static_cast<int>(sizeof value));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    constexpr size_t kMostBytes = 4096;  // each key is looked up in the whole file
    if (size > kMostBytes) {
        return 0;
    }
    const MemoryFile file;
    FILE* const input = file.Open();
    Require(std::fwrite(bytes, 1, size, input) == size && std::fclose(input) == 0);
    CheckFlat(file.Path());
    const MemoryFile copy;
    FILE* const output = copy.Open();
    const Sections sections = ReadSections(file.Path(), output);
    Require(std::fclose(output) == 0);
    Require(ReadSections(copy.Path(), nullptr) == sections);
    return 0;
}
