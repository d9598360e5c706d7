package rk.tests;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;
import java.lang.reflect.Field;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.Comparator;

/** All native methods of the interface, found by reflection and called with nothing, or with all there can be. */
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

    /**
     * Calls a method with whole arguments: objects of these classes (names with spaces between; those without a dot are
     * of the interface's package) whose change flags all have this value, this number for every int, and texts that
     * are identifier, address and number at once. Its result, or the exception that it throws, as text.
     */
    public String callWith(String name, String classes, int number, int flag) throws ReflectiveOperationException {
        Method method = Arrays.stream(methods).filter(m -> m.getName().equals(name)).findFirst().orElseThrow();
        String[] objects = classes.split(" ");
        Object[] arguments = new Object[method.getParameterCount()];
        int used = 0;
        for (int i = 0; i < arguments.length; i++) {
            Class<?> type = method.getParameterTypes()[i];
            if (type == int.class) {
                arguments[i] = number;
            } else if (type == String.class) {
                arguments[i] = "10";
            } else if (type == int[].class) {
                arguments[i] = new int[number];
            } else {
                arguments[i] = whole(objects[used++], flag);
            }
        }
        try {
            return String.valueOf(method.invoke(natives, arguments));
        } catch (InvocationTargetException e) {
            return e.getCause().toString();
        }
    }

    private static Object whole(String name, int flag) throws ReflectiveOperationException {
        String full = name.contains(".") ? name : CMNExecutorInterface.class.getPackageName() + "." + name;
        // Only the weights have a constructor with a parameter: how many there are.
        Object object = name.equals("CMNServerWeights") ? new CMNServerWeights(1)
                : Class.forName(full).getConstructor().newInstance();
        if (object instanceof CMNServer server) {
            server.addListener(new CMNListener());
        }
        for (Field field : object.getClass().getFields()) {
            if (Modifier.isFinal(field.getModifiers())) {
                continue;
            }
            if (field.getType() == byte.class) {
                field.setByte(object, (byte) flag);
            } else if (field.getType() == int.class) {
                field.setInt(object, 1);
            } else if (field.getType() == String.class) {
                field.set(object, "10.0.0.5");
            }
        }
        return object;
    }
}
