// What a native method costs above the least code for the same JNI calls and the same block: floor_bench LIBRARY JSON
// [ROUNDS [MILLISECONDS]]
//
// Library and floor are called in the same way, as the VM would call them: the exported function with an environment of
// a VM in this process. The step from Java into native code is the same for both and left out; it would only hide
// differences. Before anything is measured, both must be seen to make the same JNI calls and to send the same bytes.
#include "bench/floor/jni_trace.h"
#include "bench/floor/procedures.h"
#include "bench/measure.h"
#include "bench/replies.h"
#include "bench/stub_executor.h"
#include "harness/jvm.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

using OfObject = jint (*)(JNIEnv *, jobject, jobject);
using OfObjectAndInt = jint (*)(JNIEnv *, jobject, jobject, jint);
using OfSevenInts = jstring (*)(JNIEnv *, jobject, jint, jint, jint, jint, jint, jint, jint);
using SetModality = void (*)(JNIEnv *, jobject, jint);

struct Comparison {
    const char *method;
    const char *native;
    std::function<void()> library;
    std::function<void()> floor;
};

struct Run {
    int rounds;
    double batchNanoseconds;
};

void *library;
std::vector<uint8_t> sent;

template <typename Function> Function native(const char *name) {
    const std::string full = std::string("Java_com_qel_internet_rk_common_CMNExecutorInterface_") + name;
    void *address = dlsym(library, full.c_str());
    if (address == nullptr) {
        fprintf(stderr, "floor_bench: %s\n", dlerror());
        exit(1);
    }
    return reinterpret_cast<Function>(address);
}

void keepSent(const rk::CommandHeader *block) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(block);
    sent.insert(sent.end(), bytes, bytes + block->length);
}

void require(bool condition, const char *method, const std::string &what) {
    if (condition)
        return;
    fprintf(stderr, "floor_bench: %s: %s\n", method, what.c_str());
    exit(1);
}

// A method that takes an object and returns a status.
Comparison ofObject(const char *method, const char *name, jobject object, void (*floor)(JNIEnv *, jobject)) {
    const auto function = native<OfObject>(name);
    return {method, name, [=] { require(function(java::env(), nullptr, object) == 0, method, "refused"); },
            [=] { floor(java::env(), object); }};
}

Comparison ofWeights(const char *method, const char *name, jobject weights, void (*floor)(JNIEnv *, jobject, jint)) {
    const auto function = native<OfObjectAndInt>(name);
    return {method, name,
            [=] { require(function(java::env(), nullptr, weights, replies::kServers) == 0, method, "refused"); },
            [=] { floor(java::env(), weights, replies::kServers); }};
}

Comparison ofConnections() {
    const auto function = native<OfSevenInts>("getConnectionInfoNative");
    return {"connection dump, 1599 records", "getConnectionInfoNative",
            [=] { java::env()->DeleteLocalRef(function(java::env(), nullptr, 0, 0, 0, 0, 0, 0, 1)); },
            [] { java::env()->DeleteLocalRef(least::dumpConnections(java::env())); }};
}

Comparison ofInterfaces() {
    const auto function = native<OfObject>("setInterfacesNative");
    return {"interface list", "setInterfacesNative", [=] { function(java::env(), nullptr, nullptr); },
            [] { least::readInterfaces(); }};
}

// An object whose numbers are all different, negative ones among them, and whose flags are all set.
jobject makeFilled(const char *type) {
    JNIEnv *env = java::env();
    jobject object = java::make(type);
    const jclass objectClass = env->GetObjectClass(object);
    const jmethodID getFields =
        env->GetMethodID(env->GetObjectClass(objectClass), "getFields", "()[Ljava/lang/reflect/Field;");
    const auto fields = static_cast<jobjectArray>(env->CallObjectMethod(objectClass, getFields));
    jint value = 3;
    for (jsize i = 0; i < env->GetArrayLength(fields); ++i) {
        const std::string text = java::text(env->GetObjectArrayElement(fields, i)); // "public int package.Class.name"
        const std::string name = text.substr(text.rfind('.') + 1);
        if (text.starts_with("public int "))
            java::setInt(object, name.c_str(), value);
        else if (text.starts_with("public byte "))
            java::setByte(object, name.c_str(), name.starts_with("Set") ? 1 : value);
        else if (text.starts_with("public char "))
            java::setChar(object, name.c_str(), value & 0x7F);
        value = -3 * value % 9973;
    }
    return object;
}

jobject makeCluster() {
    jobject cluster = makeFilled("CMNCluster");
    java::setString(cluster, "sClusterId", "www.example.com");
    java::setString(cluster, "Address", "192.168.100.200");
    java::setString(cluster, "sPrimaryHost", "10.0.0.1");
    java::setObject(cluster, "natPtAddress", "[B", java::makeByteArray({10, 9, 8, 7}));
    return cluster;
}

jobject makePort() {
    jobject port = makeFilled("CMNPort");
    java::setString(port, "ClusterId", "www.example.com");
    java::setInt(port, "PortNumber", 443);
    return port;
}

jobject makeListener(jint address) {
    jobject listener = java::make("CMNListener");
    java::setInt(listener, "_iAddress", address);
    java::setInt(listener, "_iMapPort", 8443);
    java::setString(listener, "_sKeyRing", "/etc/load-balancer/key.ring");
    java::setString(listener, "_sStashFile", "/etc/load-balancer/key.stash");
    return listener;
}

jobject makeServer() {
    jobject server = makeFilled("CMNServer");
    java::setInt(server, "_iWeight", 7);
    java::setInt(server, "_iNumListeners", 0);
    java::setString(server, "sServerID", "server-0001.example.com");
    java::setString(server, "ClusterId", "www.example.com");
    java::setInt(server, "Port", 443);
    java::setString(server, "_sReturnAddress", "10.0.0.9");
    java::setString(server, "_sRouterAddress", "10.0.0.254");
    java::setString(server, "_sAdvisorRequest", "HEAD / HTTP/1.0");
    java::setString(server, "_sAdvisorResponse", "HTTP/1.0 200");
    java::setString(server, "CookieValue", "s0001");
    java::setString(server, "CloneID", "clone0001");
    JNIEnv *env = java::env();
    const jmethodID addListener =
        env->GetMethodID(env->GetObjectClass(server), "addListener", "(Lcom/qel/internet/rk/common/CMNListener;)V");
    env->CallVoidMethod(server, addListener, makeListener(0x0A000001));
    env->CallVoidMethod(server, addListener, makeListener(0x0A000002));
    return server;
}

jobject makeRule() {
    jobject rule = makeFilled("CMNRule");
    java::setString(rule, "ClusterId", "www.example.com");
    java::setInt(rule, "PortNumber", 443);
    java::setString(rule, "RuleName", "inside");
    java::setByte(rule, "RuleType", 1);
    java::setString(rule, "AddressBeginRange", "10.0.0.0");
    java::setString(rule, "AddressEndRange", "10.255.255.255");
    java::setString(rule, "ServiceTOS", "0xx1xx10");
    java::setString(rule, "Pattern", "path=/inside/*");
    java::setString(rule, "CookieName", "session");
    java::setString(rule, "sHashID", "");
    return rule;
}

jobject makeWeights() {
    jobject weights = java::makeWithInt("CMNServerWeights", replies::kServers);
    java::setString(weights, "sClusterID", "www.example.com");
    java::setInt(weights, "iPortNumber", 443);
    for (const char *column : {"iServerIdKey", "iWeight", "ucQuiescedDown"}) {
        std::vector<jint> values;
        for (int i = 0; i < replies::kServers; ++i)
            values.push_back(static_cast<jint>(values.size() * strlen(column)) % 1000);
        java::setObject(weights, column, "[I", java::makeIntArray(values));
    }
    return weights;
}

std::vector<Comparison> comparisons() {
    jobject cluster = makeCluster();
    jobject server = makeServer();
    jobject weights = makeWeights();
    return {
        ofObject("executor status", "getExecutorStatusNative", makeFilled("CMNExecutorStatus"), least::executorStatus),
        ofObject("cluster add", "addClusterNative", cluster, least::addCluster),
        ofObject("cluster status", "getClusterStatusNative", makeCluster(), least::clusterStatus),
        ofObject("cluster report", "getClusterReportNative", makeCluster(), least::clusterReport),
        ofObject("port add", "addPortNative", makePort(), least::addPort),
        ofObject("server add, 2 listeners", "addServerNative", server, least::addServer),
        ofObject("server report", "getServerReportNative", server, least::serverReport),
        ofObject("rule add", "addRuleNative", makeRule(), least::addRule),
        ofWeights("weights read, 1000 servers", "getServerWeightsNative", weights, least::readWeights),
        ofWeights("weights write, 1000 servers", "setServerWeightsNative", weights, least::writeWeights),
        ofObject("HA status, 32 and 32", "getHAInfoNative", makeFilled("CMNHAStatus"), least::haStatus),
        ofConnections(),
        ofInterfaces()};
}

// The JNI calls of a procedure and the bytes that it sends.
trace::Calls observe(const std::function<void()> &procedure, std::vector<uint8_t> &bytes) {
    sent.clear();
    stub::watch = keepSent;
    trace::Calls calls = trace::callsOf(java::env(), procedure);
    stub::watch = nullptr;
    bytes = sent;
    return calls;
}

void compareAndMeasure(const Comparison &comparison, const Run &run, FILE *json) {
    std::vector<uint8_t> libraryBytes;
    std::vector<uint8_t> floorBytes;
    comparison.library(); // the executor's reply is then in the object, for both
    comparison.floor();
    const trace::Calls libraryCalls = observe(comparison.library, libraryBytes);
    const trace::Calls floorCalls = observe(comparison.floor, floorBytes);
    for (std::size_t i = 0; i < libraryCalls.calls.size() && i < floorCalls.calls.size(); ++i)
        require(libraryCalls.calls[i] == floorCalls.calls[i], comparison.method,
                "JNI call " + std::to_string(i + 1) + ": the library makes " + libraryCalls.calls[i] +
                    ", the floor makes " + floorCalls.calls[i]);
    require(libraryCalls.calls.size() == floorCalls.calls.size(), comparison.method,
            std::to_string(libraryCalls.calls.size()) + " JNI calls of the library, " +
                std::to_string(floorCalls.calls.size()) + " of the floor");
    require(!libraryBytes.empty() && libraryBytes == floorBytes, comparison.method,
            "library and floor do not send the same bytes");

    const std::vector<trace::LookUp> &lookUps = libraryCalls.lookUps;
    const measure::Times times =
        measure::inTurns({comparison.library, comparison.floor, [&] { trace::repeat(java::env(), lookUps); }},
                         run.rounds, run.batchNanoseconds);
    fprintf(json,
            R"({"method": "%s", "native": "%s", "jni_calls": %zu, "look_ups": %zu, "bytes_sent": %zu,)"
            "\n  ",
            comparison.method, comparison.native, libraryCalls.calls.size(), lookUps.size(), libraryBytes.size());
    measure::print(json, "library_ns", measure::quartilesOf(times[0]));
    fputs(",\n  ", json);
    measure::print(json, "floor_ns", measure::quartilesOf(times[1]));
    fputs(",\n  ", json);
    measure::print(json, "look_ups_ns", measure::quartilesOf(times[2]));
    fputs(",\n  ", json);
    measure::print(json, "ratio", measure::ratioOf(times[0], times[1]));
    fputs(",\n  ", json);
    measure::print(json, "look_ups_share", measure::ratioOf(times[2], times[0]));
    fputs("}", json);
    fprintf(stderr, "%s: %.3f\n", comparison.method, measure::ratioOf(times[0], times[1]).median);
}

} // namespace

int main(int count, char **arguments) {
    const Run run = {count > 3 ? atoi(arguments[3]) : 101, (count > 4 ? atof(arguments[4]) : 2) * 1e6};
    if (count < 3 || count > 5 || run.rounds < 1 || run.batchNanoseconds <= 0) {
        fputs("usage: floor_bench LIBRARY JSON [ROUNDS [MILLISECONDS]]\n", stderr);
        return 2;
    }
    library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    FILE *json = fopen(arguments[2], "w");
    if (library == nullptr || json == nullptr || freopen("/dev/null", "w", stdout) == nullptr) {
        fprintf(stderr, "floor_bench: %s\n", library == nullptr ? dlerror() : arguments[2]);
        return 1;
    }
    replies::prepare();
    native<SetModality>("setKVAServerModalityNative")(java::env(), nullptr, 1);
    fputs("{\"comparisons\": [\n", json);
    const char *separator = "";
    for (const Comparison &comparison : comparisons()) {
        fputs(separator, json);
        compareAndMeasure(comparison, run, json);
        separator = ",\n";
    }
    fputs("\n]}\n", json);
    return fclose(json) == 0 ? 0 : 1;
}
