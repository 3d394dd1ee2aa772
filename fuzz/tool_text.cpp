#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <deque>
#include <sstream>
#include <string>

#include <vexo/hook_report.h>
#include <vexonetwork/utils/json_reader.h>

#include "facts/event_file.h"
#include "facts/hook_events.h"
#include "facts/router_record.h"
#include "fuzz.h"
#include "print/logged_event.h"
#include "print/printable.h"

// What the tool shows of others' messages and files. The first byte chooses: a datagram, the text
// of a hook's report, the event log, of which the second byte says how many lines are shown, or the
// file of routers.

namespace {

using namespace vexonetctl;
using vexonetwork::utils::ParseJson;

int sender = -1;

std::string Framed(const std::string& text) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(NLMSG_HDRLEN + text.size() + 1);
    header.nlmsg_type = VEXO_HOOK_REPORT_TYPE;
    return std::string(reinterpret_cast<const char*>(&header), sizeof header) + text + '\0';
}

void CheckShown(const std::string& text) {
    const std::string shown = Printable(text);
    Require(std::none_of(shown.begin(), shown.end(),
                         [](unsigned char c) { return c < ' ' || c == 0x7f; }));
    Require(LengthWithin(shown, WidthOf(shown)) == shown.size() || shown.empty());
}

/// Datagrams of our own, which the kernel marks with their sender as it does the group's.
vexobase::UniqueFd OpenReports() {
    const int on = 1;
    int ends[2];
    Require(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) == 0);
    Require(::setsockopt(ends[0], SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0);
    sender = ends[1];
    return vexobase::UniqueFd(ends[0]);
}

std::optional<Event> Report(const std::string& datagram) {
    static HookEvents hooks(OpenReports());
    ::send(sender, datagram.data(), datagram.size(), 0);
    return hooks.Read();
}

void ReadReport(const std::string& text) {
    Json::Value expected;
    const bool isObject = ParseJson(text.c_str(), expected) && expected.isObject();
    const auto event = Report(Framed(text));
    // Only root is believed.
    Require(event.has_value() == (isObject && ::geteuid() == 0));
    Require(!event || event->details == expected);
    CheckShown(event ? event->text : "");
}

void ReadLog(const std::string& input) {
    const std::size_t count = 1 + (input.empty() ? 0 : static_cast<unsigned char>(input[0]) % 8);
    const std::string text = input.substr(input.empty() ? 0 : 1);
    std::deque<std::string> last;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        last.push_back(line);
    }
    last.erase(last.begin(), last.end() - std::ptrdiff_t(std::min(count, last.size())));
    const bool isThere = VisitLastLines(MemoryFile(text).Path(), count, [&](const auto& line) {
        Require(!last.empty() && line == last.front());
        last.pop_front();
        Json::Value entry;
        if (const auto event = ParseJson(line, entry) ? ReadLoggedEvent(entry) : std::nullopt) {
            CheckShown(LocalTimeOf(*event));
        }
    });
    Require(isThere && last.empty());
}

void ReadRouterFile(const std::string& text) {
    Json::Value routers;
    if (!ParseJson(text, routers) || !routers.isObject()) {
        return;
    }
    for (const std::string& ifname : routers.getMemberNames()) {
        const RouterRecord record = RecordOf(routers, ifname);
        Require(record.age.value_or(0) >= 0);
        CheckShown(record.gateway);
    }
    Require(!RecordOf(routers, "none such").age);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return Choose(bytes, size, Report, ReadReport, ReadLog, ReadRouterFile);
}
