#include "ipv6/lan/delegation.h"

#include <algorithm>
#include <chrono>
#include <tuple>

#include <vexobase/log.h>
#include <vexobase/log_text.h>
#include <vexonetwork/utils/file.h>

#include "ipv6/router/lan_parts.h"
#include "ipv6/router/router_names.h"

namespace vexo::network::ipv6::router {

namespace {

constexpr std::size_t kMaxPrefixes = 8;
constexpr std::size_t kMaxNameServers = 3;
constexpr std::size_t kMaxFileSize = 4096;

using Words = std::vector<std::string>;

Words WordsOf(std::string_view line) {
    Words words;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        if (end != 0) {
            words.emplace_back(line.substr(0, end));
        }
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return words;
}

/// A time since the boot as one since 1970; what comes fits into 32 bits and the time of a boot.
std::optional<std::time_t> TimeOf(const std::string& word, const Moment& moment) {
    constexpr std::size_t kMaxDigits = 11;
    if (word == "forever") {
        return Lifetimes::kForever;
    }
    const bool isNumber =
        !word.empty() && word.size() <= kMaxDigits
        && std::ranges::all_of(word, [](char each) { return each >= '0' && each <= '9'; });
    return isNumber ? std::optional(moment.since1970 - moment.sinceBoot + std::stoll(word))
                    : std::nullopt;
}

std::optional<Delegation> DelegationOf(const Words& words, const Moment& moment) {
    const auto prefix = words.size() == 3 ? ParseRoutedPrefix(words[0]) : std::nullopt;
    const auto preferred = prefix ? TimeOf(words[1], moment) : std::nullopt;
    const auto valid = prefix ? TimeOf(words[2], moment) : std::nullopt;
    return preferred && valid ? std::optional(Delegation{*prefix, {*preferred, *valid}})
                              : std::nullopt;
}

void TakeNameServers(const Words& words, std::vector<std::string>& servers) {
    for (const std::string& each : words) {
        const auto address = vexobase::ParseAddress(AF_INET6, each);
        if (address && servers.size() < kMaxNameServers) {
            servers.push_back(ToText(*address));
        }
    }
}

}  // namespace

std::optional<Lifetimes> LifetimesOf(const vexobase::IpPrefix& network,
                                     const std::vector<Delegation>& prefixes) {
    const auto whole = std::ranges::find_if(
        prefixes, [&](const Delegation& each) { return each.prefix.Contains(network); });
    return whole == prefixes.end() ? std::nullopt : std::optional(whole->until);
}

Moment Moment::Now() {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    timespec day{};
    timespec boot{};
    ::clock_gettime(CLOCK_REALTIME, &day);
    ::clock_gettime(CLOCK_BOOTTIME, &boot);
    // Rounded together: a time that is told twice is to be the same.
    const nanoseconds bootedAt =
        seconds(day.tv_sec - boot.tv_sec) + nanoseconds(day.tv_nsec - boot.tv_nsec);
    return {day.tv_sec, day.tv_sec - std::chrono::round<seconds>(bootedAt).count()};
}

std::optional<Told> ReadTold(std::string_view text, const Moment& moment, const std::string& path) {
    Told told;
    bool makesSense = false;
    bool makesNone = false;
    text = text.substr(0, kMaxFileSize);
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const Words words = WordsOf(line);
        if (words.empty()) {
            continue;
        }
        const auto delegation = DelegationOf(words, moment);
        if (delegation && told.prefixes.size() < kMaxPrefixes) {
            told.prefixes.push_back(*delegation);
        } else if (words[0] == "dns") {
            TakeNameServers(words, told.nameServers);
        } else if (!delegation && line != "none" && !makesNone) {
            makesNone = true;  // one line of the log is enough
            VEXO_LOG(LOG_ERR, "Left out, as it is no prefix for LANs: [%s] of %s",
                     vexobase::LogText(line).c_str(), path.c_str());
        }
        makesSense = makesSense || delegation || line == "none";
    }
    return makesSense ? std::optional(told) : std::nullopt;
}

std::optional<Told> ToldByClient(const std::string& wan) {
    const std::string path = "/run/vexo/router6/" + wan + ".delegated";
    return HasFiles(wan) ? ReadTold(vexonetwork::utils::FileToStr(path), Moment::Now(), path)
                         : std::nullopt;
}

vexobase::IpPrefix BestPrefix(const std::vector<Delegation>& prefixes,
                              const vexobase::IpPrefix& current, std::time_t now) {
    const auto rank = [&](const Delegation& each) {
        return std::tuple(each.until.preferredUntil > now, each.prefix == current,
                          each.until.preferredUntil, -each.prefix.Length(), each.until.validUntil);
    };
    const Delegation* best = nullptr;
    for (const Delegation& each : prefixes) {
        if (each.until.validUntil > now && (best == nullptr || rank(each) > rank(*best))) {
            best = &each;
        }
    }
    return best == nullptr ? vexobase::IpPrefix() : best->prefix;
}

}  // namespace vexo::network::ipv6::router
