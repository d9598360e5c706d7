// What this program has in the kernel, written down before it is there, so that the next run knows its own things from
// those of others after a crash.
//
// A file of lines, in the order in which things happened:
//   service tcp 0A000001 80          this service of an address is ours
//   gone tcp 0A000001 80             it is not any more
//   mark 4C000001 tcp 10.0.0.1:80 rule 6F66   the mark stands for what is named behind it
//   setting net/ipv4/ip_forward 0    what a setting of the kernel had been before
//   timeouts 900 120 300             likewise those of connections
#pragma once

#include "executor/forwarding/kernel/ipvs.h"
#include "executor/forwarding/kernel/kernel_settings.h"
#include "executor/forwarding/kernel/mark_numbers.h"

#include <optional>
#include <set>

namespace rk {

struct Journal {
    int lock = -1; // a file beside it, which one process at a time has locked; -1: there is no journal
    int file = -1; // to be appended to
    std::string path;
};

// What a journal tells.
struct JournalContents {
    std::set<IpvsServiceKey> services; // of addresses; those of marks need no line
    MarkNumbers marks;
    SettingsBefore settings;
    std::optional<IpvsTimeouts> timeouts;
};

// Opens the journal in `folder`, which is made when it is missing, and reads what is in it. False when it cannot be
// had, or another process has it; `mistake` tells.
bool openJournal(Journal &journal, const std::string &folder, JournalContents &contents, std::string &mistake);

// Puts `contents` in the place of all that is in the journal. False when that fails: then it is as it was.
bool rewriteJournal(Journal &journal, const JournalContents &contents);

// Lines that make no sense are passed over.
JournalContents parseJournal(std::string_view text);
std::string journalText(const JournalContents &contents);

std::string serviceLine(const IpvsServiceKey &service, bool isOurs);
std::string markNameLine(uint32_t mark, const std::string &name);
std::string settingLine(const std::string &path, const std::string &value);
std::string timeoutsLine(const IpvsTimeouts &timeouts);

// Appends whole lines. False when they are not written: then what they tell is not to be done.
bool appendToJournal(const Journal &journal, const std::string &lines);

// Whether so much has been appended that it is worth while to write it anew.
bool isJournalLong(const Journal &journal);

// Ends it; the file stays when `isKept`.
void closeJournal(Journal &journal, bool isKept);

} // namespace rk
