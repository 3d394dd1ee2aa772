#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include <vexobase/unique_fd.h>
#include <vexonetwork/utils/config.h>

#include "ratio.h"
#include "raw_files.h"
#include "support/files.h"

namespace vexobench {

void WriteSyncRename(const std::string& path, const std::string& bytes) {
    const std::string temporary = path + ".raw";
    vexobase::UniqueFd fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (::write(fd.Get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())
        || ::fsync(fd.Get()) != 0) {
        std::perror(temporary.c_str());
    }
    fd.Reset();
    std::rename(temporary.c_str(), path.c_str());
}

namespace {

Measurement SectionWrite() {
    constexpr int kSections = 100;
    constexpr int kKeys = 5;
    const std::string path = Scratch() + "/sections";
    vexonetwork::utils::ConfigSection config(path);
    for (int section = 0; section < kSections; ++section) {
        for (int key = 0; key < kKeys; ++key) {
            config.AddKeyValue(std::to_string(section), "key" + std::to_string(key),
                               "192.0.2." + std::to_string(section));
        }
    }
    config.Write();
    const std::string bytes = vexotest::ReadFile(path);
    return Alternate(
        200, [&] { config.Write(); }, [&] { WriteSyncRename(path, bytes); });
}

}  // namespace

std::vector<Figure> FileFigures() {
    return {{"ConfigSection::Write, 100 sections", "write, fsync, rename of the same bytes", 1.2,
             SectionWrite}};
}

}  // namespace vexobench
