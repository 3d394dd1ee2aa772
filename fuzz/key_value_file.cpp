#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vexonetwork/utils/config.h>
#include <vlib/file.h>

#include "fuzz.h"
#include "network/routing/section_file.h"
#include "utils/sz_containers.h"

// Any bytes are read, written section by section, and read again: writing what was read the second
// time gives the same bytes. All readers of sections find the same in them.

namespace {

using vexonetwork::utils::UniqueSzHash;
using vexonetwork::utils::UniqueSzList;

/// The sections of the file as they are written.
std::string Rewrite(const std::string& path) {
    char* text = nullptr;
    size_t size = 0;
    FILE* const copy = ::open_memstream(&text, &size);
    UniqueSzList names(VLIBCSzListAlloc(1));
    Require(VLIBCFileEnumSection(path.c_str(), names.Address()) == names->count);
    for (int i = 0; i < names->count; ++i) {
        const char* const name = VLIBCSzListGet(names.Get(), i);
        UniqueSzHash hash(VLIBCSzHashAlloc(1));
        Require(VLIBCFileGetSection(path.c_str(), name, hash.Address()) >= hash->count);
        Require(VLIBCFileHash2File(copy, name, hash.Get(), "\t%s=%s\n") == 0);
    }
    Require(std::fclose(copy) == 0);
    std::string result(text, size);
    std::free(text);
    return result;
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

using vexonetwork::utils::SectionMap;

/// What a program reads that takes the file as a whole.
SectionMap Config(const std::string& path) {
    vexonetwork::utils::ConfigSection config(path);
    return config.Read() == 0 ? config.GetKeyValues() : SectionMap();
}

/// What those read of it who keep what people have written.
void CheckEdited(const std::string& text, const SectionMap& expected) {
    using vexonetwork::network::Section;
    using vexonetwork::network::SectionFile;
    SectionFile file = SectionFile::Parse(text);
    for (int round = 0; round < 2; ++round) {
        Require(expected.empty() || file.sections.size() == expected.size());
        for (const Section& section : file.sections) {
            const auto pairs = expected.find(section.Name());
            Require(expected.empty() || pairs != expected.end());
            for (const auto& [key, value] :
                 expected.empty() ? vexonetwork::utils::KeyValueMap() : pairs->second) {
                Require(section.VerbatimValue(key) == value);
            }
        }
        file = SectionFile::Parse(file.Text());
    }
    for (Section& section : file.sections) {
        const std::string value = section.Value("key") + " \"";
        section.Set("key", value);
        Require(section.Value("key") == value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    constexpr size_t kMaxBytes = 4096;  // each key is looked up in the whole file
    if (size <= kMaxBytes) {
        const MemoryFile file(std::string(reinterpret_cast<const char*>(bytes), size));
        CheckFlat(file.Path());
        const MemoryFile copy(Rewrite(file.Path()));
        const SectionMap sections = Config(file.Path());
        Require(sections.empty() || Config(copy.Path()) == sections);
        CheckEdited(std::string(reinterpret_cast<const char*>(bytes), size), sections);
        Require(Rewrite(copy.Path()) == Rewrite(file.Path()));
    }
    return 0;
}
