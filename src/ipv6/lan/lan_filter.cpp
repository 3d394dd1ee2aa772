#include "ipv6/lan/lan_filter.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/utils/file.h>

#include "nftables/own_table.h"

namespace vexo::network::ipv6::router {

namespace {

using vexonetwork::nftables::OwnTable;

// What was written, by which whoever watches knows it. Of this boot, as the table is.
constexpr char kRecord[] = "/run/vexo/lan_filter.nft";

constexpr char kRules[] = R"(	chain forward {
		type filter hook forward priority filter; policy accept;
		iifname @uplinks ip6 daddr @lans jump from_outside
	}
	chain from_outside {
		ct state { established, related } return
		icmpv6 type { destination-unreachable, packet-too-big, time-exceeded, parameter-problem, echo-request, echo-reply } return
		meta l4proto { esp, ah } return
		udp dport 500 return
		reject with icmpv6 admin-prohibited
	}
)";

const OwnTable& Table() {
    static const OwnTable table("lan");
    return table;
}

std::string Joined(const std::vector<std::string>& elements) {
    std::string text;
    for (const std::string& each : elements) {
        text += (text.empty() ? "" : ", ") + each;
    }
    return text;
}

std::string SetText(const std::string& head, const std::vector<std::string>& elements) {
    return "\tset " + head + "\n\t\telements = { " + Joined(elements) + " }\n\t}\n";
}

int Failed(const char* what, const std::string& why) {
    VEXO_LOG(LOG_ERR, "Failed to %s the rules that guard the LANs: %s", what, why.c_str());
    return -1;
}

}  // namespace

std::string LanFilterText(const Guarded& guarded) {
    std::vector<std::string> uplinks;
    for (const std::string& each : guarded.uplinks) {
        if (const auto name = vexonetwork::nftables::Quoted(each)) {
            uplinks.push_back(*name);
        } else {
            VEXO_LOG(LOG_ERR, "LANs are not guarded against [%s]: nftables has no such name",
                     each.c_str());
        }
    }
    std::vector<std::string> prefixes;
    for (const vexobase::IpPrefix& each : guarded.prefixes) {
        prefixes.push_back(ToText(each));
    }
    if (uplinks.empty() || prefixes.empty()) {
        return "";
    }
    return SetText("uplinks {\n\t\ttype ifname;", uplinks)
           + SetText("lans {\n\t\ttype ipv6_addr; flags interval; auto-merge;", prefixes) + kRules;
}

int PutLanFilter(const Guarded& guarded) {
    const std::string text = LanFilterText(guarded);
    if (text.empty()) {
        // A kernel that refuses has no tables.
        Table().Delete();
        ::unlink(kRecord);
        return 0;
    }
    if (!Table().Holds(text)) {
        if (const auto complaint = Table().Write(text)) {
            return Failed("write", *complaint);
        }
    }
    const bool isRecorded =
        vexonetwork::utils::FileToStr(kRecord) == text
        || vexobase::ReplaceFile(kRecord, text, vexobase::FolderSync::kLater) == 0;
    return isRecorded ? 0 : Failed("record", std::strerror(errno));
}

bool IsLanFilterWhole() {
    const std::string text = vexonetwork::utils::FileToStr(kRecord);
    return text.empty() || Table().Holds(text);
}

}  // namespace vexo::network::ipv6::router
