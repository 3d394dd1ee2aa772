#include "network/devices/upnp/description_fetch.h"

namespace vexonetwork::network {

namespace {

/// What follows a description that came whole: the status of HTTP and that of the program.
constexpr char kReport[] = "\n%{http_code} %{exitcode}";
constexpr std::string_view kSuccess = "\n200 0";

}  // namespace

PipedProgram StartFetch(const std::string& ifname, const std::string& location) {
    // A name that could be a host's is taken for one unless it is said to be an interface's.
    const std::string interface = "if!" + ifname;
    const std::string maxBytes = std::to_string(kMaxDescriptionBytes);
    return StartProgram(kFetchProgram, "-q", "--silent", "--globoff", "--path-as-is", "--proto",
                        "=http", "--max-redirs", "0", "--noproxy", "*", "--max-time", "5",
                        "--max-filesize", maxBytes.c_str(), "--interface", interface.c_str(),
                        "--write-out", kReport, "--url", location.c_str());
}

std::optional<DeviceDescription> ReadFetched(std::string_view output) {
    if (!output.ends_with(kSuccess)) {
        return std::nullopt;
    }
    return ParseDescription(output.substr(0, output.size() - kSuccess.size()));
}

}  // namespace vexonetwork::network
