#include "nftables/own_table.h"

#include <linux/netlink.h>
#include <nftables/libnftables.h>
#include <sys/socket.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <vexobase/unique_fd.h>
#include <vexobase/unique_handle.h>

namespace vexonetwork::nftables {
namespace {

using Context = vexobase::UniqueHandle<nft_ctx, nft_ctx_free>;

// An empty chain of this name and the fingerprint of what was written, put in when that stands.
constexpr std::string_view kSeal = "written_";

struct Answer {
    Complaint complaint;
    std::string output;
};

// The library ends the whole process when it gets no socket.
Complaint NoSocket() {
    const vexobase::UniqueFd probe(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER));
    return probe ? Complaint() : Complaint(std::strerror(errno));
}

// Of "Error: REASON", the command and a line that points into it, the first says what is wrong.
std::string FirstLine(const char* text) {
    const std::string_view all = text == nullptr ? "" : text;
    const std::string_view line = all.substr(0, all.find('\n'));
    return line.empty() ? "no reason told" : std::string(line);
}

Answer Run(const std::string& commands) {
    static std::mutex oneAtATime;  // the library's tables of names are common to its contexts
    const std::lock_guard lock(oneAtATime);
    if (Complaint complaint = NoSocket()) {
        return {std::move(complaint), {}};
    }
    const Context context(nft_ctx_new(NFT_CTX_DEFAULT));
    if (!context || nft_ctx_buffer_output(context.Get()) != 0
        || nft_ctx_buffer_error(context.Get()) != 0) {
        return {"out of memory", {}};
    }
    nft_ctx_output_set_flags(context.Get(), NFT_CTX_OUTPUT_STATELESS | NFT_CTX_OUTPUT_NUMERIC_ALL);
    if (nft_run_cmd_from_buffer(context.Get(), commands.c_str()) != 0) {
        return {FirstLine(nft_ctx_get_error_buffer(context.Get())), {}};
    }
    return {{}, nft_ctx_get_output_buffer(context.Get())};
}

// FNV-1a: changes are to be noticed, nobody tries to hide one.
std::string Fingerprint(std::string_view content, std::string_view listing) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const std::string_view text : {content, listing}) {
        for (const char character : text) {
            hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
        }
    }
    char digits[17] = {};
    std::snprintf(digits, sizeof digits, "%016" PRIx64, hash);
    return digits;
}

std::string SealChain(const std::string& fingerprint) {
    return "\n\tchain " + std::string(kSeal) + fingerprint + " {\n\t}\n";
}

}  // namespace

Complaint OwnTable::Write(std::string_view content) const {
    const std::string named = "table inet " + table;
    // The first line makes sure that there is something to delete.
    std::string commands = named + "\ndelete " + named + "\n" + named + " {\n";
    commands.append(content).append("}\n");
    if (Complaint complaint = Run(commands).complaint) {
        return complaint;
    }
    const std::string seal = std::string(kSeal) + Fingerprint(content, List());
    return Run("add chain inet " + table + " " + seal + "\n").complaint;
}

bool OwnTable::Holds(std::string_view content) const {
    std::string listing = List();
    const std::size_t seal = listing.find("\n\tchain " + std::string(kSeal));
    if (seal == listing.npos) {
        return false;
    }
    const std::size_t digits = listing.find(kSeal, seal) + kSeal.size();
    const std::string fingerprint = listing.substr(digits, 16);
    const std::string written = SealChain(fingerprint);
    if (listing.compare(seal, written.size(), written) != 0) {
        return false;
    }
    listing.erase(seal, written.size());
    return Fingerprint(content, listing) == fingerprint;
}

Complaint OwnTable::Delete() const {
    // A kernel that never had a table of ours is not asked to make one first.
    const std::string named = "table inet " + table + "\n";
    return List().empty() ? std::nullopt : Run(named + "delete " + named).complaint;
}

std::string OwnTable::List() const {
    return Run("list table inet " + table + "\n").output;
}

std::optional<std::string> Quoted(std::string_view ifname) {
    if (ifname.empty() || ifname.find_first_of("\"*\\\n") != ifname.npos) {
        return std::nullopt;
    }
    return '"' + std::string(ifname) + '"';
}

}  // namespace vexonetwork::nftables
