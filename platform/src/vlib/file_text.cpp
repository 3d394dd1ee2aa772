#include "file_text.h"

#include <cerrno>

#include "vlib/error.h"

namespace vlib {

std::optional<vexobase::FileText> ReadFileText(const char* path) {
    auto text = vexobase::ReadFileText(path);
    if (!text) {
        VLIBCErrSet(errno == ENOENT ? VLIB_ERR_NOT_FOUND : VLIB_ERR_OPEN_FAILED);
    }
    return text;
}

}  // namespace vlib
