// The weights of all servers of a port in one exchange.
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/replies.h"
#include "library/shared/settings.h"

#include <cstring>

using namespace rk;

namespace {

constexpr ReasonRow kReasons[] = {{kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};

// Allocates the block and puts its keys in: 0 and a block that the caller frees, or a status. `named` is false when
// there is no cluster identifier: the block may not be sent then.
int32_t openBlock(JNIEnv *env, jobject weights, jint count, Entries entries, ServerWeightsBlock *&block, bool &named) {
    uint32_t clusterKey = 0;
    named = JStringFieldToHash(env, weights, "sClusterID", &clusterKey) != nullptr;
    NetworkPort port;
    if (const int32_t status = portFromJava(env, weights, "iPortNumber", port); status != 0)
        return status;
    block = allocateBlock<ServerWeightsBlock, ServerWeightEntry>(count, clusterKey, port, entries);
    return block == nullptr ? kStatusOutOfMemory : 0;
}

// One column of the entries for each array field of the weights object, all in one block of the heap: the first is what
// the caller frees.
struct RequestColumns {
    jint *keys;
    jint *weights;
    jint *quiesced;
    jbyte *fixed;
};

struct ReplyColumns {
    jint *addresses;
    jint *weights;
    jint *totals;
    jint *actives;
    jint *results;
    jbyte *fixed;
};

// Room for so many columns of ints and one of bytes behind them; null when memory is short. What they hold is not set.
jint *allocateColumns(std::size_t intColumns, std::size_t count) {
    // One more element, so that no columns at all are not mistaken for a lack of memory.
    return static_cast<jint *>(malloc((count + 1) * (intColumns * sizeof(jint) + sizeof(jbyte))));
}

bool openColumns(RequestColumns &columns, jint count) {
    const auto size = static_cast<std::size_t>(count);
    jint *memory = allocateColumns(3, size);
    if (memory == nullptr)
        return false;
    columns = {memory, memory + size, memory + 2 * size, reinterpret_cast<jbyte *>(memory + 3 * size)};
    return true;
}

bool openColumns(ReplyColumns &columns, jint count) {
    const auto size = static_cast<std::size_t>(count);
    jint *memory = allocateColumns(5, size);
    if (memory == nullptr)
        return false;
    columns = {memory,
               memory + size,
               memory + 2 * size,
               memory + 3 * size,
               memory + 4 * size,
               reinterpret_cast<jbyte *>(memory + 5 * size)};
    return true;
}

// Hands each server's identifier and its place to the Java object, and what else its entry holds to the columns on the
// way: the entries of many servers do not stay in the processor's cache for a second turn.
bool splitEntries(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count,
                  const ReplyColumns &columns) {
    jclass type = env->GetObjectClass(weights);
    jmethodID setServerId = env->GetMethodID(type, "setServerId", "(Ljava/lang/String;I)V");
    env->DeleteLocalRef(type);
    if (setServerId == nullptr)
        return false;
    for (jint i = 0; i < count; ++i) {
        jstring identifier = newString(env, entries[i].serverId);
        if (identifier == nullptr)
            return false;
        env->CallVoidMethod(weights, setServerId, identifier, i);
        const bool thrown = env->ExceptionCheck();
        env->DeleteLocalRef(identifier);
        if (thrown)
            return false;
        columns.addresses[i] = javaInt(entries[i].address);
        columns.weights[i] = entries[i].weight;
        columns.fixed[i] = entries[i].fixedWeight;
        columns.actives[i] = entries[i].activeConnections;
        columns.totals[i] = entries[i].totalConnections;
        columns.results[i] = entries[i].result;
    }
    return true;
}

int32_t weightsToJava(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count) {
    ReplyColumns columns;
    if (!openColumns(columns, count))
        return kStatusOutOfMemory;
    const bool split = splitEntries(env, weights, entries, count, columns);
    if (split) {
        SetJavaIntArrayField(env, weights, "iAddress", 0, count, columns.addresses);
        SetJavaIntArrayField(env, weights, "iWeight", 0, count, columns.weights);
        SetJavaByteArrayField(env, weights, "bFixedWeight", 0, count, columns.fixed);
        SetJavaIntArrayField(env, weights, "iTotalConns", 0, count, columns.totals);
        SetJavaIntArrayField(env, weights, "iActiveConns", 0, count, columns.actives);
        SetJavaIntArrayField(env, weights, "iRC", 0, count, columns.results);
    }
    free(columns.addresses);
    return split ? 0 : kStatusOther;
}

bool intsFromJava(JNIEnv *env, jobject weights, const char *name, jint count, jint *values) {
    GetJavaIntArrayField(env, weights, name, 0, count, values);
    return !env->ExceptionCheck();
}

bool bytesFromJava(JNIEnv *env, jobject weights, const char *name, jint count, jbyte *values) {
    GetJavaByteArrayField(env, weights, name, 0, count, values);
    return !env->ExceptionCheck();
}

// Entries are cleared just before they are filled: of many servers, those cleared all at once would have left the
// processor's cache by then.
constexpr jint kFilledAtOnce = 64;

// Fills the entries from `first` to before `end`; what the request does not carry is zero.
void fillEntries(ServerWeightEntry *entries, jint first, jint end, const RequestColumns &columns) {
    memset(entries + first, 0, static_cast<std::size_t>(end - first) * sizeof(*entries));
    for (jint i = first; i < end; ++i) {
        entries[i].serverKey = static_cast<uint32_t>(columns.keys[i]);
        entries[i].weight = static_cast<int16_t>(columns.weights[i]);
        entries[i].fixedWeight = columns.fixed[i];
        entries[i].quiescedDown = static_cast<uint8_t>(columns.quiesced[i]);
    }
}

// Fills the entries from the Java object's arrays. An array that cannot be read ends the call with its exception
// pending: weights made up from it would take servers out of service.
int32_t weightsFromJava(JNIEnv *env, jobject weights, ServerWeightEntry *entries, jint count) {
    RequestColumns columns;
    if (!openColumns(columns, count))
        return kStatusOutOfMemory;
    const bool read = intsFromJava(env, weights, "iServerIdKey", count, columns.keys) &&
                      intsFromJava(env, weights, "iWeight", count, columns.weights) &&
                      bytesFromJava(env, weights, "bFixedWeight", count, columns.fixed) &&
                      intsFromJava(env, weights, "ucQuiescedDown", count, columns.quiesced);
    for (jint first = 0; read && first < count; first += kFilledAtOnce)
        fillEntries(entries, first, count - first < kFilledAtOnce ? count : first + kFilledAtOnce, columns);
    free(columns.keys);
    return read ? 0 : kStatusOther;
}

// The results of the single servers go to Java also when the executor refused the command as a whole.
int32_t resultsToJava(JNIEnv *env, jobject weights, const ServerWeightEntry *entries, jint count) {
    auto *results = static_cast<jint *>(malloc((static_cast<std::size_t>(count) + 1) * sizeof(jint)));
    if (results == nullptr)
        return kStatusOutOfMemory;
    columnToJava(env, weights, "iRC", entries, count, &ServerWeightEntry::result, results);
    free(results);
    return 0;
}

} // namespace

JNIEXPORT jint NATIVE(getServerWeightsNative)(JNIEnv *env, jobject, jobject weights, jint count) {
    if (!required(env, weights, "weights"))
        return kStatusOther;
    ServerWeightsBlock *block = nullptr;
    bool named = false;
    if (const int32_t status = openBlock(env, weights, count, Entries::zeroed, block, named); status != 0)
        return status;
    int32_t status = named ? sendBlock(block->header, Command::readServerWeights, kReasons) : kStatusOther;
    if (status == 0)
        status = weightsToJava(env, weights, entriesOf<const ServerWeightEntry>(block), count);
    free(block);
    return status;
}

JNIEXPORT jint NATIVE(setServerWeightsNative)(JNIEnv *env, jobject, jobject weights, jint count) {
    if (!required(env, weights, "weights"))
        return kStatusOther;
    ServerWeightsBlock *block = nullptr;
    bool named = false;
    if (const int32_t status = openBlock(env, weights, count, Entries::unset, block, named); status != 0)
        return status;
    auto *entries = entriesOf<ServerWeightEntry>(block);
    int32_t status = weightsFromJava(env, weights, entries, count);
    if (status == 0 && !named)
        status = kStatusOther;
    if (status == 0) {
        status = sendBlock(block->header, Command::writeServerWeights, kReasons);
        if (const int32_t failure = resultsToJava(env, weights, entries, count); failure != 0)
            status = failure;
    }
    free(block);
    return status;
}
