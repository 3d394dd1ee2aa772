#include "vexo/dns.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <vexobase/log.h>
#include <vexobase/replace_file.h>

#include "vlib/error.h"
#include "vlib/file_text.h"

namespace {

constexpr char kResolvConf[] = "/etc/resolv.conf";
constexpr const char* kServerFiles[] = {"/etc/iproute2/config/resolv4.conf",
                                        "/etc/iproute2/config/resolv6.conf"};

/// The whole file; "" when it does not exist, nothing with errno when it cannot be read.
std::optional<std::string> ReadIfThere(const char* path) {
    const auto text = vlib::ReadFileText(path);
    if (!text) {
        return errno == ENOENT ? std::optional<std::string>("") : std::nullopt;
    }
    return std::string(text->View());
}

/// As the resolver reads it: the keyword at the very beginning of the line, then a blank.
bool IsServerLine(std::string_view line) {
    constexpr std::string_view kKeyword = "nameserver";
    return line.starts_with(kKeyword) && line.size() > kKeyword.size()
           && (line[kKeyword.size()] == ' ' || line[kKeyword.size()] == '\t');
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void AddServers(const std::string& text, std::vector<std::string>& servers) {
    for (const std::string& line : SplitLines(text)) {
        std::string keyword;
        std::string server;
        if (IsServerLine(line) && std::istringstream(line) >> keyword >> server
            && std::ranges::find(servers, server) == servers.end()) {
            servers.push_back(server);
        }
    }
}

/// The text with its server lines replaced; they stand where the first one stood, or at the end.
std::string PutServers(const std::string& text, const std::vector<std::string>& servers) {
    std::vector<std::string> lines = SplitLines(text);
    const auto place = std::ranges::find_if(lines, IsServerLine) - lines.begin();
    std::erase_if(lines, IsServerLine);
    std::ostringstream result;
    const auto writeServers = [&] {
        for (const std::string& server : servers) {
            result << "nameserver " << server << '\n';
        }
    };
    for (std::ptrdiff_t i = 0; i < std::ssize(lines); ++i) {
        if (i == place) {
            writeServers();
        }
        result << lines[static_cast<std::size_t>(i)] << '\n';
    }
    if (place >= std::ssize(lines)) {
        writeServers();
    }
    return result.str();
}

int Fail(const char* doing, const char* path, int code) {
    VEXO_LOG(LOG_ERR, "Failed to %s [%s]: %s", doing, path, std::strerror(errno));
    VLIBCErrSet(code);
    return -1;
}

}  // namespace

int VEXONetDNSUpdate_S(void) {
    std::vector<std::string> servers;
    for (const char* path : kServerFiles) {
        const auto text = ReadIfThere(path);
        if (!text) {
            return Fail("read", path, VLIB_ERR_OPEN_FAILED);
        }
        AddServers(*text, servers);
    }
    const auto former = ReadIfThere(kResolvConf);
    if (!former) {
        return Fail("read", kResolvConf, VLIB_ERR_OPEN_FAILED);
    }
    const std::string wanted = PutServers(*former, servers);
    if (wanted != *former && vexobase::ReplaceFile(kResolvConf, wanted) != 0) {
        return Fail("write", kResolvConf, VLIB_ERR_WRITE_FAILED);
    }
    return 0;
}
