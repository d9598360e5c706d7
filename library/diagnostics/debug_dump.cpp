// A dump of the executor's internals as text.
#include "library/diagnostics/debug_dump.h"
#include "library/aliasing/interface_list.h"
#include "library/channel/channel.h"
#include "library/diagnostics/dump.h"
#include "library/native.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

using namespace rk;

namespace {

constexpr std::size_t kReportBytes = 10000;

constexpr jint kSubNetworkCards = 1;
constexpr jint kSubInterfaceList = 8;
constexpr jint kSubReturnAddresses = 10;
constexpr jint kSubConnectionLists = 11;
constexpr jint kSubAffinityLists = 12;
constexpr jint kSubLastReport = 29; // above it are actions, without a report
constexpr jint kSubByteCounters = 43;
constexpr jint kSubReport = 99;

constexpr char kBanner[] = "XMISC COMMAND SHOULD BE USED FOR DEBUGGING\n"
                           "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                           "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";

// A line of the report shows the sum of adjacent counters; a format with two conversions shows it twice.
struct CounterLine {
    const char *format;
    int first;
    int count;
};

constexpr CounterLine kFsmLines[] = {
    {"  CntRcv ............ %d (0x%8.8X)\n", 0, 1},  {"  CntSnd ............ %d (0x%8.8X)\n", 1, 1},
    {"  CntSndMisc ........ %d (0x%8.8X)\n", 2, 1},  {"  CntSndDbSyncRsp ... %d (0x%8.8X)\n", 3, 1},
    {"  CntSndDbReach ..... %d (0x%8.8X)\n", 4, 1},  {"  CntSndDbUpd ....... %d (0x%8.8X)\n", 5, 1},
    {"  CntGratArp ........ %d (0x%8.8X)\n", 6, 1},  {"  CntNoCRKeepAlive .. %d (0x%8.8X)\n", 7, 1},
    {"  CntNoCRBreak ...... %d (0x%8.8X)\n", 8, 1},  {"  CntNoServerInCR ... %d (0x%8.8X)\n", 9, 1},
    {"  CntStateChanges ... %d (0x%8.8X)\n", 10, 1}, {"  CntSubStateChanges. %d (0x%8.8X)\n", 11, 1},
    {"  Timer2 ............ %d (0x%8.8X)\n", 12, 1}};

constexpr CounterLine kMiscLines[] = {
    {"  CntSndEncap ....... %d          \n", 0, 1},  {"  CntRcvExcap ....... %d          \n", 1, 1},
    {"  CntNtStarTrue ..... %d          \n", 2, 1},  {"  CntNtStarFalse .... %d          \n", 3, 1},
    {"  CntSloTimDec ...... %d          \n", 4, 1},  {"  CntSloTimInc ...... %d          \n", 5, 1},
    {"  CntCPASrvMismatch . %d          \n", 6, 1},  {"  TimeLastSlowTimeout %d (0x%8.8X)\n", 7, 1},
    {"  CntNoEphPortAvail . %d          \n", 8, 1},  {"  CntNoNPSAvail ..... %d          \n", 9, 1},
    {"  CntNoCRAvail ...... %d          \n", 10, 1}, {"  CntCRsIntactInCT .. %d          \n", 11, 1},
    {"  CntCRsFreedFromCT . %d          \n", 12, 1}, {"  CntSndRstBadPkts... %d          \n", 13, 1},
    {"  CntNpsRcv ......... %d          \n", 14, 1}, {"  CntNpsGet ......... %d          \n", 15, 1},
    {" (CntNpsInTotal ..... %d)         \n", 14, 2}, {"  CntNpsFwd ......... %d          \n", 16, 1},
    {"  CntNpsColoc ....... %d          \n", 17, 1}, {"  CntNpsFree ........ %d          \n", 18, 1},
    {" (CntNpsOutTotal .... %d)         \n", 16, 3}, {"  CntPktReas ........ %d          \n", 19, 1},
    {"  CntFrgReas ........ %d          \n", 20, 1}, {"  CntFrgGC .......... %d          \n", 21, 1},
    {"  TimeAsyncRstStart.. %d (0x%8.8X)\n", 22, 1}, {"  TimeAsyncRstStop... %d (0x%8.8X)\n", 23, 1},
    {"  CntAsyncRstQueued.. %d (0x%8.8X)\n", 24, 1}, {"  CntAsyncRstSent.... %d (0x%8.8X)\n", 25, 1},
    {"  TCP MSS ........... %d \n", 26, 1},          {"  Checksum offload .. %d (0x%8.8X)\n", 27, 1},
    {"  Arg28.............. %d (0x%8.8X)\n", 28, 1}};

template <std::size_t Lines>
void appendCounters(ReportText &report, const char *title, const CounterLine (&lines)[Lines],
                    const uint32_t *counters) {
    appendText(report, title);
    for (const CounterLine &line : lines) {
        uint32_t sum = 0;
        for (int i = 0; i < line.count; ++i)
            sum += counters[line.first + i];
        appendLine(report, line.format, sum, sum);
    }
}

void appendAddress(ReportText &report, const char *format, NetworkAddress address) {
    appendLine(report, format, dotted(address).text);
}

// The same for an address in host byte order.
void appendAddress(ReportText &report, const char *format, uint32_t address) {
    appendAddress(report, format, toNetworkAddress(address));
}

// A line with a name that may lack its terminator.
template <std::size_t Size> void appendNamed(ReportText &report, const char *format, const char (&name)[Size]) {
    char text[Size + 1];
    std::memcpy(text, name, Size);
    text[Size] = '\0';
    appendLine(report, format, text);
}

void appendNetworkCards(ReportText &report) {
    if (send(ucb.networkCards, Command::dumpNetworkCards) != 0) {
        appendText(report, "Error with kernel getting NIC info.\n");
        return;
    }
    const NetworkCardsRecord &record = ucb.networkCards;
    appendLine(report, "Number of NIC records = %d\n", record.count);
    for (int i = 0; i < entriesWithin(record.count, record.entries); ++i) {
        const NetworkCardEntry &entry = record.entries[i];
        appendLine(report, "NIC %d:\n", i);
        appendAddress(report, " ia->ia_net ......... %s\n", entry.network);
        appendAddress(report, " ia->ia_netmask ..... %s\n", entry.mask);
        appendAddress(report, " ia->ia_subnet ...... %s\n", entry.subnet);
        appendAddress(report, " ia->ia_subnetmask .. %s\n", entry.subnetMask);
        appendAddress(report, " ia->ia_addr ........ %s\n", entry.address);
        appendNamed(report, " ifp->if_name ....... %s\n", entry.name);
        appendLine(report, " ifp->if_unit ....... 0x%X\n", entry.unit);
        appendLine(report, " ifp->if_flags ...... 0x%X\n", entry.flags);
        appendLine(report, " ifp->if_mtu ........ %d\n", entry.mtu);
    }
}

// Shows the library's own copy of the list. The executor is not asked.
void appendInterfaceList(ReportText &report) {
    const InterfaceList &list = TheInterfaceList;
    appendLine(report, "Interface List Info.\nNumber of records = %d.\n", list.count);
    for (int i = 0; i < recordsOf(list); ++i) {
        const InterfaceRecord &record = list.records[i];
        appendLine(report, "Record %d:\n", i);
        appendAddress(report, " ip ................. %s\n", record.ip);
        appendAddress(report, " localip ............ %s\n", record.localip);
        appendAddress(report, " netmask ............ %s\n", record.netmask);
        appendAddress(report, " netnumber .......... %s\n", record.netnumber);
        appendAddress(report, " broadcast .......... %s\n", record.broadcast);
        appendLine(report, " mac ................ %X:%X:%X:%X:%X:%X\n", record.mac[0], record.mac[1], record.mac[2],
                   record.mac[3], record.mac[4], record.mac[5]);
        appendNamed(report, " name ............... %s\n", record.name);
    }
}

void appendReturnAddresses(ReportText &report) {
    if (send(ucb.returnAddresses, Command::dumpReturnAddresses) != 0) {
        appendText(report, "Error with kernel getting RAT info.\n");
        return;
    }
    const ReturnAddressesRecord &record = ucb.returnAddresses;
    appendLine(report, "Number of RAT records = %d\n", record.count);
    for (int i = 0; i < entriesWithin(record.count, record.entries); ++i) {
        const ReturnAddressEntry &entry = record.entries[i];
        appendLine(report, "Return Address %d\n", i);
        appendAddress(report, " iaRar ........ %s\n", entry.address);
        appendLine(report, " ulRef......... %d\n", entry.references);
        appendAddress(report, " iaFsm ........ %s\n", entry.fsmAddress);
        appendLine(report, " Ports in use . %d\n", entry.portsInUse);
    }
}

void appendConnectionLists(ReportText &report) {
    if (send(ucb.connectionLists, Command::dumpConnectionLists) != 0) {
        appendText(report, "Error with kernel getting CRLL info.\n");
        return;
    }
    const ConnectionListsRecord &record = ucb.connectionLists;
    appendText(report, "Connection Record State LL Info.\n");
    for (int i = 0; i < entriesWithin(record.count, record.entries); ++i) {
        const ConnectionListEntry &entry = record.entries[i];
        appendLine(report, "  Cluster:Port ............... %s:%d\n",
                   dotted(toNetworkAddress(entry.clusterAddress)).text, entry.port);
        appendNamed(report, "  Linked list ................ %s\n", entry.name);
        appendLine(report, "  Timeout..................... %d\n", entry.timeout);
        appendLine(report, "  Current number of records .. %d\n", entry.records);
        appendLine(report, "  Number of stale records  ... %d\n", entry.stale);
        appendLine(report, "  Number of records reused ... %d\n", entry.reused);
    }
}

void appendAffinityLists(ReportText &report) {
    if (send(ucb.affinityLists, Command::dumpAffinityLists) != 0) {
        appendText(report, "Error with kernel getting CRLL info.\n"); // Java servers know only these words
        return;
    }
    const AffinityListsRecord &record = ucb.affinityLists;
    appendText(report, "Affinity Record LL Info.\n");
    for (int i = 0; i < entriesWithin(record.count, record.entries); ++i) {
        const AffinityListEntry &entry = record.entries[i];
        appendLine(report, "  Cluster:Port ................................... %s:%d\n",
                   dotted(entry.clusterAddress).text, entry.port);
        appendLine(report, "  Current number of active affinity records ...... %d\n", entry.active);
        appendLine(report, "  Current number of non-active affinity records .. %d\n", entry.nonActive);
        appendLine(report, "  Number of stale non-active records ............. %d\n", entry.staleNonActive);
        appendLine(report, "  Number of records reused ....................... %d\n", entry.reused);
    }
}

// A place in the reply of the byte counters. The walk ends with the wire size.
struct Cursor {
    std::size_t offset;
};

// Returns the next entry, or null when the rest of the reply is too short for one.
template <typename Entry> const Entry *next(Cursor &cursor) {
    if (cursor.offset + sizeof(Entry) > kWireBytes)
        return nullptr;
    const auto *entry = reinterpret_cast<const Entry *>(ucb.bytes + cursor.offset);
    cursor.offset += sizeof(Entry);
    return entry;
}

} // namespace

int32_t printBytesInformation() {
    std::memset(ucb.bytes + sizeof(CommandHeader), 0, kWireBytes); // the storage has 16 bytes beyond the wire size
    if (const int32_t status = send(ucb.header, Command::readByteCounters, kWireBytes); status != 0)
        return status;
    int32_t converted = 0;
    char text[16];
    Cursor cursor = {sizeof(ByteCountersRecord)};
    for (uint32_t i = 0; i < ucb.byteCounters.numberOfClusters; ++i) {
        const auto *cluster = next<ByteCountersCluster>(cursor);
        if (cluster == nullptr)
            return converted;
        converted = getAddress(cluster->address.word, text);
        for (uint32_t j = 0; j < cluster->numberOfPorts; ++j) {
            const auto *port = next<ByteCountersPort>(cursor);
            if (port == nullptr)
                return converted;
            for (uint32_t k = 0; k < port->numberOfServers; ++k) {
                const auto *server = next<ByteCountersServer>(cursor);
                if (server == nullptr)
                    return converted;
                converted = getAddress(server->address.word, text);
            }
        }
    }
    return converted;
}

JNIEXPORT jstring NATIVE(xmiscNative)(JNIEnv *env, jobject, jint subCommand, jint argument1, jint argument2,
                                      jint argument3) {
    if (subCommand == kSubByteCounters) {
        (void)printBytesInformation(); // the answer is the same when it fails
        return env->NewStringUTF("OK (Output is in rkserver window.)\n");
    }
    DebugRequestRecord &request = ucb.debugRequest;
    request.subCommand = subCommand;
    request.arguments[0] = argument1;
    request.arguments[1] = argument2;
    request.arguments[2] = argument3;
    if (send(request, Command::debugDump) != 0)
        return env->NewStringUTF(kKernelError);
    if (subCommand > kSubLastReport && subCommand != kSubReport)
        return env->NewStringUTF("OK\n");

    ReportText report;
    if (!openReport(report, kReportBytes))
        return nullptr;
    appendText(report, kBanner);
    appendCounters(report, "Primary FSM:\n", kFsmLines, ucb.debugCounters.primary.counters);
    appendCounters(report, "Backup FSM:\n", kFsmLines, ucb.debugCounters.backup.counters);
    appendCounters(report, "Misc debug:\n", kMiscLines, ucb.debugCounters.misc);
    switch (subCommand) {
    case kSubNetworkCards:
        appendNetworkCards(report);
        break;
    case kSubInterfaceList:
        appendInterfaceList(report);
        break;
    case kSubReturnAddresses:
        appendReturnAddresses(report);
        break;
    case kSubConnectionLists:
        appendConnectionLists(report);
        break;
    case kSubAffinityLists:
        appendAffinityLists(report);
        break;
    default:
        break;
    }
    return reportToJava(env, report);
}
