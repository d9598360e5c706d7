// Reading and writing the weights of all servers of a port in one command.
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/replies.h"
#include "library/shared/settings.h"
#include "library/support/owners.h"

#include <cstdlib>
#include <cstring>
#include <utility>

using namespace rk;

namespace {

constexpr ReasonRow kReasons[] = {{kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};

// Allocates the block and stores its keys. Returns 0 or a status. `isNamed` becomes false when there is no cluster
// identifier; the block must not be sent then.
int32_t openBlock(JNIEnv *env, jobject weights, jint count, Entries entries, HeapBlock<ServerWeightsBlock> &block,
                  bool &isNamed) {
    uint32_t clusterKey = 0;
    isNamed = JStringFieldToHash(env, weights, "sClusterID", &clusterKey) != nullptr;
    NetworkPort port;
    if (const int32_t status = portFromJava(env, weights, "iPortNumber", port); status != 0)
        return status;
    block = allocateBlock<ServerWeightsBlock, ServerWeightEntry>(count, clusterKey, port, entries);
    return block == nullptr ? kStatusOutOfMemory : 0;
}

// The entries' values as columns, one for each array field of the weights object. All columns are in one block of the
// heap: the first one owns it, and is null when memory is short. Their contents are not set.
struct RequestColumns {
    HeapBlock<jint> keys;
    jint *weights;
    jint *quiesced;
    jbyte *fixed;
};

struct ReplyColumns {
    HeapBlock<jint> addresses;
    jint *weights;
    jint *totals;
    jint *actives;
    jint *results;
    jbyte *fixed;
};

// Allocates columns of ints, and one of bytes behind them.
HeapBlock<jint> allocateColumns(std::size_t intColumns, std::size_t count) {
    // One more element, as malloc may return null for no bytes.
    const std::size_t bytes = (count + 1) * (intColumns * sizeof(jint) + sizeof(jbyte));
    return HeapBlock<jint>(static_cast<jint *>(std::malloc(bytes)));
}

RequestColumns allocateRequestColumns(jint count) {
    const auto size = static_cast<std::size_t>(count);
    HeapBlock<jint> block = allocateColumns(3, size);
    jint *first = block.get();
    if (first == nullptr)
        return {};
    return {std::move(block), first + size, first + 2 * size, reinterpret_cast<jbyte *>(first + 3 * size)};
}

ReplyColumns allocateReplyColumns(jint count) {
    const auto size = static_cast<std::size_t>(count);
    HeapBlock<jint> block = allocateColumns(5, size);
    jint *first = block.get();
    if (first == nullptr)
        return {};
    return {std::move(block), first + size,     first + 2 * size,
            first + 3 * size, first + 4 * size, reinterpret_cast<jbyte *>(first + 5 * size)};
}

// Calls setServerId for each entry, and copies the entry's other values into the columns. Both happen in one pass, as
// the entries of many servers would have left the processor's cache before a second one. Returns false when Java fails.
bool splitEntries(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count,
                  const ReplyColumns &columns) {
    const jmethodID setServerId = methodOf(env, weights, "setServerId", "(Ljava/lang/String;I)V");
    if (setServerId == nullptr)
        return false;
    jint *addresses = columns.addresses.get();
    for (jint i = 0; i < count; ++i) {
        const LocalReference identifier(env, newString(env, entries[i].serverId));
        if (identifier.reference == nullptr)
            return false;
        env->CallVoidMethod(weights, setServerId, identifier.reference, i);
        if (env->ExceptionCheck())
            return false;
        addresses[i] = javaInt(entries[i].address);
        columns.weights[i] = entries[i].weight;
        columns.fixed[i] = entries[i].fixedWeight;
        columns.actives[i] = entries[i].activeConnections;
        columns.totals[i] = entries[i].totalConnections;
        columns.results[i] = entries[i].result;
    }
    return true;
}

int32_t weightsToJava(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count) {
    const ReplyColumns columns = allocateReplyColumns(count);
    if (columns.addresses == nullptr)
        return kStatusOutOfMemory;
    if (!splitEntries(env, weights, entries, count, columns))
        return kStatusOther;
    SetJavaIntArrayField(env, weights, "iAddress", 0, count, columns.addresses.get());
    SetJavaIntArrayField(env, weights, "iWeight", 0, count, columns.weights);
    SetJavaByteArrayField(env, weights, "bFixedWeight", 0, count, columns.fixed);
    SetJavaIntArrayField(env, weights, "iTotalConns", 0, count, columns.totals);
    SetJavaIntArrayField(env, weights, "iActiveConns", 0, count, columns.actives);
    SetJavaIntArrayField(env, weights, "iRC", 0, count, columns.results);
    return 0;
}

bool intsFromJava(JNIEnv *env, jobject weights, const char *name, jint count, jint *values) {
    GetJavaIntArrayField(env, weights, name, 0, count, values);
    return !env->ExceptionCheck();
}

bool bytesFromJava(JNIEnv *env, jobject weights, const char *name, jint count, jbyte *values) {
    GetJavaByteArrayField(env, weights, name, 0, count, values);
    return !env->ExceptionCheck();
}

// Entries are cleared and filled in groups: had all been cleared first, those of many servers would have left the
// processor's cache before they are filled.
constexpr jint kFilledAtOnce = 64;

// Fills the entries from `first` up to, not including, `end`. What a request does not carry is zero.
void fillEntries(ServerWeightEntry *entries, jint first, jint end, const RequestColumns &columns) {
    std::memset(entries + first, 0, static_cast<std::size_t>(end - first) * sizeof(*entries));
    const jint *keys = columns.keys.get();
    for (jint i = first; i < end; ++i) {
        entries[i].serverKey = static_cast<uint32_t>(keys[i]);
        entries[i].weight = static_cast<int16_t>(columns.weights[i]);
        entries[i].fixedWeight = columns.fixed[i];
        entries[i].quiescedDown = static_cast<uint8_t>(columns.quiesced[i]);
    }
}

// Fills the entries from the Java object's arrays. An array that cannot be read leaves its exception pending, and the
// call ends: zeros in its place would take servers out of service.
int32_t weightsFromJava(JNIEnv *env, jobject weights, ServerWeightEntry *entries, jint count) {
    const RequestColumns columns = allocateRequestColumns(count);
    if (columns.keys == nullptr)
        return kStatusOutOfMemory;
    if (!intsFromJava(env, weights, "iServerIdKey", count, columns.keys.get()) ||
        !intsFromJava(env, weights, "iWeight", count, columns.weights) ||
        !bytesFromJava(env, weights, "bFixedWeight", count, columns.fixed) ||
        !intsFromJava(env, weights, "ucQuiescedDown", count, columns.quiesced))
        return kStatusOther;
    for (jint first = 0; first < count; first += kFilledAtOnce)
        fillEntries(entries, first, count - first < kFilledAtOnce ? count : first + kFilledAtOnce, columns);
    return 0;
}

// Hands each server's own result to Java, also when the executor refused the command as a whole.
int32_t resultsToJava(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count) {
    const std::size_t bytes = (static_cast<std::size_t>(count) + 1) * sizeof(jint);
    const HeapBlock<jint> results(static_cast<jint *>(std::malloc(bytes)));
    if (results == nullptr)
        return kStatusOutOfMemory;
    columnToJava(env, weights, "iRC", entries, count, &ServerWeightEntry::result, results.get());
    return 0;
}

} // namespace

JNIEXPORT jint NATIVE(getServerWeightsNative)(JNIEnv *env, jobject, jobject weights, jint count) {
    if (!requireObject(env, weights, "weights"))
        return kStatusOther;
    HeapBlock<ServerWeightsBlock> block;
    bool isNamed = false;
    if (const int32_t status = openBlock(env, weights, count, Entries::zeroed, block, isNamed); status != 0)
        return status;
    if (!isNamed)
        return kStatusOther;
    const int32_t status = sendBlock(block->header, Command::readServerWeights, kReasons);
    return status != 0 ? status : weightsToJava(env, weights, entriesOf<const ServerWeightEntry>(block.get()), count);
}

JNIEXPORT jint NATIVE(setServerWeightsNative)(JNIEnv *env, jobject, jobject weights, jint count) {
    if (!requireObject(env, weights, "weights"))
        return kStatusOther;
    HeapBlock<ServerWeightsBlock> block;
    bool isNamed = false;
    if (const int32_t status = openBlock(env, weights, count, Entries::unset, block, isNamed); status != 0)
        return status;
    auto *entries = entriesOf<ServerWeightEntry>(block.get());
    if (const int32_t status = weightsFromJava(env, weights, entries, count); status != 0)
        return status;
    if (!isNamed)
        return kStatusOther;
    const int32_t status = sendBlock(block->header, Command::writeServerWeights, kReasons);
    const int32_t failure = resultsToJava(env, weights, entries, count);
    return failure != 0 ? failure : status;
}
