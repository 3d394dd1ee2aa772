#include "network/routing/table_number.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string_view>

#include <vexobase/file_text.h>
#include <vexobase/replace_file.h>

#include "network/parse_number.h"
#include "network/routing/locks.h"
#include "network/routing/table_usage.h"

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
std::optional<std::string> ReadFurtherTables() {
    std::string text;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(kFurtherTables, error), end;
         !error && entry != end; entry.increment(error)) {
        if (entry->path().extension() == ".conf") {
            const auto further = ReadTables(entry->path());
            if (!further) {
                return std::nullopt;
            }
            text += *further;
        }
    }
    const bool isKnown = !error || error == std::errc::no_such_file_or_directory
                         || error == std::errc::not_a_directory;
    return isKnown ? std::optional(text) : std::nullopt;
}

/// The lines of all files, ours first.
std::optional<TableNumbers> ReadNumbers() {
    const auto ours = ReadTables(kRouteTables);
    const auto further = ReadFurtherTables();
    return ours && further ? std::optional(ParseTableNumbers(*ours + *further)) : std::nullopt;
}

std::optional<std::uint32_t> Free(const TableNumbers& numbers) {
    TableUsage usage;
    for (std::uint32_t number = kFirstFree; number <= kLastFree; ++number) {
        if (std::ranges::find(numbers, number, &TableNumbers::value_type::second) == numbers.end()
            && !usage.IsUsed(number)) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> Usable(const TableNumbers& numbers, const std::string& table) {
    const auto found = std::ranges::find(numbers, table, &TableNumbers::value_type::first);
    const bool kernels = found != numbers.end()
                         && (found->second == 0 || (found->second >= 253 && found->second <= 255));
    return found == numbers.end() || kernels ? std::nullopt : std::optional(found->second);
}

AllottedNumber Fault(const std::string& fault) {
    return {{}, fault};
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
                numbers.emplace_back(name, *value);
            }
        }
    }
    return numbers;
}

bool IsTableName(const std::string& name) {
    constexpr std::string_view kFirst =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    constexpr std::string_view kOthers = "_-.";
    return !name.empty() && name.size() < 32 && kFirst.find(name[0]) != kFirst.npos
           && !ToNumber(name) && std::ranges::all_of(name, [=](char c) {
                  return kFirst.find(c) != kFirst.npos || kOthers.find(c) != kOthers.npos;
              });
}

std::optional<std::uint32_t> FindTableNumber(const std::string& table) {
    const auto numbers = ReadNumbers();
    return numbers ? Usable(*numbers, table) : std::nullopt;
}

bool AreTableNumbersKnown() {
    return ReadNumbers().has_value();
}

std::vector<std::string> TableNames(std::uint32_t number) {
    std::vector<std::string> names;
    for (const auto& [name, its] : ReadNumbers().value_or(TableNumbers())) {
        if (its == number) {
            names.push_back(name);
        }
    }
    return names;
}

AllottedNumber AllotTableNumber(const std::string& table) {
    if (const auto number = FindTableNumber(table)) {
        return {number};
    }
    const TablesLock lock;
    if (!lock) {
        return {{},
                "Table [" + table + "] has no number yet: another process holds ["
                    + TablesLock::kPath + "]",
                true};
    }
    auto text = ReadTables(kRouteTables);
    const auto further = ReadFurtherTables();
    if (!text || !further) {
        return Fault(std::string("Failed to read config [") + (text ? kFurtherTables : kRouteTables)
                     + "]");
    }
    const TableNumbers numbers = ParseTableNumbers(*text + *further);
    const bool isNamed =
        std::ranges::find(numbers, table, &TableNumbers::value_type::first) != numbers.end();
    if (isNamed) {
        return {Usable(numbers, table)};
    }
    const auto number = Free(numbers);
    if (!number) {
        return Fault("Failed to find a free number for table [" + table + "]");
    }
    *text += std::to_string(*number) + "\t" + table + "\n";
    if (vexobase::ReplaceFile(kRouteTables, *text) != 0) {
        return Fault(std::string("Failed to set file[") + kRouteTables + "]");
    }
    return {number};
}

}  // namespace vexonetwork::network
