import com.qel.internet.rk.executor.ExecutorException;
import java.util.Objects;

/** Counts what is not as it has to be. */
final class Check {
    private static int failures;
    private static int successes;

    private Check() {
    }

    static void expect(String what, Object actual, Object expected) {
        if (Objects.equals(actual, expected)) {
            successes++;
        } else {
            failures++;
            System.err.println(what + ": " + actual + " instead of " + expected);
        }
    }

    /** Makes a call that the executor refuses with this status. {@return its message; empty when it is done} */
    static String expectRefusal(String what, int status, String name, Runnable call) {
        try {
            call.run();
        } catch (ExecutorException refusal) {
            expect(what + ", status", refusal.status(), status);
            expect(what + ", name", refusal.statusName(), name);
            expect(what + ", advice", refusal.advice().isEmpty(), false);
            expect(what + ", advice in the message", refusal.getMessage().endsWith(refusal.advice()), true);
            return refusal.getMessage();
        }
        expect(what, "done", "refused");
        return "";
    }

    /** Makes a call that ends with an exception of this class. {@return its message; empty when it is done} */
    static String expectThrown(String what, Class<? extends RuntimeException> type, Runnable call) {
        try {
            call.run();
        } catch (RuntimeException thrown) {
            expect(what, thrown.getClass(), type);
            return String.valueOf(thrown.getMessage());
        }
        expect(what, "done", type);
        return "";
    }

    static void expectPart(String what, String text, String part) {
        expect(what, text.contains(part) ? part : text, part);
    }

    /** Ends the program: successfully when all was as it had to be, and enough was looked at. */
    static void exit(int leastSuccesses) {
        expect("enough was looked at", successes >= leastSuccesses, true);
        System.out.println(successes + " expectations met, " + failures + " not");
        System.exit(failures == 0 ? 0 : 1);
    }
}
