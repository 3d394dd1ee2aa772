#include <sys/mman.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>

#include <vexo/ipv6_conf.h>
#include <vexo/net_interface.h>
#include <vexonetwork/ipv6/router/router6_factory.h>
#include <vexonetwork/ipv6/router/router6_prefix.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/ip_address.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/file.h>

#include "fuzz.h"

// Each line of an input is what a caller asks for an IPv6 router. Nothing is thrown, no value
// brings a line of its own into the file, and the subnets are addresses.
//
// What would change the system that the fuzzer runs on is defined here in place of the libraries'
// own; a file is written to memory.

namespace {

using namespace vexo::network::ipv6::router;

int fileInMemory = -1;
constexpr int kFileLines = 10;  ///< of a router without LANs

std::ptrdiff_t LinesOfFile() {
    char text[65536];
    const ssize_t length = ::pread(fileInMemory, text, sizeof text, 0);
    ::close(fileInMemory);
    return length == sizeof text ? kFileLines : std::count(text, text + length, '\n');
}

void Use(const Router6Attr& attr) {
    Require(attr.ToJson().isObject());
    if (attr.SaveConfig() == 0) {
        Require(LinesOfFile() == kFileLines);
    }
    Router6Prefix prefixes;
    prefixes.routers = {attr};
    for (const Router6PrefixAttr& row : prefixes.List()) {
        Require(Router6Prefix::NormalizePrefix(row.prefix) == row.prefix);
    }
}

void Ask(const Json::Value& request) {
    for (const std::string type : {"6in4", "6to4", "native", "off", "other"}) {
        Router6Factory factory;
        const std::unique_ptr<Router6Base> router(factory.newRouterV6Instance(type, request));
        Require((router != nullptr || type == "off") == (factory.GetError() == 0));
        if (router) {
            Use(router->attr);
        }
    }
    Require(Router6Factory().newRouterV6Instance(request) == nullptr);  // there is no such file
}

}  // namespace

namespace vexonetwork::utils {

bool SetProcEntry(const std::string& /*path*/, const std::string& /*value*/) {
    return true;
}

IPAddress::AddressList IPAddress::GetIPv4Address(const std::string& /*ifname*/) {
    return {{"198.51.100.7", 24}};
}

}  // namespace vexonetwork::utils

extern "C" {

int mkostemp(char* /*path*/, int /*flags*/) {
    const int fd = ::memfd_create("router", MFD_CLOEXEC);
    fileInMemory = ::dup(fd);
    return fd;
}

int rename(const char* /*from*/, const char* /*to*/) noexcept {
    return 0;
}

int VLIBCFileExist(const char* /*path*/) {
    return 0;
}

int VLIBCFileEnumDir(const char* /*folder*/, const char* /*pattern*/, VLIBSZLIST** /*list*/,
                     int /*type*/) {
    return 0;
}

int VEXOLnxIPv6ProcAction(const char* /*ifname*/, int /*action*/) {
    return 0;
}

int VEXONetIsIFUp(const char* /*ifname*/) {
    return 1;
}

void syslog(int /*priority*/, const char* /*format*/, ...) {}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::istringstream lines(std::string(reinterpret_cast<const char*>(bytes), size));
    for (std::string line; std::getline(lines, line);) {
        Json::Value request;
        if (vexonetwork::utils::ParseJson(line, request)) {
            Ask(request);
        }
    }
    return 0;
}
}
