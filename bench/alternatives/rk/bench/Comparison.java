package rk.bench;

import com.sun.management.ThreadMXBean;
import java.lang.management.ManagementFactory;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** Ways to do the same, measured side by side in one VM: in turns, so that what the machine does meets all alike. */
final class Comparison {
    /** One of the ways. */
    record Candidate(String name, Runnable call) {
    }

    private static final long WARM_UP_NANOSECONDS = 500_000_000;
    private static final ThreadMXBean THREAD = (ThreadMXBean) ManagementFactory.getThreadMXBean();

    private Comparison() {
    }

    /** {@return for each candidate its times, their ratios to those of the first, and its garbage} */
    static Map<String, Object> measure(String what, List<Candidate> candidates, int rounds, double batch) {
        double[][] times = new double[candidates.size()][rounds];
        int[] calls = candidates.stream().mapToInt(candidate -> callsFor(candidate.call(), batch)).toArray();
        for (int round = 0; round < rounds; round++) {
            for (int turn = 0; turn < calls.length; turn++) {
                int i = (turn + round) % calls.length;
                times[i][round] = timeOf(candidates.get(i).call(), calls[i]) / calls[i];
            }
        }
        Map<String, Object> results = new LinkedHashMap<>();
        for (int i = 0; i < calls.length; i++) {
            double[] ratios = new double[rounds];
            for (int round = 0; round < rounds; round++) {
                ratios[round] = times[i][round] / times[0][round];
            }
            results.put(candidates.get(i).name(), Map.of("ns", quartilesOf(times[i]), "ratio", quartilesOf(ratios),
                    "garbage_bytes", garbageOf(candidates.get(i).call(), calls[i])));
            System.err.printf("%s, %s: %.3f%n", what, candidates.get(i).name(), quartilesOf(ratios).get("median"));
        }
        return results;
    }

    /** Warms a call up until the VM has compiled it, and finds how many take as long as a batch should. */
    private static int callsFor(Runnable call, double batch) {
        int calls = 1;
        double taken = 0;
        for (double warm = 0; warm < WARM_UP_NANOSECONDS || taken < batch / 2; warm += taken) {
            taken = Math.max(1, timeOf(call, calls));
            if (taken < batch / 2) {
                calls *= 2;
            }
        }
        return Math.max(1, (int) (calls * batch / taken));
    }

    /** Nanoseconds of the thread's own processor time, so that it does not matter who else runs. */
    private static double timeOf(Runnable call, int calls) {
        long start = THREAD.getCurrentThreadCpuTime();
        for (int i = 0; i < calls; i++) {
            call.run();
        }
        return THREAD.getCurrentThreadCpuTime() - start;
    }

    /** Bytes that a call leaves to the garbage collector, whose time is not in the call's. */
    private static long garbageOf(Runnable call, int calls) {
        long start = THREAD.getCurrentThreadAllocatedBytes();
        for (int i = 0; i < calls; i++) {
            call.run();
        }
        return Math.round((double) (THREAD.getCurrentThreadAllocatedBytes() - start) / calls);
    }

    private static Map<String, Double> quartilesOf(double[] values) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        Map<String, Double> quartiles = new LinkedHashMap<>();
        quartiles.put("q1", quantileOf(sorted, 0.25));
        quartiles.put("median", quantileOf(sorted, 0.5));
        quartiles.put("q3", quantileOf(sorted, 0.75));
        return quartiles;
    }

    private static double quantileOf(double[] sorted, double place) {
        double index = place * (sorted.length - 1);
        int below = (int) index;
        int above = Math.min(below + 1, sorted.length - 1);
        return sorted[below] + (sorted[above] - sorted[below]) * (index - below);
    }
}
