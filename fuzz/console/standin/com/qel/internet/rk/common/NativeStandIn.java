package com.qel.internet.rk.common;

import java.lang.reflect.Array;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;

/** Answers for the native methods: statuses and replies as any executor could give them, and a record of the calls. */
public final class NativeStandIn {
    private static final String[] TEXTS = {"", "web", "10.0.0.5", "ab\ncd", "\u00e9\u0416\u6f22", "\"quoted\"", "a,b",
        "+x", "+a+b+c", "+80+443", "\t", "x".repeat(300), "\uD800", "null", "<tag>"};
    private static final int[] NUMBERS = {0, 1, 2, 3, -1, 7, 9, 10, 32, 33, 100, 255, 256, 65535, 65536, 70000, -99,
        Integer.MAX_VALUE, Integer.MIN_VALUE};

    /** The methods called since the last {@link #begin}, in order. */
    public static final List<String> CALLS = new ArrayList<>();
    /** The first of them that returned a status other than 0, as its place among them; -1 for none. */
    public static int refused = -1;
    private static Random random = new Random(0);

    private NativeStandIn() {
    }

    /** Begins a new record; what is answered depends on the seed. */
    public static void begin(long seed) {
        CALLS.clear();
        refused = -1;
        random = new Random(seed);
    }

    static int intOf(String name, Object... arguments) {
        return status(name, arguments);
    }

    static boolean booleanOf(String name, Object... arguments) {
        CALLS.add(name);
        return random.nextInt(8) != 0;
    }

    static String StringOf(String name, Object... arguments) {
        CALLS.add(name);
        return text();
    }

    static void voidOf(String name, Object... arguments) {
        CALLS.add(name);
    }

    private static int status(String name, Object... arguments) {
        CALLS.add(name);
        for (Object argument : arguments) {
            fill(argument);
        }
        int status = random.nextInt(5) != 0 ? 0 : number();
        boolean isQuestion = name.startsWith("calc") || name.startsWith("getNic") || name.endsWith("UpNative");
        if (status != 0 && refused == -1 && !isQuestion) {
            refused = CALLS.size() - 1;
        }
        return status;
    }

    private static int number() {
        return random.nextInt(4) != 0 ? NUMBERS[random.nextInt(NUMBERS.length)] : random.nextInt();
    }

    private static String text() {
        return TEXTS[random.nextInt(TEXTS.length)];
    }

    private static void fill(Object argument) {
        if (argument instanceof StringBuffer list) {
            list.append(text());
        } else if (argument instanceof CMNAttackListener listener) {
            report(listener);
        } else if (argument != null && argument.getClass().getPackage() == NativeStandIn.class.getPackage()) {
            fillFields(argument);
        }
    }

    private static void report(CMNAttackListener listener) {
        listener.setNumHalfOpenRecs(number());
        listener.reportAttackingAddrsResults(number(), number());
        for (int i = random.nextInt(4); i > 0; i--) {
            listener.addHalfOpenRec(i, number(), number(), random.nextBoolean());
            listener.reportAttackingAddr(number(), number());
        }
    }

    /** What a reply brings: numbers and texts of the object's fields, and elements of its arrays. */
    private static void fillFields(Object object) {
        for (Field field : object.getClass().getFields()) {
            try {
                if (Modifier.isStatic(field.getModifiers()) || random.nextInt(3) == 0) {
                    continue;
                }
                if (field.getType().isArray()) {
                    fillArray(field.get(object));
                } else if (field.getType() == String.class) {
                    field.set(object, text());
                } else if (field.getType() == int.class) {
                    field.setInt(object, number());
                } else if (field.getType() == long.class) {
                    field.setLong(object, random.nextLong());
                } else if (field.getType() == byte.class) {
                    field.setByte(object, (byte) number());
                } else if (field.getType() == char.class) {
                    field.setChar(object, (char) number());
                }
            } catch (IllegalAccessException e) {
                throw new AssertionError(e);
            }
        }
    }

    private static void fillArray(Object array) {
        for (int i = 0; array != null && i < Math.min(Array.getLength(array), 40); i++) {
            if (array instanceof int[] numbers) {
                numbers[i] = number();
            } else if (array instanceof byte[] bytes) {
                bytes[i] = (byte) number();
            } else if (array instanceof String[] texts) {
                texts[i] = text();
            }
        }
    }
}
