#include <spawn.h>
#include <sys/mman.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include <vexo/default_gateway.h>
#include <vexo/net_interface.h>
#include <vexonetwork/network/module/route_module.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/exec.h>
#include <vlib/file.h>

#include "fuzz.h"

// Each line of an input is a request that each method of the route module has to serve. Nothing is
// thrown on the way, and the lists can still be written, whatever was asked for.
//
// What would change the system that the fuzzer runs on is defined here in place of the libraries'
// own: files are written to memory and programs are not run.

namespace {

using namespace vexonetwork::network::module;

int exitStatus = 0;  ///< of each program that would have been run

void Serve(RouteModule& module, Json::Value& request) {
    for (const char* method :
         {"ADD_GATEWAY_DATA", "GET_GATEWAY_LIST_DATA", "SET_SLAVE_DATA", "COPY_GATEWAY_DATA",
          "GET_GATEWAY_DATA_BY_INTERFACE", "REFRESH_GATEWAY", "DEL_GATEWAY_DATA"}) {
        request["method"] = method;
        Json::Value reply;
        Require(module.ProcessRequest(request, reply) == 0);
        for (const GATEWAY_TYPE type : {GTYPE_V4, GTYPE_V6}) {
            Require(module.WriteGatewayListToFile(type) == 0);
            Require(module.WriteGatewayToDatabase(type, true, true) == 0);
        }
    }
}

}  // namespace

extern "C" {

int mkdir(const char* /*path*/, mode_t /*mode*/) noexcept {
    return 0;
}

int mkostemp(char* /*path*/, int /*flags*/) {
    return ::memfd_create("request", MFD_CLOEXEC);
}

int rename(const char* /*from*/, const char* /*to*/) noexcept {
    return 0;
}

int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                char* const*, char* const*) {
    return EPERM;
}

int VLIBCExecl(int /*options*/, const char* /*path*/, ...) {
    return exitStatus;
}

int VLIBCFileExist(const char* /*path*/) {
    return 1;
}

int VLIBCFileEnumSection(const char* /*path*/, VLIBSZLIST** /*list*/) {
    return 0;
}

int VEXONetDefaultGatewayGet(char* gateway, int /*size*/) {
    *gateway = '\0';
    return 0;
}

int VEXONetDefaultGatewaySet(const char* /*gateway*/) {
    return 0;
}

int VEXONetIFGetInfo(const char* /*ifname*/, VEXONETIFINFO* /*info*/, int /*options*/) {
    return 0;
}

void syslog(int /*priority*/, const char* format, ...) {
    Require(std::strstr(format, "Failed to process request") == nullptr);  // something was thrown
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    exitStatus = static_cast<int>(size % 2);
    RouteModule module;
    std::istringstream lines(std::string(reinterpret_cast<const char*>(bytes), size));
    for (std::string line; std::getline(lines, line);) {
        Json::Value request;
        if (vexonetwork::utils::ParseJson(line, request) && request.isObject()) {
            Serve(module, request);
        }
    }
    return 0;
}
}
