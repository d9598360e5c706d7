package com.qel.internet.rk.console;

/**
 * Which values a setting takes, and which one a new object has.
 *
 * @param words    the values that have names; null where none has
 * @param range    the values that the executor takes, for help; empty where it takes all of the kind
 * @param initial  what a new object has, as it is typed; null where nobody can say
 * @param inherits the option of the object above whose value a new object has instead; null where there is none
 * @param atMost   the option of the object above that bounds the value of a new object; null where there is none
 */
record Domain(Words words, String range, String initial, String inherits, String atMost) {
    static final Domain ANY = new Domain(null, "", null, null, null);

    /** {@return what a new object has below one with these settings; null where nobody can say} */
    String initialBelow(ConfigNode above) {
        String inherited = above == null || inherits == null ? null : above.values.get(inherits);
        String bound = above == null || atMost == null ? null : above.values.get(atMost);
        if (inherited != null) {
            return inherited;
        }
        return bound != null && Integer.parseInt(bound) < Integer.parseInt(initial) ? bound : initial;
    }

    /** {@return what help says of the values} */
    String help() {
        StringBuilder text = new StringBuilder();
        if (words != null) {
            text.append(": ").append(String.join(", ", words.names())).append(", or a number");
        }
        if (!range.isEmpty()) {
            text.append(words == null ? ", " : " of ").append(range);
        }
        return text.toString();
    }

    /** {@return what help says of a new object's value; empty where there is nothing to say} */
    String initialHelp() {
        if (inherits != null) {
            return " New: as " + inherits + " above says"
                    + (initial == null || initial.isEmpty() ? "." : ", else " + initial + ".");
        }
        boolean isTold = initial != null && !initial.isEmpty() && !initial.equals("0.0.0.0");
        return isTold ? " New: " + initial + (atMost == null ? "." : ", or " + atMost + " above where that is lower.")
                : "";
    }
}
