import com.qel.internet.rk.common.CMNExecutorInterface;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.Comparator;

/** Calls every native method with nulls and zeros on the real library and the reference executor. */
public class AllNatives {
    private static final int NATIVES = 96;

    public static void main(String[] arguments) throws IllegalAccessException {
        Method[] natives = Arrays.stream(CMNExecutorInterface.class.getDeclaredMethods())
                .filter(method -> Modifier.isNative(method.getModifiers()))
                .sorted(Comparator.comparing(Method::getName)).toArray(Method[]::new);
        if (natives.length != NATIVES) {
            fail("there are " + natives.length + " native methods, not " + NATIVES);
        }
        CMNExecutorInterface executor = new CMNExecutorInterface();
        for (Method method : natives) {
            // Each meets a running executor in user space, whatever the one before did.
            executor.setKVAServerModalityNative(1);
            executor.userExecutorProcessInitNative();
            executor.startUserExecutorNative();
            Object[] values = Arrays.stream(method.getParameterTypes())
                    .map(type -> type == int.class ? (Object) 0 : null).toArray();
            try {
                method.invoke(executor, values);
            } catch (InvocationTargetException thrown) {
                if (!(thrown.getCause() instanceof NullPointerException)) {
                    fail(method.getName() + " throws " + thrown.getCause());
                }
            }
        }
        executor.setKVAServerModalityNative(1);
        if (!executor.userExecutorStartedNative() && executor.startUserExecutorNative() != 0) {
            fail("the executor does not run any more");
        }
        System.out.println(natives.length + " native methods called");
    }

    private static void fail(String what) {
        System.err.println(what);
        System.exit(1);
    }
}
