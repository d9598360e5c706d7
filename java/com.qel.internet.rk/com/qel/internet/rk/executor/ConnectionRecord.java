package com.qel.internet.rk.executor;

import java.time.Duration;
import java.util.List;
import java.util.stream.Stream;

/**
 * A connection as the executor keeps it.
 *
 * @param ends          who is connected with whom
 * @param state         state flags, 0 to 255
 * @param previousState the state of TCP before, in five letters such as {@code SNRCV}; {@code ?} for an unknown one
 * @param currentState  the state of TCP; that of the record before for an unknown one
 * @param age           for how long there was nothing to tell of it
 * @param mark          a letter of the executor's
 */
public record ConnectionRecord(ConnectionEnds ends, int state, String previousState, String currentState, Duration age,
        String mark) {
    private static final String SEPARATOR = "\t";
    private static final int COLUMNS = 9;

    /** {@return the records of a report; a row for each is behind the row with the columns' names} */
    static List<ConnectionRecord> parse(String report) {
        return report.lines().map(line -> line.split(SEPARATOR, COLUMNS)).filter(cells -> cells.length == COLUMNS)
                .map(cells -> of(Stream.of(cells).map(String::strip).toList())).toList();
    }

    private static ConnectionRecord of(List<String> cells) {
        String[] client = cells.get(1).split(":");
        String[] cluster = cells.get(2).split(":");
        ConnectionEnds ends = new ConnectionEnds(Values.address(cluster[0]), Integer.parseInt(cluster[1]),
                Values.address(client[0]), Integer.parseInt(client[1]), Values.address(cells.get(3)));
        return new ConnectionRecord(ends, Integer.decode(cells.get(4)), cells.get(5), cells.get(6),
                Duration.ofSeconds(Long.parseLong(cells.get(7))), cells.get(8));
    }
}
