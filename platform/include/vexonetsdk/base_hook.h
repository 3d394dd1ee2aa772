#pragma once

#include <map>
#include <string>

namespace vexonetsdk::hook {

/// One announcement to the executables in /usr/vexo/hooks/CATEGORY/NAME/, with an environment.
class BaseHook {
  public:
    BaseHook(const std::string& category, const std::string& name);
    virtual ~BaseHook() = default;

    void SetEnv(const std::string& key, const std::string& value);

    /// @return the value, "" when the key was not set
    std::string GetEnv(const std::string& key) const;

    /// Whether the hook says enough to be run; derived classes know.
    virtual bool IsValid() const { return true; }

    /// Runs the executables and waits for each, at most 30 s. Without a folder of executables it
    /// costs one look at the file system.
    /// @return 0, also when there are none; -1 when the hook is not valid or one of them failed
    int ExecHook();

  private:
    std::string hookCategory;
    std::string hookName;
    std::map<std::string, std::string> environment;
};

}  // namespace vexonetsdk::hook
