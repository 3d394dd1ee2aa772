#pragma once

#include <map>
#include <string>

/// What VLIBPluginSDKInit opens: one announcement in the making.
struct VLIBPLUGIN {
    std::string category;
    std::string name;
    std::map<std::string, std::string> arguments;
    bool blocking = false;
};
