#include "utils/temporary_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vexobase/file_text.h>
#include <vexobase/unique_fd.h>
#include <vlib/file.h>

#define VEXO_LOG_SOURCE "config"
#include <vexobase/log.h>

namespace vexonetwork::utils {

namespace {

constexpr mode_t kPrivateMask = 0177;
constexpr std::size_t kLongestPath = 1023;

}  // namespace

TemporaryFile::TemporaryFile(const std::string& target)
    : path((target + ".tmp.XXXXXX").substr(0, kLongestPath)) {}

TemporaryFile::~TemporaryFile() {
    if (created) {
        RemoveIfThere(path);
    }
}

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
    std::setvbuf(stream.get(), buffer, _IOFBF, sizeof buffer);
    return true;
}

bool TemporaryFile::Finish() {
    // Neither a short file nor one too long to be read may take the target's place.
    const bool fits = ::ftello(stream.get()) <= static_cast<off_t>(vexobase::kMaxFileBytes);
    const bool flushed =
        fits && std::fflush(stream.get()) == 0 && ::fsync(::fileno(stream.get())) == 0;
    const bool closed = std::fclose(stream.release()) == 0;
    if (!flushed || !closed) {
        VEXO_LOG(LOG_ERR, "Failed to write a temporary file [%s]", path.c_str());
        return false;
    }
    created = false;
    return true;
}

void RemoveIfThere(const std::string& path) {
    if (VLIBCFileExist(path.c_str()) == 1 && ::unlink(path.c_str()) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to remove file [%s]", path.c_str());
    }
}

}  // namespace vexonetwork::utils
