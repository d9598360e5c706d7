package rk.bench;

import com.google.gson.GsonBuilder;
import com.qel.internet.rk.common.CMNCluster;
import java.io.IOException;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.ToIntBiFunction;

/**
 * What else could stand between the Java objects and the executor, and how long it takes beside the library: the same
 * objects, the same records, the same executor, in one VM and in turns. Before anything is measured, each alternative
 * must be seen to send the library's bytes and to leave the object as the library does.
 *
 * <p>Arguments: the JSON file, and optionally the number of rounds and the milliseconds of a batch.
 */
public final class Alternatives {
    private record Method(String name, ToIntBiFunction<Alternative, CMNCluster> call) {
    }

    /** One that sends settings and one that takes a report: what most methods do is one of the two. */
    private static final List<Method> METHODS = List.of(new Method("cluster add", Alternative::addCluster),
            new Method("cluster report", Alternative::reportCluster));
    private static final List<Field> FIELDS = Arrays.stream(CMNCluster.class.getFields())
            .filter(field -> !Modifier.isStatic(field.getModifiers())).toList();
    private static final int BLOCK_BYTES = 64016;

    private Alternatives() {
    }

    public static void main(String[] arguments) throws IOException {
        if (arguments.length < 1 || arguments.length > 3) {
            System.err.println("usage: Alternatives JSON [ROUNDS [MILLISECONDS]]");
            System.exit(2);
        }
        int rounds = arguments.length > 1 ? Integer.parseInt(arguments[1]) : 101;
        double batch = 1e6 * (arguments.length > 2 ? Double.parseDouble(arguments[2]) : 2);
        List<Alternative> alternatives = alternatives();
        List<Map<String, Object>> comparisons = new ArrayList<>();
        for (Method method : METHODS) {
            check(method, alternatives);
            comparisons.add(measure(method, alternatives, rounds, batch));
        }
        Map<String, Object> result = new LinkedHashMap<>();
        result.put("java", Runtime.version().toString());
        result.put("comparisons", comparisons);
        Files.writeString(Path.of(arguments[0]), new GsonBuilder().setPrettyPrinting().create().toJson(result) + "\n");
    }

    /** The library first. Foreign functions need a newer Java than this program: they are left out where it is older. */
    private static List<Alternative> alternatives() {
        List<Alternative> alternatives = new ArrayList<>(List.of(new NativeLibrary(), new JnaStructures(),
                new JnrStructures()));
        try {
            alternatives.add((Alternative) Class.forName("rk.bench.ForeignFunctions").getDeclaredConstructor()
                    .newInstance());
        } catch (ClassNotFoundException | UnsupportedClassVersionError missing) {
            System.err.println("Left out: foreign functions, which need a JDK 22 or newer");
        } catch (ReflectiveOperationException failure) {
            throw new IllegalStateException(failure);
        }
        return alternatives;
    }

    /** A cluster in which every number has a value of its own, negative ones among them, and all flags are set. */
    private static CMNCluster cluster() {
        CMNCluster cluster = new CMNCluster();
        int value = 3;
        for (Field field : FIELDS) {
            try {
                if (field.getType() == byte.class) {
                    field.setByte(cluster, (byte) (field.getName().startsWith("Set") ? 1 : value));
                } else if (field.getType() == int.class) {
                    field.setInt(cluster, value);
                } else if (field.getType() == char.class) {
                    field.setChar(cluster, (char) (value & 0x7F));
                }
            } catch (IllegalAccessException failure) {
                throw new IllegalStateException(failure);
            }
            value = -3 * value % 9973;
        }
        cluster.sClusterId = "www.example.com";
        cluster.Address = "192.168.100.200";
        cluster.sPrimaryHost = "10.0.0.1";
        cluster.natPtAddress = new byte[] {10, 9, 8, 7};
        return cluster;
    }

    private static void check(Method method, List<Alternative> alternatives) {
        CMNCluster expected = cluster();
        byte[] bytes = sentBy(alternatives.get(0), method, expected);
        for (Alternative alternative : alternatives.subList(1, alternatives.size())) {
            CMNCluster actual = cluster();
            byte[] sent = sentBy(alternative, method, actual);
            int difference = Arrays.mismatch(bytes, sent);
            require(difference < 0, method, alternative, "not the library's bytes from byte " + difference + " on");
            for (Field field : FIELDS) {
                require(equal(field, expected, actual), method, alternative, "field " + field.getName());
            }
        }
    }

    private static boolean equal(Field field, CMNCluster expected, CMNCluster actual) {
        try {
            return Arrays.deepEquals(new Object[] {field.get(expected)}, new Object[] {field.get(actual)});
        } catch (IllegalAccessException failure) {
            throw new IllegalStateException(failure);
        }
    }

    private static void require(boolean condition, Method method, Alternative alternative, String what) {
        if (!condition) {
            throw new IllegalStateException(method.name() + ", " + alternative.name() + ": " + what);
        }
    }

    /** The bytes of one call on a block of zeros; result and reason, which the executor writes, are left out. */
    private static byte[] sentBy(Alternative alternative, Method method, CMNCluster cluster) {
        JnaStructures.rk_bench_keep_blocks(1);
        alternative.clear();
        int status = method.call().applyAsInt(alternative, cluster);
        byte[] bytes = new byte[BLOCK_BYTES];
        int length = JnaStructures.rk_bench_last_block(bytes, bytes.length);
        JnaStructures.rk_bench_keep_blocks(0);
        require(status == 0, method, alternative, "status " + status);
        Arrays.fill(bytes, 4, 12, (byte) 0);
        return Arrays.copyOf(bytes, length);
    }

    private static Map<String, Object> measure(Method method, List<Alternative> alternatives, int rounds,
            double batch) {
        List<Comparison.Candidate> candidates = new ArrayList<>();
        for (Alternative alternative : alternatives) {
            CMNCluster cluster = cluster();
            candidates.add(new Comparison.Candidate(alternative.name(),
                    () -> method.call().applyAsInt(alternative, cluster)));
        }
        Map<String, Object> comparison = new LinkedHashMap<>();
        comparison.put("method", method.name());
        comparison.put("alternatives", Comparison.measure(method.name(), candidates, rounds, batch));
        return comparison;
    }
}
