package com.qel.internet.rk.console;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.Set;
import picocli.CommandLine;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Makes command lines: from known ones, from the commands' own definitions, and by spoiling those. */
final class LineMaker {
    private static final String[] VALUES = {"web", "shop", "80", "443", "0", "-1", "65535", "65536", "1", "2", "10",
        "10.0.0.5", "10.0.0.5:80", "255.255.255.0", "192.168.7.1=10.0.0.104", "web1=40", "web1=40,fixed", "on", "off",
        "50,50,0,0", "10.0.0.101,map-port=8080", "10.0.0.101,map-port=8080,key-ring=a,stash-file=b", "a=b", "=", ",",
        "fe80::1", "2001:db8::1", "101xxxxx", "1.2.3.4.5", "99999999999999999999", "2147483647", "-2147483648", "''",
        "\"\"", "\\", "'a b'", "\"a \\\" b\"", "\u00e9", "-", "--", "-x", "--json", "--help", "x".repeat(65), "@file",
        "${sys:user.home}", "%s", "+5", "0x10", "1e3", "\u0000", "#", "!", "*"};
    private static final String[] PIECES = {" ", "  ", "\t", "'", "\"", "\\", "#", "!", "=", ",", "-", "--", "@", ":",
        ".", "0", "9", "\u0000", "\uD800", "\uDC00", "\u2028", "\u00a0", "\u0130", "\r", "${", "}", "%", "--json ",
        "-h"};

    /** Commands that name files, which lines made at random must not touch, and commands that only a key ends. */
    private static final Set<String> LEFT_OUT = Set.of("config", "source", "serve", "top", "watch");

    private static final Set<String> CONFIGURING = Set.of("executor", "cluster", "port", "server", "rule", "ha", "icmp",
            "attack");

    private final Random random;
    private final List<String> known = new ArrayList<>();
    private final List<CommandSpec> commands = new ArrayList<>();

    LineMaker(Random random, CommandLine tree, List<Path> scripts) throws IOException {
        this.random = random;
        collect(tree.getCommandSpec());
        for (Path script : scripts) {
            for (String line : Files.readAllLines(script)) {
                String command = line.strip().replaceFirst("^(\\./run|rk-console>) ", "");
                if (tree.getSubcommands().containsKey(command.replaceFirst("^! ", "").split("\\s", 2)[0])) {
                    known.add(command);
                }
            }
        }
        if (known.isEmpty()) {
            throw new IOException("no command in " + scripts);
        }
    }

    String make() {
        while (true) {
            String line = makeAny();
            if (!isLeftOut(line)) {
                return line;
            }
        }
    }

    /** {@return a line that may be one of a configuration} */
    String makeConfiguring() {
        while (true) {
            String line = makeAny();
            if (CONFIGURING.contains(line.split(" ", 2)[0])) {
                return line;
            }
        }
    }

    /** A quote or a backslash may hide a word from who looks at the line alone. */
    private static boolean isLeftOut(String line) {
        try {
            return CommandLineSplitter.split(line).stream().anyMatch(word -> LEFT_OUT.contains(word)
                    || word.startsWith(Lines.EXPECT_REFUSAL) && LEFT_OUT.contains(word.substring(1)));
        } catch (UsageError unclosedQuote) {
            return false;
        }
    }

    private String makeAny() {
        String line = random.nextBoolean() ? pick(known) : fromDefinition(pick(commands));
        for (int changes = random.nextInt(4); changes > 0; changes--) {
            line = random.nextBoolean() ? changeWord(line) : changeCharacters(line);
        }
        return line;
    }

    private void collect(CommandSpec command) {
        for (CommandLine child : command.subcommands().values()) {
            CommandSpec model = child.getCommandSpec();
            if (model.subcommands().isEmpty()) {
                commands.add(model);
            }
            collect(model);
        }
    }

    private <T> T pick(List<T> items) {
        return items.get(random.nextInt(items.size()));
    }

    private String value() {
        return VALUES[random.nextInt(VALUES.length)];
    }

    private String fromDefinition(CommandSpec command) {
        String name = command.qualifiedName();
        List<String> words = new ArrayList<>(List.of(name.substring(name.indexOf(' ') + 1)));
        for (PositionalParamSpec positional : command.positionalParameters()) {
            words.add(valueOf(positional.completionCandidates()));
            while (positional.arity().max() > 1 && random.nextInt(3) == 0) {
                words.add(value());
            }
        }
        List<OptionSpec> options = command.options();
        for (int count = options.isEmpty() ? 0 : random.nextInt(4); count > 0; count--) {
            OptionSpec option = pick(options);
            String text = option.names()[random.nextInt(option.names().length)];
            boolean hasValue = option.arity().max() > 0;
            words.add(hasValue ? text + (random.nextBoolean() ? " " : "=") + valueOf(option.completionCandidates()) : text);
        }
        return String.join(" ", words);
    }

    private String valueOf(Iterable<String> candidates) {
        List<String> offered = new ArrayList<>();
        if (candidates != null) {
            candidates.forEach(offered::add);
        }
        return offered.isEmpty() || random.nextInt(3) == 0 ? value() : pick(offered);
    }

    private String changeWord(String line) {
        List<String> words = new ArrayList<>(List.of(line.split(" ", -1)));
        int at = random.nextInt(words.size());
        switch (random.nextInt(5)) {
            case 0 -> words.set(at, value());
            case 1 -> words.add(at, value());
            case 2 -> words.remove(at);
            case 3 -> words.add(at, words.get(at));
            default -> words.add(pick(words));
        }
        return String.join(" ", words);
    }

    private String changeCharacters(String line) {
        int at = random.nextInt(line.length() + 1);
        int end = Math.min(line.length(), at + random.nextInt(3));
        String piece = random.nextInt(3) == 0 ? String.valueOf((char) random.nextInt(0x10000))
                : PIECES[random.nextInt(PIECES.length)];
        return line.substring(0, at) + (random.nextInt(4) == 0 ? "" : piece) + line.substring(end);
    }
}
