#pragma once

#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/files.h"

namespace vexotest {

using Lines = std::vector<std::string>;

inline constexpr char kHookLog[] = "/tmp/hooks.log";

/// Has the hook append its name and environment to the log.
inline void InstallHook(const std::string& name) {
    const std::string path = "/usr/vexo/hooks/net/" + name + "/write-down";
    WriteScript(path, "echo " + name + " $(env | grep -Ev '^(PATH|PWD|OLDPWD|SHLVL|_)=' | sort) >>"
                          + kHookLog);
}

/// What the hooks whose name begins so wrote since the last call, of one interface.
inline Lines Hooks(const std::string& name, const std::string& ifname) {
    Lines lines;
    std::istringstream text(ReadFile(kHookLog));
    ::unlink(kHookLog);
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(name) && (line + " ").find(" IFNAME=" + ifname + " ") != line.npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

}  // namespace vexotest
