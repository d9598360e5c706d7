package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus.Family;
import java.io.IOException;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.Deque;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.jline.terminal.Attributes;
import org.jline.terminal.Size;
import org.jline.terminal.Terminal;
import org.jline.terminal.TerminalBuilder;
import org.jline.utils.AttributedString;
import org.jline.utils.AttributedStyle;
import org.jline.utils.Display;
import org.jline.utils.InfoCmp.Capability;
import org.jline.utils.NonBlockingReader;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/** A view of the farm that lives until it is left: what each object does, with its last rates drawn beside it. */
@Command(name = "top", description = {"Look at clusters, ports, servers and rules as they work. Keys: arrows choose a"
        + " line, s sorts by the next column, / filters by what is typed, d marks the server down and u up, each after"
        + " a question, q ends."})
final class TopCommand implements Runnable {
    private static final int HISTORY = 12;
    private static final int HEAD_LINES = 3;
    private static final int FOOT_LINES = 1;
    private static final int NAME_WIDTH = 24;
    private static final String BARS = "\u2581\u2582\u2583\u2584\u2585\u2586\u2587\u2588";
    private static final String PLAIN_BARS = "_.-:=+*#";
    private static final int ESCAPE = 27;
    private static final int KEY_PATIENCE = 50; // milliseconds until the rest of a key's bytes are there

    /** An order of the lines, which keys change. */
    private enum Order { farm, state, weight, active, rate }

    @Option(names = "--seconds", paramLabel = "N", defaultValue = "1",
            description = "How long to wait in between, 1 and more; 1 when left out.")
    private int seconds;

    private final Session session;
    private final Map<String, Deque<Double>> history = new HashMap<>();
    private FarmSample sample;
    private List<FarmSample.Line> shown = List.of();
    private Order order;
    private String filter;
    private boolean isTyping;
    private FarmSample.Line asked;
    private boolean isAskedDown;
    private String message;
    private int chosen;
    private int first;
    private boolean isLeft;
    private String bars;

    TopCommand(Session session) {
        this.session = session;
    }

    @Override
    public void run() {
        if (seconds < 1) {
            throw new UsageError("--seconds: " + seconds + " is below 1");
        }
        sample = null;
        history.clear();
        order = Order.farm;
        filter = "";
        message = "";
        isTyping = false;
        asked = null;
        chosen = 0;
        first = 0;
        isLeft = false;
        bars = Charset.defaultCharset().equals(StandardCharsets.UTF_8) ? BARS : PLAIN_BARS;
        if (session.terminal != null) {
            show(session.terminal);
            return;
        }
        try (Terminal terminal = TerminalBuilder.builder().name(Console.NAME).system(true).dumb(false).build()) {
            show(terminal);
        } catch (IOException | IllegalStateException notATerminal) {
            throw new UsageError("a terminal is needed; elsewhere 'watch' repeats any command");
        }
    }

    private void show(Terminal terminal) {
        takeSample(true);
        Attributes before = terminal.enterRawMode();
        Attributes silent = terminal.getAttributes();
        silent.setLocalFlag(Attributes.LocalFlag.ISIG, false); // an interrupt is a key, which leaves
        terminal.setAttributes(silent);
        terminal.puts(Capability.enter_ca_mode);
        terminal.puts(Capability.cursor_invisible);
        try {
            loop(terminal, new Display(terminal, true));
        } catch (IOException gone) {
            isLeft = true; // the terminal is gone, and with it whoever looked
        } finally {
            terminal.puts(Capability.cursor_visible);
            terminal.puts(Capability.exit_ca_mode);
            terminal.setAttributes(before);
            terminal.flush();
        }
    }

    private void loop(Terminal terminal, Display display) throws IOException {
        NonBlockingReader keys = terminal.reader();
        long next = System.nanoTime() + seconds * 1_000_000_000L;
        Size size = new Size();
        while (!isLeft) {
            if (!size.equals(terminal.getSize())) {
                size.copy(terminal.getSize());
                display.resize(size.getRows(), size.getColumns());
                display.clear();
            }
            display.update(picture(size.getRows(), size.getColumns()), 0);
            long wait = (next - System.nanoTime()) / 1_000_000;
            int key = wait <= 0 ? NonBlockingReader.READ_EXPIRED : keys.read(wait);
            if (key == NonBlockingReader.READ_EXPIRED) {
                takeSample(false);
                next = Math.max(next, System.nanoTime()) + seconds * 1_000_000_000L;
            } else if (key < 0) {
                isLeft = true;
            } else {
                press(key == ESCAPE ? escape(keys) : Character.toString(key));
            }
        }
    }

    /** {@return an arrow's name, or nothing for the key itself} */
    private static String escape(NonBlockingReader keys) throws IOException {
        int bracket = keys.read(KEY_PATIENCE);
        int letter = bracket == '[' || bracket == 'O' ? keys.read(KEY_PATIENCE) : 0;
        return switch (letter) {
            case 'A' -> "up";
            case 'B' -> "down";
            default -> "escape";
        };
    }

    private void takeSample(boolean isThorough) {
        try {
            sample = FarmSample.take(session, sample, isThorough);
        } catch (Refusal refusal) {
            if (sample == null) {
                throw refusal;
            }
            message = refusal.meaning;
            return;
        }
        Map<String, Deque<Double>> kept = new HashMap<>();
        for (FarmSample.Line line : sample.lines) {
            Deque<Double> rates = history.getOrDefault(line.key(), new ArrayDeque<>());
            rates.addLast(line.rate());
            if (rates.size() > HISTORY) {
                rates.removeFirst();
            }
            kept.put(line.key(), rates);
        }
        history.clear();
        history.putAll(kept); // what is gone is forgotten
    }

    // --- Keys ---

    private void press(String key) {
        message = "";
        if (asked != null) {
            answer(key);
        } else if (isTyping) {
            typeFilter(key);
        } else {
            choose(key);
        }
    }

    private void choose(String key) {
        switch (key) {
            case "up", "k" -> chosen = Math.max(0, chosen - 1);
            case "down", "j" -> chosen = Math.min(shown.size() - 1, chosen + 1);
            case "s" -> order = Order.values()[(order.ordinal() + 1) % Order.values().length];
            case "/" -> isTyping = true;
            case "d", "u" -> ask(key.equals("d"));
            case "q", "\u0003", "\u0004" -> isLeft = true;
            case "escape" -> filter = "";
            default -> message = "keys: arrows, s sorts, / filters, d down, u up, q ends";
        }
    }

    private void typeFilter(String key) {
        switch (key) {
            case "\r", "\n" -> isTyping = false;
            case "escape", "\u0003" -> {
                isTyping = false;
                filter = "";
            }
            case "\u007f", "\b" -> filter = filter.substring(0, Math.max(0, filter.length() - 1));
            default -> filter += key.length() == 1 && key.charAt(0) >= ' ' ? key : "";
        }
        chosen = 0;
    }

    private void ask(boolean isDown) {
        if (chosen < 0 || chosen >= shown.size() || !shown.get(chosen).kind().equals("server")) {
            message = "choose a server first";
            return;
        }
        asked = shown.get(chosen);
        isAskedDown = isDown;
    }

    private void answer(String key) {
        FarmSample.Line server = asked;
        asked = null;
        if (!key.equals("y")) {
            message = "nothing was done";
            return;
        }
        Level.Native method = isAskedDown ? ServerCommands.DOWN : ServerCommands.UP;
        try {
            Refusal.check(Family.SERVER, method.call(session.natives(),
                    FarmSample.server(session, server.cluster(), server.port(), server.name())));
            message = words(server) + " is marked " + (isAskedDown ? "down" : "up");
            takeSample(true);
        } catch (Refusal refusal) {
            message = words(server) + ": " + refusal.meaning;
        }
    }

    private static String words(FarmSample.Line server) {
        return "server " + server.cluster() + " " + server.port() + " " + server.name();
    }

    // --- The picture ---

    private List<AttributedString> picture(int rows, int columns) {
        shown = chooseLines();
        chosen = Math.max(0, Math.min(chosen, shown.size() - 1));
        int room = Math.max(1, rows - HEAD_LINES - FOOT_LINES);
        first = Math.max(0, Math.min(first, chosen));
        first = chosen >= first + room ? chosen - room + 1 : first;
        List<AttributedString> picture = new ArrayList<>();
        picture.add(line("executor: " + sample.executor.NumClusters + " clusters, "
                + sample.executor.iConnectionsPerSecond + " connections/s, " + sample.executor.iBytesPerSecond
                + " bytes/s", columns, AttributedStyle.DEFAULT));
        picture.add(line("order: " + order + (filter.isEmpty() ? "" : "; filter: " + filter), columns,
                AttributedStyle.DEFAULT));
        picture.add(line(String.format("%-" + NAME_WIDTH + "s %-9s %6s %6s %9s %7s  %s", "NAME", "STATE", "WEIGHT", "ACTIVE",
                "CONNS", "CONN/S", "LAST RATES"), columns, AttributedStyle.BOLD));
        for (int i = first; i < Math.min(shown.size(), first + room); i++) {
            picture.add(line(text(shown.get(i)), columns, style(shown.get(i), i == chosen)));
        }
        while (picture.size() < rows - FOOT_LINES) {
            picture.add(line("", columns, AttributedStyle.DEFAULT));
        }
        picture.add(line(footer(), columns, AttributedStyle.DEFAULT));
        return picture;
    }

    private String footer() {
        if (asked != null) {
            return "mark " + words(asked) + (isAskedDown ? " down" : " up") + "? (y/n)";
        }
        return isTyping ? "/" + filter : message;
    }

    private static AttributedString line(String text, int columns, AttributedStyle style) {
        return new AttributedString(text.length() > columns ? text.substring(0, columns) : text, style);
    }

    private AttributedStyle style(FarmSample.Line line, boolean isChosen) {
        AttributedStyle style = AttributedStyle.DEFAULT;
        if (session.output.screen == null || session.output.screen.hasColours()) {
            style = switch (line.state()) {
                case FarmSample.DOWN -> style.foreground(AttributedStyle.RED);
                case FarmSample.QUIESCED, FarmSample.IDLE -> style.foreground(AttributedStyle.YELLOW);
                default -> style;
            };
        }
        return isChosen ? style.inverse() : style;
    }

    private String text(FarmSample.Line line) {
        String name = switch (line.kind()) {
            case "cluster" -> line.name();
            case "port" -> "  " + line.name();
            case "rule" -> "    rule " + line.name();
            default -> "    " + line.name();
        };
        if (order != Order.farm && !line.kind().equals("cluster")) {
            name = line.cluster() + " " + line.port() + (line.kind().equals("port") ? "" : " " + name.strip());
        }
        name = name.length() > NAME_WIDTH ? name.substring(0, NAME_WIDTH - 2) + ".." : name;
        String weight = line.weight() < 0 ? "" : Integer.toString(line.weight());
        return String.format(Locale.ROOT, "%-" + NAME_WIDTH + "s %-9s %6s %6d %9s %7.1f  %s", name, line.state(),
                weight, line.active(), line.connections() < 0 ? "" : line.connections(), line.rate(), drawn(history.get(line.key())));
    }

    /** {@return rates as small bars; the highest one fills its place} */
    private String drawn(Deque<Double> rates) {
        StringBuilder text = new StringBuilder();
        double highest = rates == null ? 0 : rates.stream().mapToDouble(Double::doubleValue).max().orElse(0);
        for (double rate : rates == null ? List.<Double>of() : List.copyOf(rates)) {
            int level = highest <= 0 ? 0 : (int) Math.round(rate / highest * (bars.length() - 1));
            text.append(rate <= 0 ? ' ' : bars.charAt(level));
        }
        return text.toString();
    }

    private List<FarmSample.Line> chooseLines() {
        String part = filter.toLowerCase(Locale.ROOT);
        List<FarmSample.Line> lines = new ArrayList<>(sample.lines);
        lines.removeIf(line -> !(line.cluster() + " " + line.port() + " " + line.name() + " " + line.state())
                .toLowerCase(Locale.ROOT).contains(part));
        Comparator<FarmSample.Line> comparator = switch (order) {
            case farm -> null;
            case state -> Comparator.comparing(FarmSample.Line::state);
            case weight -> Comparator.comparingInt(FarmSample.Line::weight).reversed();
            case active -> Comparator.comparingLong(FarmSample.Line::active).reversed();
            case rate -> Comparator.comparingDouble(FarmSample.Line::rate).reversed();
        };
        if (comparator != null) {
            lines.sort(comparator);
        }
        return lines;
    }
}
