// How lists, weights and dumps grow with their entries: scale_bench JSON [ROUNDS [MILLISECONDS]]
//
// Time and memory are the library's own, the executor's work left out. They are measured twice: in a Java environment
// that answers at once, which leaves nothing but the library, and in a Java VM, whose part grows with the entries too.
// Sizes are measured in turns, so that what the machine does beside hits all of them.
#include "bench/constant_java.h"
#include "bench/full_replies.h"
#include "bench/measure.h"
#include "bench/scale/own_time.h"
#include "harness/jvm.h"
#include "library/channel/channel.h"
#include "library/native.h"
#include "rk/diagnostic_records.h"

#include <algorithm>
#include <cstdlib>

using namespace rk;

namespace {

constexpr int kBase = 100; // entries of the size that the largest is compared with
constexpr int kMost = constant_java::kArrayLength;

const std::vector<int> kListSizes = {10, kBase, 1000, 10000, kMost};

struct Subject {
    std::string name;
    std::size_t entryBytes; // of the block that is allocated for the call; 0: it needs none
    std::size_t textBytes;  // of an entry in a text or, of weights, in the columns
    std::vector<int> sizes;
    std::function<std::function<void()>(int entries)> make; // the call
};

struct Run {
    int rounds;
    double batchNanoseconds;
};

std::vector<int> sizesUpTo(int most) {
    return {10, kBase, most};
}

void must(jint status) {
    if (status != 0) {
        fprintf(stderr, "scale_bench: status %d\n", status);
        exit(1);
    }
}

constexpr std::size_t kNameText = sizeof("+SERVER-000000") - 1;
constexpr std::size_t kColumnsRead = 5 * sizeof(jint) + sizeof(jbyte);
constexpr std::size_t kColumnsWritten = 3 * sizeof(jint) + sizeof(jbyte);

// --- The library alone -----------------------------------------------------------------------------------------------

using Native = jint (*)(JNIEnv *env, jobject object, jint entries);

Subject alone(const char *name, std::size_t entryBytes, std::size_t textBytes, std::vector<int> sizes, Native native) {
    return {name, entryBytes, textBytes, std::move(sizes), [native](int entries) {
                return [=] { must(native(constant_java::env(), constant_java::kObject, entries)); };
            }};
}

#define STRING static_cast<jstring>(object)
#define ARRAY static_cast<jintArray>(object)
#define CALL(expression) [](JNIEnv *env, jobject object, [[maybe_unused]] jint n) -> jint { return expression; }

std::vector<Subject> libraryAlone() {
    return {alone("clusters list", 72, kNameText, kListSizes, CALL(NATIVE(getClustersListNative)(env, object, object))),
            alone("servers list", 88, kNameText, kListSizes,
                  CALL(NATIVE(getServersListNative)(env, object, STRING, 80, object, ARRAY))),
            alone("rules list", 28, kNameText, kListSizes,
                  CALL(NATIVE(getRulesListNative)(env, object, STRING, 80, object))),
            alone("weights read", 96, kColumnsRead, kListSizes,
                  CALL(NATIVE(getServerWeightsNative)(env, object, object, n))),
            alone("weights write", 96, kColumnsWritten, kListSizes,
                  CALL(NATIVE(setServerWeightsNative)(env, object, object, n))),
            alone("connections dump", 0, 0, sizesUpTo(kConnections),
                  CALL(NATIVE(getConnectionInfoNative)(env, object, 1, 2, 3, 4, 5, 6, 1) == nullptr)),
            alone("affinities dump", 0, 0, sizesUpTo(kWireAffinities),
                  CALL(NATIVE(getAffinityInfoNative)(env, object, 1, 2, 1) == nullptr)),
            alone("half-open connections", 0, 0, sizesUpTo(kHalfOpenConnections),
                  CALL(NATIVE(getHalfOpenInfoNative)(env, object, object))),
            alone("attacking addresses", 0, 0, sizesUpTo(kAttackingAddresses),
                  CALL(NATIVE(getAttackingAddrsNative)(env, object, object, 1, 2)))};
}

// --- In a Java VM ----------------------------------------------------------------------------------------------------

// A list of names, appended to a new string buffer by each call.
std::function<void()> listInVm(const std::function<jint(JNIEnv *env, jobject list)> &list) {
    return [=] {
        JNIEnv *env = java::env();
        env->PushLocalFrame(8);
        must(list(env, java::make("java/lang/StringBuffer")));
        env->PopLocalFrame(nullptr);
    };
}

std::function<void()> weightsInVm(int entries, Native native) {
    jobject weights = java::makeWithInt("CMNServerWeights", entries);
    java::setString(weights, "sClusterID", "web");
    java::setInt(weights, "iPortNumber", 80);
    return [=] { must(native(java::env(), weights, entries)); };
}

std::function<void()> dumpInVm(jstring (*native)(JNIEnv *env)) {
    return [=] {
        JNIEnv *env = java::env();
        jstring text = native(env);
        must(text == nullptr ? 1 : 0);
        env->DeleteLocalRef(text);
    };
}

std::vector<Subject> inVm() {
    return {{"servers list", 88, kNameText, kListSizes,
             [](int entries) {
                 jstring cluster = java::makeString("web");
                 auto *keys =
                     static_cast<jintArray>(java::makeIntArray(std::vector<jint>(static_cast<std::size_t>(entries))));
                 return listInVm([=](JNIEnv *env, jobject list) {
                     return NATIVE(getServersListNative)(env, nullptr, cluster, 80, list, keys);
                 });
             }},
            {"rules list", 28, kNameText, kListSizes,
             [](int) {
                 jstring cluster = java::makeString("web");
                 return listInVm([=](JNIEnv *env, jobject list) {
                     return NATIVE(getRulesListNative)(env, nullptr, cluster, 80, list);
                 });
             }},
            {"weights read", 96, kColumnsRead, kListSizes,
             [](int entries) {
                 return weightsInVm(entries, CALL(NATIVE(getServerWeightsNative)(env, object, object, n)));
             }},
            {"weights write", 96, kColumnsWritten, kListSizes,
             [](int entries) {
                 return weightsInVm(entries, CALL(NATIVE(setServerWeightsNative)(env, object, object, n)));
             }},
            {"connections dump", 0, 0, sizesUpTo(kConnections),
             [](int) {
                 return dumpInVm(
                     [](JNIEnv *env) { return NATIVE(getConnectionInfoNative)(env, nullptr, 1, 2, 3, 4, 5, 6, 1); });
             }},
            {"affinities dump", 0, 0, sizesUpTo(kWireAffinities), [](int) {
                 return dumpInVm([](JNIEnv *env) { return NATIVE(getAffinityInfoNative)(env, nullptr, 1, 2, 1); });
             }}};
}

// --- Measuring -------------------------------------------------------------------------------------------------------

struct Size {
    int entries;
    std::function<void()> call;
    int batch; // calls that take as long as a batch should
    own::Memory memory;
    std::vector<double> times; // nanoseconds an entry, one a round
};

double nanosecondsPerEntry(const Size &size) {
    full::countEntries(size.entries);
    return own::nanosecondsOf(size.call, size.batch) / size.entries;
}

std::vector<Size> prepare(const Subject &subject, const Run &run) {
    std::vector<Size> sizes;
    for (const int entries : subject.sizes) {
        Size size = {entries, subject.make(entries), 1, {}, {}};
        full::countEntries(entries);
        size.memory = own::memoryOf(size.call);
        const double once = nanosecondsPerEntry(size) * entries;
        size.batch = std::max(1, static_cast<int>(run.batchNanoseconds / std::max(1.0, once)));
        sizes.push_back(std::move(size));
    }
    return sizes;
}

void measureInTurns(std::vector<Size> &sizes, int rounds) {
    for (int round = 0; round < rounds; ++round)
        for (std::size_t turn = 0; turn < sizes.size(); ++turn) {
            Size &size = sizes[(turn + static_cast<std::size_t>(round)) % sizes.size()];
            size.times.push_back(nanosecondsPerEntry(size));
        }
}

// Bytes by which the memory grows with each entry, from the largest but one to the largest.
double slopeOf(const std::vector<Size> &sizes, std::size_t own::Memory::*kind) {
    const Size &last = sizes.back();
    const Size &before = sizes[sizes.size() - 2];
    return (static_cast<double>(last.memory.*kind) - static_cast<double>(before.memory.*kind)) /
           (last.entries - before.entries);
}

void report(FILE *json, const Subject &subject, const std::vector<Size> &sizes) {
    const auto base = std::find_if(sizes.begin(), sizes.end(), [](const Size &size) { return size.entries == kBase; });
    const measure::Quartiles flatness = measure::ratioOf(sizes.back().times, base->times);
    fprintf(json, "{\"name\": \"%s\", \"entries\": %d, ", subject.name.c_str(), sizes.back().entries);
    measure::print(json, "time_per_entry_by_that_of_100_entries", flatness);
    if (subject.entryBytes != 0)
        fprintf(json,
                ",\n \"block_and_text_bytes_per_entry\": %zu, \"heap_bytes_per_entry\": %.1f, "
                "\"resident_bytes_per_entry\": %.1f",
                subject.entryBytes + subject.textBytes, slopeOf(sizes, &own::Memory::heap),
                slopeOf(sizes, &own::Memory::resident));
    fputs(",\n \"sizes\": [", json);
    const char *separator = "\n  ";
    for (const Size &size : sizes) {
        fprintf(json, "%s{\"entries\": %d, \"heap_bytes\": %zu, \"resident_bytes\": %zu, ", separator, size.entries,
                size.memory.heap, size.memory.resident);
        measure::print(json, "nanoseconds_per_entry", measure::quartilesOf(size.times));
        fputs("}", json);
        separator = ",\n  ";
    }
    fputs("]}", json);

    fprintf(stderr, "%-22s", subject.name.c_str());
    for (const Size &size : sizes)
        fprintf(stderr, " %6d: %5.0f ns", size.entries, measure::quartilesOf(size.times).median);
    fprintf(stderr, "  %.2f", flatness.median);
    if (subject.entryBytes != 0)
        fprintf(stderr, ", %.1f bytes an entry (resident %.1f)", slopeOf(sizes, &own::Memory::heap),
                slopeOf(sizes, &own::Memory::resident));
    fputs("\n", stderr);
}

void measureAll(FILE *json, const char *name, const std::vector<Subject> &subjects, const Run &run) {
    fprintf(json, "\"%s\": [\n", name);
    fprintf(stderr, "%s\n", name);
    const char *separator = "";
    for (const Subject &subject : subjects) {
        std::vector<Size> sizes = prepare(subject, run);
        measureInTurns(sizes, run.rounds);
        fputs(separator, json);
        report(json, subject, sizes);
        separator = ",\n";
    }
    fputs("]", json);
}

} // namespace

int main(int count, char **arguments) {
    if (count < 2 || count > 4) {
        fputs("usage: scale_bench JSON [ROUNDS [MILLISECONDS]]\n", stderr);
        return 2;
    }
    const Run run = {count > 2 ? atoi(arguments[2]) : 31, (count > 3 ? atof(arguments[3]) : 20) * 1e6};
    FILE *json = fopen(arguments[1], "w");
    if (json == nullptr || freopen("/dev/null", "w", stdout) == nullptr) {
        perror(arguments[1]);
        return 1;
    }
    full::answerAll(kMost);
    prv_giKVAServerModality = 1;
    fputs("{", json);
    measureAll(json, "library_alone", libraryAlone(), run);
    fputs(",\n", json);
    measureAll(json, "in_a_vm", inVm(), run);
    fputs("}\n", json);
    return fclose(json) == 0 ? 0 : 1;
}
