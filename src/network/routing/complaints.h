#pragma once

#include <set>
#include <string>
#include <utility>

namespace vexonetwork::network {

/// Says in the log what is wrong, once for as long as it stays wrong, for work that is done again
/// and again. Of many complaints the first tell enough.
class Complaints {
  public:
    /// A new look at everything begins.
    void Begin() {
        former = std::exchange(present, {});
        count = 0;
    }

    /// Logs the text unless it was said the last time too.
    void Say(const std::string& text);

    /// What was said last.
    const std::string& Last() const { return last; }

  private:
    std::set<std::string> former;
    std::set<std::string> present;
    std::string last;
    int count = 0;
};

}  // namespace vexonetwork::network
