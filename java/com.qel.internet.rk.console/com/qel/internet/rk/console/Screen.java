package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.List;
import java.util.function.IntSupplier;

/** A terminal that output goes to: how large it is, whether it has colours, and what shows a text that is longer. */
final class Screen {
    static final String RED = "\033[31m";
    static final String YELLOW = "\033[33m";
    private static final String USUAL = "\033[0m";
    private static final String GAP = "  ";
    private static final String CUT = "..";
    private static final int NARROWEST = 6;

    private final IntSupplier columns;
    private final IntSupplier lines;
    private final boolean hasColours;
    private final boolean hasPager;

    Screen(IntSupplier columns, IntSupplier lines) {
        this(columns, lines, true);
    }

    private Screen(IntSupplier columns, IntSupplier lines, boolean hasPager) {
        this.columns = columns;
        this.lines = lines;
        this.hasPager = hasPager;
        String unwanted = System.getenv("NO_COLOR");
        hasColours = (unwanted == null || unwanted.isEmpty()) && !"dumb".equals(System.getenv("TERM"));
    }

    /**
     * {@return the terminal that the launcher has found standard output to be; null where it is none}
     *
     * @param size its lines and columns
     */
    static Screen of(String size) {
        String[] numbers = size == null ? new String[0] : size.split(" ");
        if (numbers.length != 2 || !Kind.isNumber(numbers[0]) || !Kind.isNumber(numbers[1])) {
            return null;
        }
        int lines = Integer.parseInt(numbers[0]);
        int columns = Integer.parseInt(numbers[1]);
        return lines > 0 && columns > 0 ? new Screen(() -> columns, () -> lines) : null;
    }

    /** {@return the same terminal, on which everything is shown as it comes} */
    Screen withoutPager() {
        return new Screen(columns, lines, false);
    }

    int columns() {
        return columns.getAsInt();
    }

    boolean hasColours() {
        return hasColours;
    }

    /** {@return a text in a colour, where there are colours} */
    String coloured(String text, String colour) {
        return hasColours && !colour.isEmpty() ? colour + text + USUAL : text;
    }

    /** Shows a text with a pager. {@return false when it was not: it is short, or the pager does not start} */
    boolean page(String text) {
        return hasPager && text.lines().count() >= lines.getAsInt() && Pager.show(text);
    }

    /**
     * {@return a table that fits: headings are broken into lines where that helps, then long cells are cut; null where
     * there are too many columns}
     */
    List<List<String>> fit(List<List<String>> rows) {
        if (width(rows) <= columns()) {
            return rows;
        }
        List<List<String>> fitted = new ArrayList<>();
        List<List<String>> words = rows.get(0).stream().map(heading -> List.of(heading.split(" "))).toList();
        int most = words.stream().mapToInt(List::size).max().orElse(1);
        for (int line = 0; line < most; line++) {
            int at = line;
            fitted.add(words.stream().map(parts -> at < parts.size() ? parts.get(at) : "").toList());
        }
        fitted.addAll(rows.subList(1, rows.size()));
        while (width(fitted) > columns() && cutWidest(fitted)) {
            // One column less, until it fits.
        }
        return width(fitted) <= columns() ? fitted : null;
    }

    private static boolean cutWidest(List<List<String>> rows) {
        List<Integer> widths = widths(rows);
        int widest = 0;
        for (int i = 0; i < widths.size(); i++) {
            widest = widths.get(i) > widths.get(widest) ? i : widest;
        }
        int width = widths.get(widest) - 1;
        if (width < NARROWEST) {
            return false;
        }
        for (int i = 0; i < rows.size(); i++) {
            String cell = rows.get(i).get(widest);
            if (cell.length() > width) {
                List<String> row = new ArrayList<>(rows.get(i));
                row.set(widest, cell.substring(0, width - CUT.length()) + CUT);
                rows.set(i, row);
            }
        }
        return true;
    }

    private static int width(List<List<String>> rows) {
        List<Integer> widths = widths(rows);
        return widths.stream().mapToInt(Integer::intValue).sum() + GAP.length() * Math.max(0, widths.size() - 1);
    }

    private static List<Integer> widths(List<List<String>> rows) {
        List<Integer> widths = new ArrayList<>();
        for (int i = 0; i < rows.get(0).size(); i++) {
            int column = i;
            widths.add(rows.stream().mapToInt(row -> row.get(column).length()).max().orElse(0));
        }
        return widths;
    }
}
