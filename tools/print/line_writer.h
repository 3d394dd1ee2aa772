#pragma once

#include <string>

namespace vexonetctl {

/// Writes lines to standard output at once, for as long as somebody reads them and no signal of
/// `stop` has come. A slow reader cannot hold up the end.
class LineWriter {
  public:
    /// @param stop  a descriptor that is readable when all shall end
    explicit LineWriter(int stop);

    /// Writes the line and a newline.
    /// @return false when it is time to end; a Failure when the output cannot be written
    bool Write(const std::string& line);

  private:
    int stop;
};

}  // namespace vexonetctl
