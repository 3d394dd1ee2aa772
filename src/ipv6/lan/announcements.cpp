#include "ipv6/lan/announcements.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <map>
#include <string_view>

#include <vexo/systemd.h>
#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/utils/file.h>
#include <vexonetwork/utils/json_reader.h>
#include <vlib/exec.h>
#include <vlib/file.h>

namespace vexo::network::ipv6::router {

namespace {

using vexobase::FolderSync;
using vexobase::ReplaceFile;
using vexonetwork::utils::GetString;

constexpr char kConfiguration[] = "/run/vexo/radvd.conf";
// Kept over a boot: hosts do not forget what was announced before it (RFC 9096, 3.5).
constexpr char kRecord[] = "/var/lib/vexonet/lan_prefixes.json";
constexpr char kUnit[] = "vexonet-radvd.service";

// A host keeps what is withdrawn for two hours at most (RFC 4862, 5.5.3).
constexpr std::time_t kToldToLetGo = 7200;

// Of a LAN, the last ones: a provider that delegates another prefix every minute would otherwise
// make advertisements longer than a packet.
constexpr int kMaxWithdrawn = 8;

// Short, so that hosts which a withdrawal did not reach do not hold on for days (RFC 9096, 3.3).
constexpr int kPreferredSeconds = 2700;
constexpr int kValidSeconds = 5400;

// Of a router and its DNS servers, which hosts learn again three times in that time.
constexpr int kRouterSeconds = 1800;
constexpr int kMinRouterSeconds = 30;  // radvd advertises every ten seconds at most

// One renewal may fail.
constexpr int kUnseenSeconds = 2 * kRenewal;

/// What radvd is to say of a prefix.
struct Terms {
    int preferred = 0;
    int valid = 0;
    bool countDown = false;
};

bool IsGranted(const Announcement& announcement) {
    return announcement.withdrawnUntil == 0;
}

bool HasGrant(const Announcements& announcements, const Announcement& wanted) {
    return std::ranges::any_of(announcements, [&](const Announcement& each) {
        return IsGranted(each) && each.lan == wanted.lan && each.prefix == wanted.prefix;
    });
}

/// Whether radvd.conf takes this for the name of an interface, and not for a number or a word of
/// its own; it has no quotes.
bool CanBeWritten(const std::string& lan) {
    static constexpr std::array<std::string_view, 8> kWords = {
        "interface", "prefix", "route", "clients", "on", "off", "low", "high"};
    return std::ranges::find(kWords, lan) == kWords.end()
           && std::ranges::any_of(lan, [](unsigned char c) { return std::isalpha(c) != 0; })
           && std::ranges::all_of(lan, [](unsigned char c) {
                  return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_';
              });
}

int SecondsLeft(std::time_t until, std::time_t now, std::time_t limit) {
    return static_cast<int>(std::clamp<std::time_t>(until - now, 0, limit));
}

/// radvd counts the whole seconds between two advertisements, which are three seconds apart at
/// least; so its clock may be slow by a quarter.
int CountFrom(std::time_t until, std::time_t now, int usual) {
    return std::min(usual, SecondsLeft(until, now, 2 * usual) * 3 / 4);
}

Terms TermsOf(const Lifetimes& until, std::time_t now) {
    if (until.preferredUntil <= now) {
        // radvd does not announce what has counted down to its end.
        return {0, SecondsLeft(until.validUntil, now + kUnseenSeconds, kValidSeconds), false};
    }
    const auto mayEndUnseen = [now](std::time_t end, int usual) {
        return SecondsLeft(end, now, usual + kUnseenSeconds) < usual + kUnseenSeconds;
    };
    if (!mayEndUnseen(until.preferredUntil, kPreferredSeconds)
        && !mayEndUnseen(until.validUntil, kValidSeconds)) {
        return {kPreferredSeconds, kValidSeconds, false};
    }
    const int valid = CountFrom(until.validUntil, now, kValidSeconds);
    const int preferred = CountFrom(until.preferredUntil, now, kPreferredSeconds);
    return {std::max(1, std::min(preferred, valid)), std::max(1, valid), true};
}

Terms TermsOf(const Announcement& each, std::time_t now) {
    return IsGranted(each) ? TermsOf(each.until, now) : Terms();
}

std::string PrefixText(const Announcement& each, std::time_t now) {
    const Terms terms = TermsOf(each, now);
    return "    prefix " + each.prefix + "/64\n    {\n        AdvPreferredLifetime "
           + std::to_string(terms.preferred) + ";\n        AdvValidLifetime "
           + std::to_string(terms.valid) + ";\n"
           + (terms.countDown ? "        DecrementLifetimes on;\n" : "")
           + (IsGranted(each) ? "        DeprecatePrefix on;\n" : "") + "    };\n";
}

std::string NameServerText(const std::vector<std::string>& servers, int seconds) {
    std::string text;
    for (const std::string& each : servers) {
        text += " " + each;
    }
    return text.empty() ? ""
                        : "    RDNSS" + text + "\n    {\n        AdvRDNSSLifetime "
                              + std::to_string(seconds) + ";\n    };\n";
}

std::string InterfaceText(const std::string& lan, const Announcements& prefixes,
                          const Outside& outside, std::time_t now) {
    int valid = 0;
    for (const Announcement& each : prefixes) {
        valid = std::max(valid, TermsOf(each, now).valid);
    }
    // Without a prefix of its own a LAN has nothing that could be answered to.
    const bool isRouter = valid > 0 && outside.isReached;
    const int seconds =
        valid > 0 ? std::clamp(valid, kMinRouterSeconds, kRouterSeconds) : kRouterSeconds;
    std::string text = "interface " + lan + "\n{\n    AdvSendAdvert on;\n    AdvCurHopLimit 0;\n"
                       "    AdvDefaultLifetime "
                       + std::to_string(isRouter ? seconds : 0) + ";\n    MaxRtrAdvInterval "
                       + std::to_string(seconds / 3) + ";\n";
    for (const Announcement& each : prefixes) {
        text += PrefixText(each, now);
    }
    return text + (isRouter ? NameServerText(outside.nameServers, seconds / 3 * 2) : "") + "};\n";
}

std::string RecordText(const Announcements& announcements) {
    Json::Value all(Json::arrayValue);
    for (const Announcement& each : announcements) {
        Json::Value entry;
        entry["lan"] = each.lan;
        entry["prefix"] = each.prefix;
        entry["preferred_until"] = Json::Int64(each.until.preferredUntil);
        entry["valid_until"] = Json::Int64(each.until.validUntil);
        entry["withdrawn_until"] = Json::Int64(each.withdrawnUntil);
        all.append(entry);
    }
    return vexonetwork::utils::ToTabbedText(all);
}

/// A power cut may bring the former one back, by which at worst a prefix ends too early.
int Write(const char* path, const std::string& text) {
    if (ReplaceFile(path, text, FolderSync::kLater) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to write %s: %s", path, std::strerror(errno));
        return -1;
    }
    return 0;
}

int Stop() {
    if (::VLIBCFileExist(kConfiguration) != 1) {
        return 0;
    }
    if (!::VEXOCSystemdStop(kUnit)) {
        VEXO_LOG(LOG_ERR, "Failed to stop %s", kUnit);
        return -1;
    }
    return ::unlink(kConfiguration);
}

int StartOrReload() {
    if (::VLIBCExecl(VLIB_EXEC_QUIET, "/bin/systemctl", "reload-or-restart", kUnit, nullptr) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to start or reload %s", kUnit);
        return -1;
    }
    return 0;
}

/// A time of the record; nothing when there is none.
std::optional<std::time_t> TimeOf(const Json::Value& entry, const char* member) {
    const Json::Value time = entry.isObject() ? entry.get(member, Json::Value()) : Json::Value();
    return time.isInt64() ? std::optional<std::time_t>(time.asInt64()) : std::nullopt;
}

std::optional<Announcement> ReadAnnouncement(const Json::Value& entry) {
    const auto lan = GetString(entry, "lan");
    const auto prefix = GetString(entry, "prefix");
    const auto preferred = TimeOf(entry, "preferred_until");
    const auto valid = TimeOf(entry, "valid_until");
    const auto withdrawn = TimeOf(entry, "withdrawn_until");
    return lan && prefix && preferred && valid && withdrawn
               ? std::optional(Announcement{*lan, *prefix, {*preferred, *valid}, *withdrawn})
               : std::nullopt;
}

/// Those that it was announced with, as long as nobody has told others.
std::optional<Lifetimes> FormerLifetimes(const Announcements& former, const Announcement& wanted) {
    const auto same = std::ranges::find_if(former, [&](const Announcement& each) {
        return each.lan == wanted.lan && each.prefix == wanted.prefix;
    });
    return same == former.end() ? std::nullopt : std::optional(same->until);
}

}  // namespace

Announcements FormerAnnouncements() {
    Json::Value all;
    Announcements announcements;
    const std::string text = vexonetwork::utils::FileToStr(kRecord);
    if (text.empty() || !vexonetwork::utils::ParseJson(text, all) || !all.isArray()) {
        return announcements;
    }
    for (const Json::Value& each : all) {
        if (const auto announcement = ReadAnnouncement(each)) {
            announcements.push_back(*announcement);
        }
    }
    return announcements;
}

Announcements NextAnnouncements(const Announcements& former, const std::vector<LanPrefix>& grants,
                                const Outside& outside, std::time_t now) {
    Announcements next;
    for (const LanPrefix& each : grants) {
        if (CanBeWritten(each.lan)) {
            Announcement wanted{each.lan, each.Text(), {}, 0};
            const auto told = LifetimesOf(each.network, outside.prefixes);
            const auto until = told ? told : FormerLifetimes(former, wanted);
            wanted.until = until.value_or(Lifetimes{now + kPreferredSeconds, now + kValidSeconds});
            if (wanted.until.validUntil > now) {
                next.push_back(wanted);
            }
        } else {
            VEXO_LOG(LOG_ERR,
                     "Nothing is announced on interface [%s]: its name must be of letters, digits "
                     "and -._, and no word of radvd.conf",
                     each.lan.c_str());
        }
    }
    const Announcements granted = next;
    std::map<std::string, int> withdrawn;
    for (Announcement each : former) {
        if (IsGranted(each)) {
            each.withdrawnUntil = now + kToldToLetGo;
        }
        // A clock that was set makes that no longer.
        each.withdrawnUntil = std::min(each.withdrawnUntil, now + kToldToLetGo);
        // The former have the granted ones first, and then the last that were.
        if (each.withdrawnUntil > now && !HasGrant(granted, each)
            && ++withdrawn[each.lan] <= kMaxWithdrawn) {
            next.push_back(each);
        }
    }
    return next;
}

std::string RadvdConfiguration(const Announcements& announcements, const Outside& outside,
                               std::time_t now) {
    std::map<std::string, Announcements> lans;
    for (const Announcement& each : announcements) {
        lans[each.lan].push_back(each);
    }
    std::string text = "# Made of the routers' configuration; to change it: vexonetctl prefix\n";
    for (const auto& [lan, prefixes] : lans) {
        text += InterfaceText(lan, prefixes, outside, now);
    }
    return text;
}

std::set<std::string> LansOf(const Announcements& announcements) {
    std::set<std::string> lans;
    for (const Announcement& each : announcements) {
        lans.insert(each.lan);
    }
    return std::ranges::any_of(announcements, IsGranted) ? lans : std::set<std::string>();
}

int Announce(const Announcements& announcements, const Outside& outside, std::time_t now) {
    if (announcements != FormerAnnouncements() && Write(kRecord, RecordText(announcements)) != 0) {
        return -1;
    }
    if (LansOf(announcements).empty()) {
        return Stop();
    }
    const std::string text = RadvdConfiguration(announcements, outside, now);
    const bool isSame = vexonetwork::utils::FileToStr(kConfiguration) == text;
    if (isSame && ::VEXOCSystemdActiveStatusGet(kUnit) == 1) {
        return 0;
    }
    return Write(kConfiguration, text) == 0 ? StartOrReload() : -1;
}

}  // namespace vexo::network::ipv6::router
