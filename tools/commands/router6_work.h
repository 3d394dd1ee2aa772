#pragma once

#include <string>

namespace vexonetctl {

/// What the command line of a router6 or prefix command says.
struct Router6Options {
    std::string wan;
    std::string lan;
    std::string prefix;
    std::string remote;
    std::string local;
    bool isDefault = false;
    bool isOpen = false;
    bool json = false;
};

/// The work of the commands; a Failure says what was refused.
void Create6in4(const Router6Options& options);
void Create6to4(const Router6Options& options);
void CreateNative(const Router6Options& options);
void DestroyRouter(const Router6Options& options);
void RestoreRouters(const Router6Options& options);
void ListRouters(const Router6Options& options);
void ShowRouter(const Router6Options& options);
void ListPrefixes(const Router6Options& options);
void AllocatePrefix(const Router6Options& options);
void DeallocatePrefix(const Router6Options& options);

}  // namespace vexonetctl
