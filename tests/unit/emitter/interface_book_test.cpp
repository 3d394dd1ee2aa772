#include "emitter/interface_book.h"

#include <gmock/gmock.h>
#include <linux/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <span>
#include <sstream>

// Stories of interfaces in words, as messages or as a snapshot after messages were lost; and what
// the book makes of them.

namespace vexotest {
namespace {

using namespace testing;
using namespace vexonetwork;
using Lines = std::vector<std::string>;

constexpr unsigned kHalfUp = IFF_UP | IFF_RUNNING;
constexpr unsigned kUp = kHalfUp | IFF_LOWER_UP;

LinkEvent Link(const std::string& words) {
    std::istringstream text(words);
    LinkEvent link;
    std::string state;
    text >> link.index >> link.ifname >> state;
    link.flags = state == "up" ? kUp : state == "half-up" ? kHalfUp : unsigned{IFF_UP};
    return link;
}

/// "IFNAME ADDRESS" or "IFNAME ADDRESS/PREFIX"
AddressEvent Address(const std::string& words, bool isNew) {
    std::istringstream text(words);
    AddressEvent event;
    text >> event.ifname;
    std::getline(text >> std::ws, event.address, '/');
    text >> event.prefix;
    event.family = event.address.find(':') == std::string::npos ? AF_INET : AF_INET6;
    event.isNew = isNew;
    return event;
}

/// Does with a book what the emitter does, and writes down what has changed.
class Reader {
  public:
    void Handle(const LinkEvent& link, bool isCurrent = true) {
        if (link.index != 0) {
            VisitAll(book.NoteName(link.index, link.ifname, isCurrent));
        }
        const bool running = (link.flags & IFF_RUNNING) != 0;
        if (book.NoteLink(link.ifname, running)) {
            changes.push_back(link.ifname + (running ? " up" : " down"));
        }
    }

    void Handle(const AddressEvent& event) {
        if (event.family == AF_INET) {
            if (const auto change = book.NoteIPv4(event.ifname, event.address, event.isNew)) {
                changes.push_back(event.ifname + " " + change->former + " > " + change->current);
            }
        } else if (const auto change = book.NoteIPv6(event.ifname, {event.address, event.prefix},
                                                     event.isNew, InterfaceBook::Lists::kJoin)) {
            changes.push_back(event.ifname + " [" + change->former + "] > [" + change->current
                              + "]");
        }
    }

    /// "5 wan0 up", "late 5 wan0 up", "+ wan0 ADDRESS/PREFIX", "- wan0 ADDRESS/PREFIX", "- 5
    /// ADDRESS/PREFIX" where the interface is gone.
    void Tell(const std::string& words) {
        if (words.starts_with("late ")) {
            return Handle(Link(words.substr(5)), false);
        }
        if (std::isdigit(words[0])) {
            return Handle(Link(words));
        }
        AddressEvent event = Address(words.substr(2), words[0] == '+');
        if (std::isdigit(event.ifname[0])) {
            const auto index = static_cast<unsigned>(std::stoi(event.ifname));
            event.ifname = book.NameOf(index, "if" + event.ifname);
        }
        Handle(event);
    }

    void TellAll(const Lines& lines) {
        std::ranges::for_each(lines, [this](const std::string& words) { Tell(words); });
    }

    void VisitAll(const auto& events) {
        std::ranges::for_each(events, [this](const InterfaceEvent& event) {
            std::visit([this](const auto& one) { Handle(one); }, event);
        });
    }

    void Resync(const InterfaceSnapshot& snapshot) {
        VisitAll(book.LinkEventsTo(snapshot));
        VisitAll(book.AddressEventsTo(snapshot));
        EXPECT_THAT(book.LinkEventsTo(snapshot), IsEmpty());
        EXPECT_THAT(book.AddressEventsTo(snapshot), IsEmpty());
    }

    InterfaceBook book;
    Lines changes;
};

InterfaceSnapshot Snapshot(const Lines& lines) {
    InterfaceSnapshot snapshot;
    for (const std::string& line : lines) {
        if (std::isdigit(line[0])) {
            snapshot.links.push_back(Link(line));
        } else {
            snapshot.addresses.push_back(Address(line, true));
        }
    }
    return snapshot;
}

/// Lists are separated by commas and blanks.
struct Story {
    const char* title;
    const char* before;   ///< told, without a look at what changes
    const char* told;     ///< messages, or a snapshot
    const char* changes;  ///< what they change
};

Lines Split(std::string list) {
    Lines lines;
    for (std::size_t end = 0; !list.empty(); list.erase(0, end == list.npos ? end : end + 2)) {
        end = list.find(", ");
        lines.push_back(list.substr(0, end));
    }
    return lines;
}

void Check(std::span<const Story> stories, void (*tell)(Reader& reader, const Lines& told)) {
    for (const Story& story : stories) {
        Reader reader;
        reader.TellAll(Split(story.before));
        reader.changes.clear();
        tell(reader, Split(story.told));
        EXPECT_EQ(reader.changes, Split(story.changes)) << story.title;
    }
}

TEST(InterfaceBook, MessagesBecomeChanges) {
    const Story stories[] = {
        {"what is told again is no change", "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64",
         "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64, - wan0 fd::2/64", ""},
        {"an interface vanishes and returns with another index",
         "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64",
         "5 wan0 down, - wan0 192.0.2.1, - 5 fd::1/64, 9 wan0 up, + wan0 192.0.2.1, + wan0 "
         "fd::1/64",
         "wan0 down, wan0 192.0.2.1 > none, wan0 [fd::1/64] > [], wan0 up, wan0 none > 192.0.2.1, "
         "wan0 [] > [fd::1/64]"},
        {"its end was not told",
         "5 wan0 up, + wan0:1 192.0.2.1, + wan01 192.0.2.9, + wan0 fd::1/64", "9 wan0 up",
         "wan0 down, wan0:1 192.0.2.1 > none, wan0 [fd::1/64] > [], wan0 up"},
        {"renamed while up", "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64, + wan0 fd::2/64",
         "5 new up, + new 192.0.2.1",
         "wan0 down, wan0 192.0.2.1 > none, wan0 [fd::1/64,fd::2/64] > [fd::2/64], wan0 [fd::2/64] "
         "> [], new [] > [fd::1/64], new [fd::1/64] > [fd::1/64,fd::2/64], new up, new none > "
         "192.0.2.1"},
        {"renamed while down, and while up, and back", "5 wan0 down",
         "5 new down, 5 wan0 down, 5 wan0 up, 5 new up, 5 wan0 down",
         "new down, wan0 up, wan0 down, new up, new down"},
        {"two swap their names", "5 a up, 6 b up, + a fd::a/64, + b fd::b/64",
         "5 tmp up, 6 a up, 5 b up",
         "a down, a [fd::a/64] > [], tmp [] > [fd::a/64], tmp up, b down, b [fd::b/64] > [], a [] "
         "> [fd::b/64], a up, tmp down, tmp [fd::a/64] > [], b [] > [fd::a/64], b up"},
        {"renamed and gone before that is read", "5 wan0 up", "late 5 new up, late 5 new down",
         "wan0 down, new up, new down"},
        {"renamed twice before that is read", "5 a up, + a fd::1/64", "late 5 b up, 5 c up",
         "a down, a [fd::1/64] > [], b [] > [fd::1/64], b up, b down, b [fd::1/64] > [], c [] > "
         "[fd::1/64], c up"},
        {"names that the kernel does not know do not displace each other", "",
         "late 5 a up, late 5 b up, late 6 a up", "a up, b up"},
        {"an index that was never seen is used later", "- 7 fd::1/64, + if7 fd::2/64", "7 lan7 up",
         "if7 [fd::2/64] > [], lan7 [] > [fd::2/64], lan7 up"},
        {"the former index of a name is used again", "5 wan0 up, 9 wan0 up",
         "5 other up, 9 wan0 up", "other up"},
        {"of two addresses the last one counts, and the end of either is the end",
         "+ wan0 192.0.2.1, + wan0 192.0.2.2", "- wan0 192.0.2.1, + wan0 192.0.2.2",
         "wan0 192.0.2.2 > none, wan0 none > 192.0.2.2"},
    };
    Check(stories, [](Reader& reader, const Lines& told) { reader.TellAll(told); });
}

TEST(InterfaceBook, ASnapshotBecomesTheEventsThatWereLost) {
    const Story stories[] = {
        {"nothing was lost that shows", "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64, 6 wan1 down",
         "5 wan0 up, 6 wan1 down, wan0 192.0.2.1, wan0 fd::1/64", ""},
        {"addresses came and went",
         "5 wan0 up, + wan0 192.0.2.1, + wan0:1 192.0.2.2, + wan0 fd::1/64",
         "5 wan0 up, wan0 192.0.2.3, wan0 192.0.2.4, wan0 fd::1/128",
         "wan0:1 192.0.2.2 > none, wan0 192.0.2.1 > 192.0.2.4, wan0 [fd::1/64] > [], wan0 [] > "
         "[fd::1/128]"},
        {"of several addresses the known one is still there", "5 wan0 up, + wan0 192.0.2.1",
         "5 wan0 up, wan0 192.0.2.1, wan0 192.0.2.2", ""},
        {"a link that is about to change is left to its message", "5 wan0 down",
         "5 wan0 half-up, 6 wan1 half-up", ""},
        {"an interface went", "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64", "",
         "wan0 down, wan0 192.0.2.1 > none, wan0 [fd::1/64] > []"},
        {"it went and came again with the same addresses",
         "5 wan0 up, + wan0 192.0.2.1, + wan0 fd::1/64", "9 wan0 up, wan0 192.0.2.1, wan0 fd::1/64",
         "wan0 down, wan0 192.0.2.1 > none, wan0 [fd::1/64] > [], wan0 up, wan0 none > 192.0.2.1, "
         "wan0 [] > [fd::1/64]"},
        {"renamed", "5 wan0 up, + wan0 192.0.2.1", "5 new up, new 192.0.2.1",
         "wan0 down, wan0 192.0.2.1 > none, new up, new none > 192.0.2.1"},
        {"each got the name of the next", "5 a up, 6 b up, + a fd::a/64, + b fd::b/64",
         "5 b up, 6 c up, b fd::a/64, c fd::b/64",
         "a down, b down, b [fd::b/64] > [], a [fd::a/64] > [], b [] > [fd::a/64], b up, c up, c "
         "[] > [fd::b/64]"},
        {"two swapped their names", "5 a up, 6 b up, + a fd::a/64, + b fd::b/64",
         "5 b up, 6 a up, b fd::a/64, a fd::b/64",
         "b down, b [fd::b/64] > [], a down, a [fd::a/64] > [], b [] > [fd::a/64], b up, a up, a "
         "[] > [fd::b/64]"},
    };
    Check(stories, [](Reader& reader, const Lines& told) { reader.Resync(Snapshot(told)); });
}

TEST(InterfaceBook, FlagsTellMoreThanTheLink) {
    using enum InterfaceBook::FlagChange;
    InterfaceBook book;
    const std::pair<unsigned, InterfaceBook::FlagChange> steps[] = {
        {0, kNone},       {IFF_UP, kRoutes}, {kUp, kNone},     {IFF_UP, kNone},
        {0, kRoutes},     {kHalfUp, kNone},  {kHalfUp, kNone}, {IFF_UP, kLink},
        {kHalfUp, kNone}, {kUp, kLink},      {kUp, kNone}};
    for (const auto& [flags, change] : steps) {
        EXPECT_EQ(book.NoteFlags("wan0", flags), change) << flags;
    }
    book.Learn(Snapshot({"6 wan1 half-up"}));
    EXPECT_EQ(book.NoteFlags("wan1", IFF_UP), kLink);
}

TEST(InterfaceBook, WhatWasThereIsNotNewButItsEndIsTold) {
    Reader reader;
    reader.book.Learn(Snapshot({"5 wan0 up", "6 tap0 up", "wan0 fd::1/64", "tap0 fd::2/64"}));
    reader.Tell("+ wan0 fd::1/64");
    EXPECT_THAT(reader.changes, IsEmpty());
    reader.Tell("- 5 fd::1/64");
    EXPECT_THAT(reader.changes, ElementsAre("wan0 [fd::1/64] > []"));
    EXPECT_EQ(reader.book.IPv6Addresses().count("tap0"), 0U);
}

}  // namespace
}  // namespace vexotest
