import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNInterfaceList;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import com.qel.internet.rk.common.CMNStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.io.IOException;
import java.lang.reflect.Constructor;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Objects;
import java.util.concurrent.atomic.AtomicReference;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** What the classes of the module do by themselves, without the native library. */
final class ModuleTest {
    private static int failures;

    private static void expect(String what, Object actual, Object expected) {
        if (!Objects.equals(actual, expected)) {
            System.err.println(what + ": " + actual + " instead of " + expected);
            failures++;
        }
    }

    private static void statusesHaveMeanings() {
        expect("0", CMNStatus.describe(0), "success");
        expect("one meaning", CMNStatus.describe(-5), "the cluster does not exist");
        expect("one meaning in a family", CMNStatus.describe(-5, Family.CLUSTER), "the cluster does not exist");
        expect("-4, for which keys may be the reason", CMNStatus.describe(-4, Family.CLUSTER),
                "the cluster exists already, or another one whose identifier has the same key");
        expect("-18, for which keys may be the reason", CMNStatus.describe(-18, Family.SERVER),
                "the server exists already, or another one whose identifier has the same key");
        expect("-57 of ports", CMNStatus.describe(-57, Family.PORT),
                "the server limit is negative, or below the number of servers that the port has");
        expect("-57 of rules", CMNStatus.describe(-57, Family.RULE), "the rule does not exist");
        expect("-58 of servers", CMNStatus.describe(-58, Family.SERVER),
                "the most connections per second are negative");
        expect("-58 of rules", CMNStatus.describe(-58, Family.RULE),
                "the priority is out of range, or another rule of the port has it");
        expect("-57 of any", CMNStatus.describe(-57),
                "the server limit is negative, or below the number of servers that the port has; or: the rule does not"
                        + " exist");
        expect("-57 of a family that has none", CMNStatus.describe(-57, Family.SYSTEM), CMNStatus.describe(-57));
        expect("-10 of any", CMNStatus.describe(-10), "the port number is outside 0 to 65535");
        expect("error number", CMNStatus.describe(19), "the device reported error number 19");
        expect("unknown", CMNStatus.describe(-12345), "a status that the executor defines");
        expect("lowest", CMNStatus.describe(Integer.MIN_VALUE, Family.PORT), "a status that the executor defines");
    }

    private static void statusesHaveNamesAndAdvice() {
        expect("-57 of ports", CMNStatus.name(-57, Family.PORT), "BAD_SERVER_LIMIT");
        expect("-57 of rules", CMNStatus.name(-57, Family.RULE), "UNKNOWN_RULE");
        expect("-57 of a family that has none", CMNStatus.name(-57, Family.SYSTEM), "BAD_SERVER_LIMIT");
        expect("-36 of what returns reasons", CMNStatus.name(-36, Family.REASON), "BAD_WEIGHT");
        expect("-36 of a take-over", CMNStatus.name(-36, Family.TAKEOVER), "TAKEOVER_REFUSED");
        expect("error number", CMNStatus.name(19, Family.CLUSTER), "DEVICE_ERROR");
        expect("exit status", CMNStatus.name(256, Family.ALIAS), "COMMAND_FAILED");
        expect("unknown", CMNStatus.name(-12345, Family.PORT), "EXECUTOR_DEFINED");
        expect("advice about -5", CMNStatus.advise(-5, Family.PORT), "add the cluster first");
        Pattern name = Pattern.compile("[A-Z]+(_[A-Z]+)*");
        for (Family family : Family.values()) {
            for (int status = -130; status <= 1; status++) {
                expect(status + " of " + family + " has a name",
                        name.matcher(CMNStatus.name(status, family)).matches(), true);
                expect(status + " of " + family + " has advice", CMNStatus.advise(status, family).isBlank(), false);
            }
        }
    }

    private static void listenersAreCountedAndMadeWhereTheExecutorHasMore() {
        CMNServer added = new CMNServer();
        CMNListener listener = new CMNListener(0x0A000001, 8080);
        added.addListener(listener);
        expect("count", added._iNumListeners, 1);
        expect("first", added.getListener(0), listener);
        added.addListenersFromNative(2);
        expect("count after more", added._iNumListeners, 2);
        expect("first after more", added.getListener(0), listener);
        expect("second's address", added.getListener(1).getIntAddress(), 0);

        CMNServer fresh = new CMNServer();
        expect("made on demand", fresh.getListener(0) != null, true);
        expect("made and counted", fresh._iNumListeners, 1);
        expect("the same again", fresh.getListener(0), fresh.listeners.get(0));
        expect("a gap", fresh.getListener(2), null);
        expect("a negative index", fresh.getListener(-1), null);

        CMNServer counted = new CMNServer();
        counted._iNumListeners = 1;
        expect("counted and never added", counted.getListener(0), null);
    }

    private static void serversAndListenersTakeWhatTheStatusBrings() {
        CMNServer server = new CMNServer();
        server.setConnectTimeoutFromNative(11);
        server.setWaitForContinueFromNative(12);
        expect("connect time-out", server.getConnectTimeout(), 11);
        expect("wait for complete", server.getIntWaitForComplete(), 12);

        CMNListener listener = new CMNListener();
        listener.setAddress(0x0A000001);
        listener._iMapPort = 80;
        listener._iProtocol = 2;
        expect("address", listener.getIntAddress(), 0x0A000001);
        expect("port", listener.getMapPort(), 80);
        expect("protocol", listener.getProtocol(), 2);
        expect("key ring", listener.getKeyRing(), "");
        expect("stash file", listener.getStashFile(), "");
    }

    private static void weightsHaveRoomForEachServer() {
        CMNServerWeights weights = new CMNServerWeights(2);
        weights.setServerId("one", 1);
        expect("identifier", weights.sServerID[1], "one");
        for (int length : new int[] {weights.iServerIdKey.length, weights.iWeight.length, weights.bFixedWeight.length,
                weights.ucQuiescedDown.length, weights.iAddress.length, weights.iTotalConns.length,
                weights.iActiveConns.length, weights.iRC.length}) {
            expect("room", length, 2);
        }
    }

    private static void statusesOfHighAvailabilityAndAliasingHaveMeanings() {
        expect("-1 of take-over", CMNStatus.describe(-1, Family.TAKEOVER), "the address does not parse");
        expect("-1 of high availability", CMNStatus.describe(-1, Family.HIGH_AVAILABILITY),
                "the executor refused the command, or cannot be reached");
        expect("-10 of the backup", CMNStatus.describe(-10, Family.HIGH_AVAILABILITY),
                "the port is outside 1 to 65535, or no number");
        expect("-17 of servers", CMNStatus.describe(-17, Family.SERVER),
                "a listener of the server cannot be obtained");
        expect("-17 of timers", CMNStatus.describe(-17, Family.HIGH_AVAILABILITY), "the executor refused the timers");
        expect("-46 of reach targets", CMNStatus.describe(-46, Family.REACH),
                "the mask does not parse, or is 255.255.255.255");
        expect("-46 of heartbeats", CMNStatus.describe(-46, Family.HEARTBEAT), "the first address does not parse");
        expect("-102", CMNStatus.describe(-102, Family.REASON), "out of memory for the affinity records");
        expect("-1 of aliasing", CMNStatus.describe(-1, Family.ALIAS),
                "the command that sets the interface cannot be run");
        expect("exit status 1", CMNStatus.describe(256, Family.ALIAS),
                "the command that sets the interface failed with exit status 1");
        expect("exit status 127", CMNStatus.describe(127 << 8, Family.ALIAS),
                "the command that sets the interface failed with exit status 127");
        expect("signal 9", CMNStatus.describe(9, Family.ALIAS),
                "the command that sets the interface was ended by signal 9");
        expect("signal 11, with a core", CMNStatus.describe(0x8B, Family.ALIAS),
                "the command that sets the interface was ended by signal 11");
    }

    private static void arraysHaveRoomForAllThatTheLibraryFillsIn() {
        CMNHAStatus status = new CMNHAStatus();
        for (int[] array : List.of(status.haLocal_Address, status.haRemote_Address, status.haStatus, status.haAddress,
                status.haMask, status.haType, status.haAddress_status, status.haRemote_status, status.haLTimeStamp,
                status.haRTimeStamp)) {
            expect("heartbeats and reach targets", array.length, 32);
        }
        CMNInterfaceList interfaces = new CMNInterfaceList();
        for (int[] array : List.of(interfaces.aiIp, interfaces.aiNetmask, interfaces.aiNetnumber,
                interfaces.aiBroadcast)) {
            expect("interfaces", array.length, 100);
        }
        CMNAffinityRequest request = new CMNAffinityRequest();
        for (int[] array : List.of(request.aiClientAddr, request.aiServerAddr, request.aiNumActive,
                request.aiAgeOrResponse)) {
            expect("affinity records", array.length, 3000);
        }
    }

    private static String sourcesOf(Path console) throws IOException {
        StringBuilder sources = new StringBuilder();
        try (Stream<Path> files = Files.walk(console)) {
            for (Path file : files.filter(path -> path.toString().endsWith(".java")).toList()) {
                sources.append(Files.readString(file));
            }
        }
        return sources.toString();
    }

    /** Whoever sits at the console reaches every native method: its sources call each, or hand it on. */
    private static void consoleReachesEveryNativeMethod(String sources) {
        int natives = 0;
        for (Method method : CMNExecutorInterface.class.getDeclaredMethods()) {
            if (Modifier.isNative(method.getModifiers())) {
                Pattern use = Pattern.compile("(?:natives(?:\\(\\))?(?:\\.|::)|CMNExecutorInterface::)"
                        + method.getName() + "\\b");
                expect("the console uses " + method.getName(), use.matcher(sources).find(), true);
                natives++;
            }
        }
        expect("native methods", natives, 96);
    }

    /** The console has one object to call native methods on, and gives it to one thread. */
    private static void consoleCallsNativeMethodsOnOneThread(String sources)
            throws ReflectiveOperationException, InterruptedException {
        expect("objects with native methods", sources.split("new CMNExecutorInterface\\(", -1).length - 1, 1);
        Class<?> type = Class.forName("com.qel.internet.rk.console.Session");
        Constructor<?> constructor = type.getDeclaredConstructors()[0];
        constructor.setAccessible(true);
        Object session = constructor.newInstance((Object) null);
        Method natives = type.getDeclaredMethod("natives");
        natives.setAccessible(true);
        expect("natives before the session is open", natives.invoke(session), null);
        AtomicReference<Throwable> thrown = new AtomicReference<>();
        Thread other = new Thread(() -> {
            try {
                natives.invoke(session);
            } catch (ReflectiveOperationException error) {
                thrown.set(error.getCause());
            }
        });
        other.start();
        other.join();
        expect("natives on another thread", String.valueOf(thrown.get()),
                "java.lang.IllegalStateException: native methods are for the session's own thread");
    }

    public static void main(String[] arguments)
            throws IOException, ReflectiveOperationException, InterruptedException {
        statusesHaveMeanings();
        statusesHaveNamesAndAdvice();
        listenersAreCountedAndMadeWhereTheExecutorHasMore();
        serversAndListenersTakeWhatTheStatusBrings();
        weightsHaveRoomForEachServer();
        statusesOfHighAvailabilityAndAliasingHaveMeanings();
        arraysHaveRoomForAllThatTheLibraryFillsIn();
        String sources = sourcesOf(Path.of(arguments[0]));
        consoleReachesEveryNativeMethod(sources);
        consoleCallsNativeMethodsOnOneThread(sources);
        System.exit(failures == 0 ? 0 : 1);
    }
}
