import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import com.qel.internet.rk.executor.ExecutorSettings;
import com.qel.internet.rk.executor.Listener;
import com.qel.internet.rk.executor.Listeners;
import com.qel.internet.rk.executor.NewPortSettings;
import com.qel.internet.rk.executor.Port;
import com.qel.internet.rk.executor.PortSettings;
import com.qel.internet.rk.executor.Proportions;
import com.qel.internet.rk.executor.Rule;
import com.qel.internet.rk.executor.RuleSettings;
import com.qel.internet.rk.executor.Server;
import com.qel.internet.rk.executor.ServerSettings;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.lang.reflect.RecordComponent;
import java.net.InetAddress;
import java.net.UnknownHostException;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.function.Consumer;
import java.util.function.Supplier;

/**
 * Each setting, given alone, sets its own flag and no other, and changes what is read back of itself and of nothing
 * else.
 * The settings are found by their methods, so that none can be left out.
 */
final class SettingsArrive {
    /** Settings that cannot be read back. */
    private static final Set<String> WRITTEN_ONLY = Set.of("cookieExpiry", "hashId");

    /** What is read back under other names than the setting's own. */
    private static final Map<String, Set<String>> READ_AS = Map.of(
            "range(InetAddress,InetAddress)", Set.of("firstAddress", "lastAddress"),
            "range(int,int)", Set.of("begin", "end"),
            "routerAddress", Set.of("routerAddress", "remote"));

    /** What is read back as another value than the one that was given. */
    private static final Set<String> DERIVED = Set.of("remote", "newPorts");

    private SettingsArrive() {
    }

    static void run(Executor executor) throws ReflectiveOperationException, UnknownHostException {
        Cluster cluster = executor.cluster("settings").add(ClusterSettings.at(ipv4("10.0.0.1")));
        Port port = cluster.port(80).add(PortSettings.none());
        cluster.port(2).add(PortSettings.none()); // one to cross to
        Rule numbers = port.rule("numbers").add(RuleSettings.ofType(2).priority(101));
        Rule addresses = port.rule("addresses").add(RuleSettings.ofType(RuleSettings.ADDRESSES).priority(102));
        Rule services = port.rule("services").add(RuleSettings.ofType(RuleSettings.TYPE_OF_SERVICE).priority(103));

        int settings = each(ExecutorSettings.none(), executor::status, executor::change)
                + each(ClusterSettings.none(), cluster::status, cluster::change)
                + each(PortSettings.none(), port::status, port::change);
        port.change(PortSettings.none().weightBound(20));
        Server server = port.server("one").add(ServerSettings.none());
        for (Method method : methods(ServerSettings.class)) {
            // A new server for each: a router's address and a collocated server exclude each other.
            server.remove();
            server.add(ServerSettings.at(ipv4("10.1.0.1")));
            settings += alone(method, ServerSettings.none(), server::status, server::change);
        }
        for (Method method : methods(RuleSettings.class)) {
            Rule rule = method.getName().equals("typeOfService") ? services
                    : Arrays.asList(method.getParameterTypes()).contains(InetAddress.class) ? addresses : numbers;
            settings += alone(method, RuleSettings.none(), rule::status, rule::change);
        }
        Check.expect("settings", settings, 14 + 7 + 12 + 13 + 12);
        for (Method method : methods(NewPortSettings.class)) {
            NewPortSettings one = (NewPortSettings) method.invoke(NewPortSettings.none(), samples(method));
            // One after the other: the second is read back where the first does not change any more.
            changesOnly("cluster's new ports, " + method.getName(), Set.of(method.getName()),
                    () -> cluster.status().newPorts(), () -> cluster.change(ClusterSettings.none().newPorts(one)));
            changesOnly("executor's new ports, " + method.getName(), Set.of(method.getName()),
                    () -> executor.status().newPorts(), () -> executor.change(ExecutorSettings.none().newPorts(one)));
        }
        cluster.remove();
        together(cluster.add(ClusterSettings.at(ipv4("10.0.0.1"))));
        cluster.remove();
    }

    /** Settings that are given together arrive together; of one that is given twice, the second counts. */
    private static void together(Cluster cluster) {
        PortSettings base = PortSettings.none().weightBound(40).stickyTime(Duration.ofSeconds(7));
        Port first = cluster.port(81).add(base.stickyBits(8).weightBound(41));
        Port second = cluster.port(82).add(base);
        Check.expect("bits", first.status().stickyBits(), 8);
        Check.expect("time", first.status().stickyTime(), Duration.ofSeconds(7));
        Check.expect("given twice", first.status().weightBound(), 41);
        Check.expect("continued elsewhere", second.status().weightBound(), 40);
        Check.expect("not given", second.status().stickyBits(), 32);
    }

    private static <S> int each(S none, Supplier<Record> status, Consumer<S> change)
            throws ReflectiveOperationException, UnknownHostException {
        int settings = 0;
        for (Method method : methods(none.getClass())) {
            settings += alone(method, none, status, change);
        }
        return settings;
    }

    /** The methods that give a setting. */
    private static List<Method> methods(Class<?> settings) {
        return Arrays.stream(settings.getDeclaredMethods())
                .filter(method -> Modifier.isPublic(method.getModifiers()) && !Modifier.isStatic(method.getModifiers())
                        && method.getReturnType() == settings)
                .sorted(Comparator.comparing(Method::toString)).toList();
    }

    private static <S> int alone(Method method, S none, Supplier<Record> status, Consumer<S> change)
            throws ReflectiveOperationException, UnknownHostException {
        String name = none.getClass().getSimpleName() + "." + nameOf(method);
        @SuppressWarnings("unchecked")
        S one = (S) method.invoke(none, samples(method));
        setsOneFlag(name, one);
        Check.expect(name + " told", one.toString().length() > none.toString().length(), true);
        if (WRITTEN_ONLY.contains(method.getName())) {
            changesOnly(name, Set.of(), status, () -> change.accept(one));
        } else {
            Set<String> readAs = READ_AS.getOrDefault(nameOf(method), Set.of(method.getName()));
            changesOnly(name, readAs, status, () -> change.accept(one));
        }
        return 1;
    }

    /** Of the object for the native methods, exactly one flag is 1, and a value differs from that of a new object. */
    private static void setsOneFlag(String name, Object settings) throws ReflectiveOperationException {
        Method toNative = settings.getClass().getDeclaredMethod("toNative");
        toNative.setAccessible(true);
        Object made = toNative.invoke(settings);
        Object fresh = made.getClass().getConstructor().newInstance();
        List<String> flags = new ArrayList<>();
        List<String> values = new ArrayList<>();
        for (Field field : made.getClass().getFields()) {
            if (field.getName().startsWith("Set")) {
                if (field.getByte(made) == 1) {
                    flags.add(field.getName());
                }
            } else if (!Modifier.isStatic(field.getModifiers()) && !same(field.get(made), field.get(fresh))) {
                values.add(field.getName());
            }
        }
        boolean hasNone = name.endsWith("hashId");
        boolean isRange = name.contains("range");
        boolean isNewPorts = name.endsWith("newPorts");
        Check.expect(name + ", flags " + flags, flags.size(), hasNone ? 0 : isRange || isNewPorts ? 2 : 1);
        Check.expect(name + ", values " + values, values.isEmpty(), false);
        for (String value : values) {
            boolean isFlagged = flags.contains("Set" + value)
                    || flags.size() == 1 && flags.get(0).startsWith("Set") || isRange || hasNone;
            Check.expect(name + ", flag of " + value, isFlagged, true);
        }
    }

    private static boolean same(Object one, Object other) {
        return Arrays.deepEquals(new Object[] {one}, new Object[] {other});
    }

    private static String nameOf(Method method) {
        return method.getName().equals("range") ? "range(" + String.join(",",
                Arrays.stream(method.getParameterTypes()).map(Class::getSimpleName).toList()) + ")" : method.getName();
    }

    /** Runs a change, and compares what is read before and after it. */
    private static void changesOnly(String name, Set<String> expected, Supplier<Record> status, Runnable change)
            throws ReflectiveOperationException {
        Map<String, Object> before = read(status.get());
        change.run();
        Map<String, Object> after = read(status.get());
        Set<String> changed = new TreeSet<>();
        after.forEach((component, value) -> {
            if (!same(value, before.get(component))) {
                changed.add(component);
            }
        });
        Check.expect(name + " changes", changed, new TreeSet<>(expected));
        for (String component : changed) {
            if (!DERIVED.contains(component)) {
                Check.expect(name + " arrives as " + component, SAMPLES.contains(after.get(component)), true);
            }
        }
    }

    private static Map<String, Object> read(Record record) throws ReflectiveOperationException {
        Map<String, Object> values = new LinkedHashMap<>();
        for (RecordComponent component : record.getClass().getRecordComponents()) {
            values.put(component.getName(), component.getAccessor().invoke(record));
        }
        return values;
    }

    /** What was given, as it is to be read back. */
    private static final List<Object> SAMPLES = new ArrayList<>();

    private static Object[] samples(Method method) throws UnknownHostException {
        SAMPLES.clear();
        Object[] samples = new Object[method.getParameterCount()];
        for (int i = 0; i < samples.length; i++) {
            samples[i] = sample(method, method.getParameterTypes()[i], i);
        }
        SAMPLES.addAll(Arrays.asList(samples));
        return samples;
    }

    private static Object sample(Method method, Class<?> type, int place) throws UnknownHostException {
        if (type == int.class) {
            return 2 + place; // an int that each of them takes
        } else if (type == boolean.class) {
            return true;
        } else if (type == Duration.class) {
            return Duration.ofSeconds(77);
        } else if (type == InetAddress.class) {
            boolean isLong = method.getName().endsWith("6");
            return isLong ? InetAddress.getByName("2001:db8::7") : ipv4("10.7.0." + (7 + place));
        } else if (type == String.class) {
            return method.getName().equals("typeOfService") ? "01xx10xx" : "text of " + method.getName();
        } else if (type == Proportions.class) {
            return new Proportions(10, 20, 30, 40);
        } else if (type == Listeners.class) {
            return new Listeners(List.of(new Listener(ipv4("10.1.0.2"), 8080, 1, "ring", "stash"),
                    new Listener(ipv4("10.1.0.3"))), Duration.ofSeconds(3), Duration.ofSeconds(4));
        }
        return NewPortSettings.none().weightBound(33).stickyTime(Duration.ofSeconds(33));
    }
}
