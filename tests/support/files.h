#pragma once

#include <string>

namespace vexotest {

/// The whole file; "" when it cannot be opened.
std::string ReadFile(const std::string& path);

/// Writes the whole file and makes the folders above it.
void WriteFile(const std::string& path, const std::string& contents);

/// Writes a shell script with this body, which anybody may run.
void WriteScript(const std::string& path, const std::string& body);

/// How often a word stands in a text.
std::size_t Count(const std::string& text, const std::string& word);

/// A folder of the test's own, removed with everything in it.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return path; }
    std::string operator/(const std::string& name) const { return path + "/" + name; }

  private:
    std::string path;
};

/// Number of descriptors this process has open: compared before and after, it shows a leak.
int OpenDescriptors();

}  // namespace vexotest
