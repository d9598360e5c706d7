// How the natives that carry all servers of a port grow with their number: time per server should stay the same.
#include "harness/jvm.h"

#include "rk/channel.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>

namespace {

constexpr char kCluster[] = "scale";
constexpr jint kPort = 80;

void must(jint status, const char *what) {
    if (status != 0) {
        fprintf(stderr, "%s: status %d\n", what, status);
        exit(1);
    }
}

// The process's largest resident size so far, in bytes.
double peakBytes() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

// A fresh executor with one port that has this many servers, and their keys in a Java array.
struct Farm {
    explicit Farm(jint servers) {
        java::env()->PushLocalFrame(64);
        java::callVoid("setKVAServerModalityNative", "(I)V", 1);
        must(java::callInt("startUserExecutorNative", "()I"), "start");
        jobject cluster = java::make("CMNCluster");
        java::setString(cluster, "sClusterId", kCluster);
        java::setString(cluster, "Address", "10.0.0.5");
        must(java::call("addClusterNative", cluster), "add cluster");
        jobject port = java::make("CMNPort");
        java::setString(port, "ClusterId", kCluster);
        java::setInt(port, "PortNumber", kPort);
        java::setInt(port, "MaxNumberOfServers", servers);
        java::setByte(port, "SetMaxNumberOfServers", 1);
        must(java::call("addPortNative", port), "add port");
        std::vector<jint> all(static_cast<std::size_t>(servers));
        jobject server = java::make("CMNServer");
        java::setString(server, "ClusterId", kCluster);
        java::setInt(server, "Port", kPort);
        for (jint i = 0; i < servers; ++i) {
            java::env()->PushLocalFrame(8);
            java::setString(server, "sServerID", nameOf(i));
            must(java::call("addServerNative", server), "add server");
            all[static_cast<std::size_t>(i)] = java::getInt(server, "iServerIdKey");
            java::env()->PopLocalFrame(nullptr);
        }
        keys = java::makeIntArray(all);
    }

    ~Farm() {
        must(java::callInt("stopUserExecutorNative", "()I"), "stop");
        java::env()->PopLocalFrame(nullptr);
    }

    Farm(const Farm &) = delete;
    Farm &operator=(const Farm &) = delete;

    // Names whose keys differ, since two servers of one key cannot be on a port: from its tenth character on, a name's
    // character counts in the key shifted by its place alone, so hexadecimal digits four places apart do not mix.
    static std::string nameOf(jint number) {
        std::string name = "SERVER-000";
        for (int digit = 0; digit < 4; ++digit) {
            name += static_cast<char>('A' + (number >> (4 * digit) & 0xF));
            name += "---";
        }
        return name;
    }

    jobject keys;
};

void perServer(benchmark::State &state) {
    const auto servers = static_cast<double>(state.range(0));
    state.counters["per_server"] =
        benchmark::Counter(servers, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["peak_MB"] = peakBytes() / 1e6;
}

void listServers(benchmark::State &state) {
    const Farm farm(static_cast<jint>(state.range(0)));
    for (auto step : state) {
        java::env()->PushLocalFrame(16);
        jobject list = java::make("java/lang/StringBuffer");
        must(java::callInt("getServersListNative", "(Ljava/lang/String;ILjava/lang/Object;[I)I",
                           java::makeString(kCluster), kPort, list, farm.keys),
             "list");
        java::env()->PopLocalFrame(nullptr);
    }
    perServer(state);
}

void readWeights(benchmark::State &state) {
    const auto servers = static_cast<jint>(state.range(0));
    const Farm farm(servers);
    jobject weights = java::makeWithInt("CMNServerWeights", servers);
    java::setString(weights, "sClusterID", kCluster);
    java::setInt(weights, "iPortNumber", kPort);
    for (auto step : state)
        must(java::callInt("getServerWeightsNative", "(Ljava/lang/Object;I)I", weights, servers), "read weights");
    perServer(state);
}

void writeWeights(benchmark::State &state) {
    const auto servers = static_cast<jint>(state.range(0));
    const Farm farm(servers);
    jobject weights = java::makeWithInt("CMNServerWeights", servers);
    java::setString(weights, "sClusterID", kCluster);
    java::setInt(weights, "iPortNumber", kPort);
    java::setObject(weights, "iServerIdKey", "[I", farm.keys);
    for (auto step : state)
        must(java::callInt("setServerWeightsNative", "(Ljava/lang/Object;I)I", weights, servers), "write weights");
    perServer(state);
}

void reportPort(benchmark::State &state) {
    const Farm farm(static_cast<jint>(state.range(0)));
    jobject port = java::make("CMNPort");
    java::setString(port, "ClusterId", kCluster);
    java::setInt(port, "PortNumber", kPort);
    for (auto step : state)
        must(java::call("getPortReportNative", port), "report");
    perServer(state);
}

void sizes(benchmark::internal::Benchmark *bench) {
    bench->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(listServers)->Apply(sizes);
BENCHMARK(readWeights)->Apply(sizes);
BENCHMARK(writeWeights)->Apply(sizes);
BENCHMARK(reportPort)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
