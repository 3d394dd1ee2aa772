#include "support/files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vexotest {

namespace fs = std::filesystem;

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& contents) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
}

void WriteScript(const std::string& path, const std::string& body) {
    WriteFile(path, "#!/bin/sh\n" + body + "\n");
    fs::permissions(path, fs::perms{0755});
}

std::size_t Count(const std::string& text, const std::string& word) {
    std::size_t count = 0;
    for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

TempFolder::TempFolder() : path("/tmp/vexotest.XXXXXX") {
    if (::mkdtemp(path.data()) == nullptr) {
        std::abort();
    }
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

int OpenDescriptors() {
    const fs::directory_iterator open("/proc/self/fd");
    return static_cast<int>(std::distance(fs::begin(open), fs::end(open)));
}

}  // namespace vexotest
