package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** Takes apart the reports that native methods make as text. Everything keeps the name that it has in the report. */
final class Report {
    private static final String REFUSED = "Error with kernel.\n";
    private static final int CHANNEL_STATUS = -1;

    /** A line such as {@code Num nps = 3}. */
    private static final Pattern SUMMARY = Pattern.compile("(\\w[\\w ]*) = (\\w+)\\.?");
    /** A line such as <code>  CntRcv ............ 3 (0x00000003)</code>, in parentheses where it is a sum. */
    private static final Pattern ITEM =
            Pattern.compile(" +\\(?([A-Za-z][\\w:>-]*(?: [A-Za-z][\\w-]*)*) *\\.* ([^ )]*).*");
    private static final Pattern DECIMAL = Pattern.compile("-?\\d{1,18}");
    private static final Pattern HEXADECIMAL = Pattern.compile("0x[0-9A-Fa-f]{1,15}");

    private Report() {
    }

    /**
     * {@return the text, when there is one}
     *
     * @throws Refusal when the executor refused, or there was no memory for the text
     */
    static String require(String text) {
        if (text == null) {
            throw new Refusal(null, "there is no memory for a text of that size");
        }
        if (text.equals(REFUSED)) {
            throw new Refusal(null, CMNStatus.describe(CHANNEL_STATUS));
        }
        return text;
    }

    /** {@return the values of the lines that have an equals sign} */
    static Map<String, Object> summary(String text) {
        Map<String, Object> values = new LinkedHashMap<>();
        text.lines().map(SUMMARY::matcher).filter(Matcher::matches)
                .forEach(line -> values.put(line.group(1), value(line.group(2))));
        return values;
    }

    /**
     * {@return the rows of the table in the text}
     *
     * @param separator stands between the columns, of the header as well
     * @param unnamed   the name of a further column that the header lacks
     */
    static List<Map<String, Object>> table(String text, String separator, String unnamed) {
        List<Map<String, Object>> rows = new ArrayList<>();
        List<String> names = new ArrayList<>();
        for (String line : text.lines().filter(line -> line.contains(separator)).toList()) {
            List<String> cells = Stream.of(line.split(separator, -1)).map(String::strip).toList();
            if (names.isEmpty()) {
                names.addAll(cells);
                names.add(unnamed);
                continue;
            }
            Map<String, Object> row = new LinkedHashMap<>();
            for (int i = 0; i < Math.min(cells.size(), names.size()); i++) {
                row.put(names.get(i), value(cells.get(i)));
            }
            rows.add(row);
        }
        return rows;
    }

    /**
     * {@return the items below a line, up to the next that is none}
     *
     * @param title the line
     */
    static Map<String, Object> section(String text, String title) {
        List<Map<String, Object>> records = records(text.lines().dropWhile(line -> !line.equals(title)).skip(1)
                .takeWhile(line -> ITEM.matcher(line).matches()).toList());
        return records.isEmpty() ? Map.of() : records.get(0);
    }

    /**
     * {@return the items behind a line, a record each time that the first of them comes again}
     *
     * @param title what the line begins with
     */
    static List<Map<String, Object>> recordsBehind(String text, String title) {
        return records(text.lines().dropWhile(line -> !line.startsWith(title)).skip(1).toList());
    }

    private static List<Map<String, Object>> records(List<String> lines) {
        List<Map<String, Object>> records = new ArrayList<>();
        Map<String, Object> record = Map.of();
        for (Matcher item : lines.stream().map(ITEM::matcher).filter(Matcher::matches).toList()) {
            if (record.isEmpty() || record.containsKey(item.group(1))) {
                record = new LinkedHashMap<>();
                records.add(record);
            }
            record.put(item.group(1), value(item.group(2)));
        }
        return records;
    }

    private static Object value(String text) {
        boolean isNumber = DECIMAL.matcher(text).matches() || HEXADECIMAL.matcher(text).matches();
        return isNumber ? Kind.LONG.parse(text, 0) : text;
    }
}
