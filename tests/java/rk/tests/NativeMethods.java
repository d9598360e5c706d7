package rk.tests;

import com.qel.internet.rk.common.CMNExecutorInterface;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.Comparator;

/** All native methods of the interface, found by reflection and called with nothing. */
public class NativeMethods {
    private final CMNExecutorInterface natives = new CMNExecutorInterface();
    private final Method[] methods = Arrays.stream(CMNExecutorInterface.class.getDeclaredMethods())
            .filter(method -> Modifier.isNative(method.getModifiers()))
            .sorted(Comparator.comparing(Method::getName))
            .toArray(Method[]::new);

    public int count() {
        return methods.length;
    }

    public String nameAt(int index) {
        return methods[index].getName();
    }

    /** Calls a method with nulls and zeros; the exception that it throws, as text, or an empty text. */
    public String callAt(int index) throws IllegalAccessException {
        Object[] arguments = Arrays.stream(methods[index].getParameterTypes())
                .map(type -> type.isPrimitive() ? Integer.valueOf(0) : null)
                .toArray();
        try {
            methods[index].invoke(natives, arguments);
            return "";
        } catch (InvocationTargetException e) {
            return e.getCause().toString();
        }
    }
}
