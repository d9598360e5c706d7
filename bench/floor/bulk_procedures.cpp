// The native methods that move many entries.
#include "bench/floor/access.h"
#include "bench/floor/procedures.h"

#include "rk/command_block.h"
#include "rk/uexc.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>

using namespace rk;

namespace least {

namespace {

constexpr jint kMostServers = 1000;

// A zeroed block with the keys of the request, as long as the entries need.
ServerWeightsBlock *newBlock(Object weights, jint count, Command command) {
    const std::size_t size = sizeof(ServerWeightsBlock) + sizeof(ServerWeightEntry) * static_cast<std::size_t>(count);
    auto *block = static_cast<ServerWeightsBlock *>(calloc(1, size));
    getKey(weights, "sClusterID", block->clusterKey);
    block->port.word = htons(static_cast<uint16_t>(getInt(weights, "iPortNumber")));
    block->count = count;
    block->header.command = command;
    block->header.length = static_cast<uint32_t>(size);
    return block;
}

template <typename Value> void setColumn(Object weights, const char *name, jint count, Value value) {
    jint column[kMostServers];
    for (jint i = 0; i < count; ++i)
        column[i] = value(i);
    setInts(weights, name, count, column);
}

constexpr const char *kTcpStates[] = {"CLOSD", "LISTN", "SNSNT", "SNRCV", "ESTBD", "LSTAK",
                                      "TIMWT", "CLSWT", "FNWT1", "FNWT2", "CLSNG", "ABORT"};

#define OCTETS(word) (word) >> 24, (word) >> 16 & 0xFF, (word) >> 8 & 0xFF, (word)&0xFF

} // namespace

void readWeights(JNIEnv *env, jobject weights, jint count) {
    const Object to = {env, weights};
    ServerWeightsBlock *block = newBlock(to, count, Command::readServerWeights);
    EXC_UserInput(&block->header);
    const auto *entries = entriesOf<const ServerWeightEntry>(block);
    const jmethodID setServerId = method(to, "setServerId", "(Ljava/lang/String;I)V");
    for (jint i = 0; i < count; ++i) {
        const jstring identifier = env->NewStringUTF(entries[i].serverId);
        env->CallVoidMethod(weights, setServerId, identifier, i);
        env->ExceptionCheck();
        env->DeleteLocalRef(identifier);
    }
    setColumn(to, "iAddress", count, [=](jint i) { return static_cast<jint>(ntohl(entries[i].address.word)); });
    setColumn(to, "iWeight", count, [=](jint i) { return entries[i].weight; });
    jbyte fixed[kMostServers];
    for (jint i = 0; i < count; ++i)
        fixed[i] = entries[i].fixedWeight;
    setBytes(to, "bFixedWeight", count, fixed);
    setColumn(to, "iTotalConns", count, [=](jint i) { return entries[i].totalConnections; });
    setColumn(to, "iActiveConns", count, [=](jint i) { return entries[i].activeConnections; });
    setColumn(to, "iRC", count, [=](jint i) { return entries[i].result; });
    free(block);
}

void writeWeights(JNIEnv *env, jobject weights, jint count) {
    const Object from = {env, weights};
    ServerWeightsBlock *block = newBlock(from, count, Command::writeServerWeights);
    auto *entries = entriesOf<ServerWeightEntry>(block);
    jint keys[kMostServers];
    jint values[kMostServers];
    jbyte fixed[kMostServers];
    jint quiesced[kMostServers];
    getInts(from, "iServerIdKey", count, keys);
    env->ExceptionCheck();
    getInts(from, "iWeight", count, values);
    env->ExceptionCheck();
    getBytes(from, "bFixedWeight", count, fixed);
    env->ExceptionCheck();
    getInts(from, "ucQuiescedDown", count, quiesced);
    env->ExceptionCheck();
    for (jint i = 0; i < count; ++i) {
        entries[i].serverKey = static_cast<uint32_t>(keys[i]);
        entries[i].weight = static_cast<int16_t>(values[i]);
        entries[i].fixedWeight = fixed[i];
        entries[i].quiescedDown = static_cast<uint8_t>(quiesced[i]);
    }
    EXC_UserInput(&block->header);
    setColumn(from, "iRC", count, [=](jint i) { return entries[i].result; });
    free(block);
}

// All connections, asked for without conditions.
jstring dumpConnections(JNIEnv *env) {
    static CommandBlock block;
    static char text[kConnections * 160];
    block.connectionQuery = {.header = block.header,
                             .firstAddress = {},
                             .firstPort = 0,
                             .secondAddress = {},
                             .secondPort = 0,
                             .thirdAddress = {},
                             .thirdPort = 0,
                             .detail = 1};
    block.header.command = Command::readConnections;
    block.header.length = kWireBytes;
    EXC_UserInput(&block.header);
    fputs("CONNECTION COMMANDS SHOULD BE USED FOR DEBUGGING\n"
          "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
          "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n",
          stdout);
    fflush(stdout);
    const ConnectionListRecord &record = block.connections;
    char *end = text;
    end += sprintf(end, "Number of connection records = %d\nNum nps = %d\n%s", record.count, record.npsCount,
                   "#\tClientAddr:Port \tClusAddr:Port \tServerAddr \tState \tPrevState \tCurrState \tage(sec)\n");
    for (int i = 0; i < record.count; ++i) {
        const ConnectionEntry &entry = record.entries[i];
        const uint32_t client = ntohl(entry.clientAddress.word);
        const uint32_t cluster = ntohl(entry.clusterAddress.word);
        const uint32_t server = ntohl(entry.serverAddress.word);
        end += sprintf(end, "%d \t%u.%u.%u.%u:%d \t%u.%u.%u.%u:%d \t%u.%u.%u.%u \t0x%.2X \t%s \t%s \t%d \t%c\n", i,
                       OCTETS(client), ntohs(entry.clientPort.word), OCTETS(cluster), ntohs(entry.clusterPort.word),
                       OCTETS(server), entry.state, kTcpStates[entry.previousTcpState],
                       kTcpStates[entry.currentTcpState], static_cast<int>(record.now - entry.stamp), entry.mark);
    }
    return env->NewStringUTF(text);
}

} // namespace least
