#pragma once

#include <optional>

#include <vexobase/file_text.h>

namespace vlib {

/// vexobase::ReadFileText, with the platform's error when it fails.
std::optional<vexobase::FileText> ReadFileText(const char* path);

}  // namespace vlib
