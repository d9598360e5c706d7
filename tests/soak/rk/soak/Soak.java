package rk.soak;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.function.ToLongFunction;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;
import javax.management.JMException;
import javax.management.ObjectName;

/** Many calls, and what the process holds meanwhile: Soak CALLS. */
public final class Soak {
    private static final int MILLION = 1_000_000;
    private static final int SAMPLES = 40;
    private static final int ROWS = 10;
    private static final int SERVERS = 8;
    private static final int WARM_UP = 100_000;

    /**
     * What may be held more after a run: so much for each million calls, and so much once, as the VM has its own uses
     * and the resident size goes by pages. In bytes. But for start and stop, each method is called once in 150 calls at
     * least, and no block of the heap is smaller than 32 bytes: keeping one at each call of one method makes 200000 in
     * a million.
     */
    private static final double HEAP_MOST = 50_000;
    private static final double HEAP_ONCE = 16_000;
    private static final double RESIDENT_MOST = 100_000;
    private static final double RESIDENT_ONCE = 512_000;

    private Soak() {
    }

    /** What the process holds after so many calls; sizes in bytes. */
    private record Sample(long calls, long resident, long heap, long descriptors) {
    }

    public static void main(String[] arguments) throws IOException, JMException {
        long wanted = Long.parseLong(arguments[0]);
        Farm farm = new Farm(SERVERS);
        farm.begin();
        int day = 0;
        while (farm.calls < WARM_UP) {
            farm.day(day++);
            sample(0);
        }
        System.gc(); // the first takes what the collector itself needs
        long before = farm.calls;
        long globals = globalReferences();
        System.err.printf("%12s %14s %14s %12s%n", "calls", "resident KiB", "heap bytes", "descriptors");
        print(sample(0)); // for what printing needs itself
        List<Sample> samples = new ArrayList<>(List.of(sample(0)));
        while (samples.size() <= SAMPLES) {
            while (farm.calls - before < wanted * samples.size() / SAMPLES) {
                farm.day(day++);
            }
            Sample sample = sample(farm.calls - before);
            samples.add(sample);
            if (samples.size() % (SAMPLES / ROWS) == 1) {
                print(sample);
            }
        }
        long globalsAtEnd = globalReferences();
        farm.end();

        double resident = slope(samples, Sample::resident);
        double heap = slope(samples, Sample::heap);
        double residentMost = RESIDENT_MOST + RESIDENT_ONCE * MILLION / wanted;
        double heapMost = HEAP_MOST + HEAP_ONCE * MILLION / wanted;
        System.err.printf("bytes per million calls: resident %.0f (at most %.0f), heap %.0f (at most %.0f)%n",
                resident, residentMost, heap, heapMost);
        System.err.printf("global references: %d before, %d after%n", globals, globalsAtEnd);
        long descriptors = samples.stream().mapToLong(Sample::descriptors).max().orElseThrow();
        if (resident > residentMost || heap > heapMost || globalsAtEnd > globals
                || descriptors > samples.get(0).descriptors) {
            System.err.println("The process grows.");
            System.exit(1);
        }
    }

    private static void print(Sample sample) {
        System.err.printf("%12d %14d %14d %12d%n", sample.calls, sample.resident / 1024, sample.heap,
                sample.descriptors);
    }

    private static Sample sample(long calls) throws IOException {
        long resident = number(Files.readString(Path.of("/proc/self/status")), "VmRSS:\\s*(\\d+) kB") * 1024;
        try (Stream<Path> descriptors = Files.list(Path.of("/proc/self/fd"))) {
            return new Sample(calls, resident, Heap.bytesInUse(), descriptors.count());
        }
    }

    /** The references of native code that the VM keeps until it is told otherwise, weak ones included. */
    private static long globalReferences() throws JMException {
        String threads = (String) ManagementFactory.getPlatformMBeanServer().invoke(
                new ObjectName("com.sun.management:type=DiagnosticCommand"), "threadPrint",
                new Object[] {new String[0]}, new String[] {String[].class.getName()});
        return number(threads, "JNI global refs: (\\d+)") + number(threads, "weak refs: (\\d+)");
    }

    private static long number(String text, String pattern) {
        Matcher found = Pattern.compile(pattern).matcher(text);
        if (!found.find()) {
            throw new IllegalStateException("no " + pattern);
        }
        return Long.parseLong(found.group(1));
    }

    /** Bytes per million calls, by least squares. */
    private static double slope(List<Sample> samples, ToLongFunction<Sample> held) {
        double meanCalls = samples.stream().mapToLong(Sample::calls).average().orElseThrow();
        double meanHeld = samples.stream().mapToLong(held).average().orElseThrow();
        double products = 0;
        double squares = 0;
        for (Sample sample : samples) {
            products += (sample.calls - meanCalls) * (held.applyAsLong(sample) - meanHeld);
            squares += (sample.calls - meanCalls) * (sample.calls - meanCalls);
        }
        return products / squares * MILLION;
    }
}
