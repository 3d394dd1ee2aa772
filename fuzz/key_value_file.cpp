#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vexobase/unique_fd.h>
#include <vlib/file.h>

#include "fuzz.h"
#include "utils/sz_containers.h"

// Any bytes are read, written section by section, and read again: writing what was read the second
// time gives the same bytes.

namespace {

using vexonetwork::utils::UniqueSzHash;
using vexonetwork::utils::UniqueSzList;

/// A file without a folder, so that a run touches no disk.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string& bytes) : fd(::memfd_create("fuzz", MFD_CLOEXEC)) {
        Require(::write(fd.Get(), bytes.data(), bytes.size())
                == static_cast<ssize_t>(bytes.size()));
    }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(fd.Get()); }

  private:
    vexobase::UniqueFd fd;
};

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    constexpr size_t kMostBytes = 4096;  // each key is looked up in the whole file
    if (size <= kMostBytes) {
        const MemoryFile file(std::string(reinterpret_cast<const char*>(bytes), size));
        CheckFlat(file.Path());
        const MemoryFile copy(Rewrite(file.Path()));
        Require(Rewrite(copy.Path()) == Rewrite(file.Path()));
    }
    return 0;
}
