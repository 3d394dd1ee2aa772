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
constexpr char kRecord[] = "/run/vexo/lan_prefixes.json";
constexpr char kUnit[] = "vexonet-radvd.service";

// A host keeps what is withdrawn for two hours at most (RFC 4862, 5.5.3).
constexpr std::time_t kToldToLetGo = 7200;

// Short, so that hosts which a withdrawal did not reach do not hold on for days (RFC 9096, 3.3).
constexpr int kPreferredSeconds = 2700;
constexpr int kValidSeconds = 5400;
constexpr int kRouterSeconds = 1800;

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

std::string PrefixText(const Announcement& each) {
    const std::string lifetimes =
        IsGranted(each) ? "        AdvPreferredLifetime " + std::to_string(kPreferredSeconds)
                              + ";\n        AdvValidLifetime " + std::to_string(kValidSeconds)
                              + ";\n        DeprecatePrefix on;\n"
                        : "        AdvPreferredLifetime 0;\n        AdvValidLifetime 0;\n";
    return "    prefix " + each.prefix + "/64\n    {\n" + lifetimes + "    };\n";
}

std::string InterfaceText(const std::string& lan, const Announcements& prefixes) {
    // Without a prefix of its own a LAN has nothing that could be answered to.
    const bool isRouter = std::ranges::any_of(prefixes, IsGranted);
    std::string text = "interface " + lan + "\n{\n    AdvSendAdvert on;\n    AdvCurHopLimit 0;\n"
                       "    AdvDefaultLifetime "
                       + std::to_string(isRouter ? kRouterSeconds : 0) + ";\n";
    for (const Announcement& each : prefixes) {
        text += PrefixText(each);
    }
    return text + "};\n";
}

std::string RecordText(const Announcements& announcements) {
    Json::Value all(Json::arrayValue);
    for (const Announcement& each : announcements) {
        Json::Value entry;
        entry["lan"] = each.lan;
        entry["prefix"] = each.prefix;
        entry["withdrawn_until"] = Json::Int64(each.withdrawnUntil);
        all.append(entry);
    }
    return vexonetwork::utils::ToTabbedText(all);
}

/// Derived, and of this boot only: it need not survive a power cut.
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
    ::unlink(kRecord);
    return ::unlink(kConfiguration);
}

int StartOrReload() {
    if (::VLIBCExecl(VLIB_EXEC_QUIET, "/bin/systemctl", "reload-or-restart", kUnit, nullptr) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to start or reload %s", kUnit);
        return -1;
    }
    return 0;
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
        const auto lan = GetString(each, "lan");
        const auto prefix = GetString(each, "prefix");
        const Json::Value until =
            each.isObject() ? each.get("withdrawn_until", Json::Value()) : Json::Value();
        if (lan && prefix && until.isInt64()) {
            announcements.push_back({*lan, *prefix, static_cast<std::time_t>(until.asInt64())});
        }
    }
    return announcements;
}

Announcements NextAnnouncements(const Announcements& former, const std::vector<LanPrefix>& grants,
                                std::time_t now) {
    Announcements next;
    for (const LanPrefix& each : grants) {
        if (CanBeWritten(each.lan)) {
            next.push_back({each.lan, each.Text(), 0});
        } else {
            VEXO_LOG(LOG_ERR,
                     "Nothing is announced on interface [%s]: its name must be of letters, digits "
                     "and -._, and no word of radvd.conf",
                     each.lan.c_str());
        }
    }
    if (next.empty()) {
        return next;
    }
    const Announcements granted = next;
    for (Announcement each : former) {
        if (IsGranted(each)) {
            each.withdrawnUntil = now + kToldToLetGo;
        }
        if (each.withdrawnUntil > now && !HasGrant(granted, each)) {
            next.push_back(each);
        }
    }
    return next;
}

std::string RadvdConfiguration(const Announcements& announcements) {
    std::map<std::string, Announcements> lans;
    for (const Announcement& each : announcements) {
        lans[each.lan].push_back(each);
    }
    std::string text = "# Made of the routers' configuration; to change it: vexonetctl prefix\n";
    for (const auto& [lan, prefixes] : lans) {
        text += InterfaceText(lan, prefixes);
    }
    return text;
}

std::set<std::string> LansOf(const Announcements& announcements) {
    std::set<std::string> lans;
    for (const Announcement& each : announcements) {
        lans.insert(each.lan);
    }
    return lans;
}

int Announce(const Announcements& announcements) {
    if (announcements.empty()) {
        return Stop();
    }
    const std::string text = RadvdConfiguration(announcements);
    const bool isSame = vexonetwork::utils::FileToStr(kConfiguration) == text;
    if (isSame && ::VEXOCSystemdActiveStatusGet(kUnit) == 1) {
        return 0;
    }
    if (Write(kRecord, RecordText(announcements)) != 0 || Write(kConfiguration, text) != 0) {
        return -1;
    }
    return StartOrReload();
}

}  // namespace vexo::network::ipv6::router
