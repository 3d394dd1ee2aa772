#include "network/routing/table_number.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string_view>

#include <vexobase/file_text.h>
#include <vexobase/replace_file.h>

#include "network/parse_number.h"
#include "network/routing/locks.h"
#include "network/routing/route_socket.h"

#define VEXO_LOG_SOURCE "policy_route"
#include <vexobase/log.h>

namespace vexonetwork::network {
namespace {

constexpr char kRouteTables[] = "/etc/iproute2/rt_tables";
constexpr char kFurtherTables[] = "/etc/iproute2/rt_tables.d";
constexpr std::uint32_t kFirstFree = 100;
constexpr std::uint32_t kLastFree = 199;

/// The lines, each with its newline.
/// @return nothing when the file is there and cannot be read: it must not be replaced then
std::optional<std::string> ReadTables(const std::string& path) {
    const auto file = vexobase::ReadFileText(path.c_str());
    if (!file) {
        return errno == ENOENT || errno == ENOTDIR ? std::optional<std::string>("") : std::nullopt;
    }
    std::string text(file->View());
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

std::optional<std::uint32_t> ToNumber(std::string_view text) {
    return text.starts_with("0x") ? ParseNumber(text.substr(2), 16) : ParseNumber(text);
}

/// The files beside the one of ours, as ip(8) reads them.
std::string ReadFurtherTables() {
    std::string text;
    std::error_code ignored;
    for (std::filesystem::directory_iterator entry(kFurtherTables, ignored), end; entry != end;
         entry.increment(ignored)) {
        if (entry->path().extension() == ".conf") {
            text += ReadTables(entry->path()).value_or("");
        }
    }
    return text;
}

/// Those who use tables need not give them names.
bool IsUsedByOthers(RouteSocket& socket, std::uint32_t number) {
    return std::ranges::any_of(std::array{AF_INET, AF_INET6}, [&](int family) {
        const auto routes = socket.Routes(family, number);
        return routes && std::ranges::any_of(*routes, [](const Route& route) {
                   return route.protocol != kOurProtocol;
               });
    });
}

std::optional<std::uint32_t> Free(const TableNumbers& numbers) {
    RouteSocket socket;
    for (std::uint32_t number = kFirstFree; number <= kLastFree; ++number) {
        if (std::ranges::none_of(numbers, [=](const auto& used) { return used.second == number; })
            && !IsUsedByOthers(socket, number)) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Usable(const TableNumbers& numbers, const std::string& table) {
    const auto found = numbers.find(table);
    const bool kernels = found != numbers.end()
                         && (found->second == 0 || (found->second >= 253 && found->second <= 255));
    return found == numbers.end() || kernels ? std::nullopt : std::optional(found->second);
}

}  // namespace

TableNumbers ParseTableNumbers(const std::string& text) {
    TableNumbers numbers;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string number;
        std::string name;
        if (words >> number >> name) {
            if (const auto value = ToNumber(number)) {
                numbers.emplace(name, *value);
            }
        }
    }
    return numbers;
}

bool IsTableName(const std::string& name) {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::string_view kOthers = "0123456789_-.";
    return !name.empty() && name.size() < 32 && kLetters.find(name[0]) != kLetters.npos
           && std::ranges::all_of(name, [=](char c) {
                  return kLetters.find(c) != kLetters.npos || kOthers.find(c) != kOthers.npos;
              });
}

std::optional<std::uint32_t> FindTableNumber(const std::string& table) {
    return Usable(ParseTableNumbers(ReadTables(kRouteTables).value_or("") + ReadFurtherTables()),
                  table);
}

bool AreTableNumbersKnown() {
    return ReadTables(kRouteTables).has_value();
}

std::vector<std::string> TableNames(std::uint32_t number) {
    std::vector<std::string> names;
    for (const auto& [name, its] :
         ParseTableNumbers(ReadTables(kRouteTables).value_or("") + ReadFurtherTables())) {
        if (its == number) {
            names.push_back(name);
        }
    }
    return names;
}

std::optional<std::uint32_t> AllotTableNumber(const std::string& table) {
    if (const auto number = FindTableNumber(table)) {
        return number;
    }
    const ConfigLock lock(kRouteTables);
    if (!lock) {
        return std::nullopt;
    }
    auto text = ReadTables(kRouteTables);
    if (!text) {
        VEXO_LOG(LOG_ERR, "Failed to read config [%s]", kRouteTables);
        return std::nullopt;
    }
    const TableNumbers numbers = ParseTableNumbers(*text + ReadFurtherTables());
    if (numbers.contains(table)) {
        return Usable(numbers, table);
    }
    const auto number = Free(numbers);
    if (!number) {
        VEXO_LOG(LOG_ERR, "Failed to find a free number for table [%s]", table.c_str());
        return std::nullopt;
    }
    *text += std::to_string(*number) + "\t" + table + "\n";
    if (vexobase::ReplaceFile(kRouteTables, *text) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to set file[%s]", kRouteTables);
        return std::nullopt;
    }
    return number;
}

}  // namespace vexonetwork::network
