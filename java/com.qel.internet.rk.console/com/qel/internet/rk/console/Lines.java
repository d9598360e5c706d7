package com.qel.internet.rk.console;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.jline.reader.EndOfFileException;
import org.jline.reader.Expander;
import org.jline.reader.History;
import org.jline.reader.LineReader;
import org.jline.reader.LineReaderBuilder;
import org.jline.reader.UserInterruptException;
import org.jline.terminal.Terminal;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** Commands one a line: from a script, or as they are typed. */
@Command(name = Console.NAME, description = "Commands, one a line.")
final class Lines {
    private static final String PROMPT = Console.NAME + "> ";
    /** Stands before a command that is to be refused. */
    static final String EXPECT_REFUSAL = "!";
    /** Ends a command of which help is wanted. */
    private static final String ASK = "?";
    private static final int DEEPEST = 16;
    private static final String STATE_HOME = "XDG_STATE_HOME";

    /** A choice between on and off. */
    enum Switch { on, off }

    @Mixin
    private JsonOption json;

    private final Session session;
    private final CommandRunner runner;
    private final boolean keepGoing;
    private final boolean echo;
    private final CommandLine tree;
    private boolean ended;
    private int depth;

    Lines(Session session, CommandRunner runner, boolean keepGoing, boolean echo) {
        this.session = session;
        this.runner = runner;
        this.keepGoing = keepGoing;
        this.echo = echo;
        tree = CommandTree.add(new CommandLine(this), session);
    }

    /**
     * Runs the commands of a script.
     *
     * @param file its name; - for standard input
     * @return the exit status: that of the first line that failed, or 0
     */
    int runScript(String file) {
        try (BufferedReader input = FileNames.open(file)) {
            return runScript(input);
        } catch (IOException | InvalidPathException e) {
            session.output.failure(0, "", null, "the script " + file + " cannot be read: " + FileNames.reason(e));
            return ExitStatus.USAGE;
        }
    }

    /**
     * Runs commands as they are typed, until the end of the input.
     *
     * @return 0, whatever failed: the user has seen it
     */
    int runInteractively(Terminal terminal) {
        LineReader reader = LineReaderBuilder.builder()
                .terminal(terminal)
                .appName(Console.NAME)
                .completer(new NameCompleter(tree, session))
                .expander(new NothingToExpand())
                .build();
        Path history = history();
        if (history != null) {
            reader.setVariable(LineReader.HISTORY_FILE, history);
        }
        session.terminal = terminal;
        session.output.screen = new Screen(terminal::getWidth, terminal::getHeight);
        session.question = text -> isYes(reader.readLine(text + " (y/n) "));
        while (!ended) {
            try {
                String line = reader.readLine(PROMPT);
                session.known.forget(); // while nobody typed, others may have changed what there is
                runLine(line, 0);
            } catch (UserInterruptException e) {
                continue;
            } catch (EndOfFileException e) {
                ended = true;
            }
        }
        return ExitStatus.SUCCESS;
    }

    static boolean isYes(String answer) {
        return answer.strip().equalsIgnoreCase("y") || answer.strip().equalsIgnoreCase("yes");
    }

    /** A service's user may have no home folder that it can write to: its history then ends with the run. */
    private static Path history() {
        String wanted = System.getenv(STATE_HOME);
        boolean isWanted = wanted != null && wanted.startsWith("/"); // others are to be ignored
        Path home = Path.of(System.getProperty("user.home"));
        Path state = isWanted ? Path.of(wanted) : home.resolve(".local/state");
        try {
            Path history = Files.createDirectories(state.resolve(Console.NAME)).resolve("history");
            Path former = home.resolve(".rk_console_history");
            if (Files.exists(former) && !Files.exists(history)) {
                Files.move(former, history);
            }
            if (!Files.exists(history)) {
                return Files.isWritable(history.getParent()) ? history : null;
            }
            // A line that is not of JLine's would end the console when it is read.
            boolean isWhole = Files.readAllLines(history).stream().allMatch(line -> line.matches("\\d+:.*"));
            return isWhole && Files.isWritable(history) ? history : null;
        } catch (IOException e) {
            return null;
        }
    }

    @Command(description = "Print JSON from now on, or tables.")
    void json(@Parameters(paramLabel = "on|off", description = "One of ${COMPLETION-CANDIDATES}.") Switch choice) {
        session.output.jsonAlways = choice == Switch.on;
    }

    @Command(aliases = "quit", description = "End the console.")
    void exit() {
        ended = true;
    }

    @Command(description = "Run the commands of a file.")
    int source(@Parameters(paramLabel = FileNames.LABEL, description = "The file, one command a line.") String file) {
        if (depth == DEEPEST) {
            throw new UsageError(file + ": files that name each other more than " + DEEPEST + " times");
        }
        String before = session.output.script;
        session.output.script = file;
        depth++;
        try {
            return runScript(file);
        } finally {
            depth--;
            session.output.script = before;
        }
    }

    /** A shell's history and variables mean nothing here: an exclamation mark has a meaning of its own. */
    private static final class NothingToExpand implements Expander {
        @Override
        public String expandHistory(History history, String line) {
            return line;
        }

        @Override
        public String expandVar(String word) {
            return word;
        }
    }

    private int runScript(BufferedReader input) throws IOException {
        int exitStatus = ExitStatus.SUCCESS;
        boolean stopped = false;
        for (int number = 1; !ended && !stopped; number++) {
            String line = input.readLine();
            if (line == null) {
                break;
            }
            if (echo) {
                echo(line);
            }
            int lineStatus = runLine(line, number);
            exitStatus = exitStatus == ExitStatus.SUCCESS ? lineStatus : exitStatus;
            stopped = lineStatus != ExitStatus.SUCCESS && !keepGoing;
        }
        return exitStatus;
    }

    /** Prints a line of the script: comments as they are, commands so that they stand out from their output. */
    private void echo(String line) {
        boolean isCommand = !line.isBlank() && !line.stripLeading().startsWith("#");
        session.output.plain(isCommand ? "\n> " + line + "\n" : line + "\n");
        session.output.finish();
    }

    private int runLine(String line, int number) {
        List<String> words;
        try {
            words = CommandLineSplitter.split(line);
        } catch (UsageError error) {
            session.output.failure(number, "", null, error.getMessage());
            return ExitStatus.USAGE;
        }
        if (words.isEmpty()) {
            return ExitStatus.SUCCESS;
        }
        if (words.get(words.size() - 1).equals(ASK)) {
            return runner.run(tree, whatHelps(words), number);
        }
        return isExpectRefusal(words) ? expectRefusal(behindMark(words), number) : runner.run(tree, words, number);
    }

    /** {@return the command that helps with the one that was begun, as far as there is such a command} */
    private List<String> whatHelps(List<String> words) {
        List<String> help = new ArrayList<>(List.of(HelpCommand.NAME));
        CommandLine at = tree;
        for (String word : words) {
            at = at.getSubcommands().get(word);
            if (at == null) {
                break;
            }
            help.add(word);
        }
        return help;
    }

    /** {@return whether a command is to be refused: no command's name begins with the mark} */
    static boolean isExpectRefusal(List<String> words) {
        return !words.isEmpty() && words.get(0).startsWith(EXPECT_REFUSAL);
    }

    /** {@return the command behind the mark, with or without a blank between them} */
    static List<String> behindMark(List<String> words) {
        List<String> command = new ArrayList<>(words);
        String first = command.remove(0).substring(EXPECT_REFUSAL.length());
        if (!first.isEmpty()) {
            command.add(0, first);
        }
        return command;
    }

    /** Runs a command that is to be refused. {@return success when it was} */
    private int expectRefusal(List<String> words, int number) {
        int status = runner.run(tree, words, number);
        if (status == ExitStatus.REFUSED) {
            return ExitStatus.SUCCESS;
        }
        if (status == ExitStatus.SUCCESS) {
            session.output.failure(number, String.join(" ", words), null, "should have been refused, but succeeded");
            return ExitStatus.REFUSED;
        }
        return status;
    }
}
