package com.qel.internet.rk.console;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.List;
import org.jline.reader.EndOfFileException;
import org.jline.reader.LineReaderBuilder;
import org.jline.reader.UserInterruptException;
import org.jline.terminal.Terminal;
import org.jline.terminal.TerminalBuilder;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.IVersionProvider;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;

/** The console's entry: global options, and the choice between one command, a script, and typing. */
@Command(name = Console.NAME, versionProvider = Console.Version.class, mixinStandardHelpOptions = true,
        description = {
            "Looks at and changes the executor of the load balancer.",
            "With a command, runs it. Without one, reads commands from standard input: a script, or what you type.",
            ""},
        footer = {
            "",
            "With --user the executor runs inside the console itself: what you configure lasts as long as the console"
                + " runs. Use a script, or type, to work on one state with several commands.",
            "",
            "Exit status: 0 success; 1 the executor or the library refused; 2 bad usage; 3 no usable native library; 4 what"
                + " 'config diff' compared differs."})
final class Console {
    static final String NAME = "rk-console";

    /** The lines and columns of the terminal that standard output is, if it is one; the launcher says so. */
    private static final String SCREEN = "com.qel.internet.rk.console.screen";

    private static final List<String> FORWARDING = List.of("proxy", "none");

    @Option(names = "--user", description = "Commands go to the user-space executor, which is started first and "
            + "stopped at the end. The default.")
    private boolean user;

    @Option(names = "--kernel", description = "Commands go to the kernel executor, through /dev/qelxw.")
    private boolean kernel;

    @Mixin
    private JsonOption json;

    @Option(names = "--log", paramLabel = "FILE", description = "Log file of the user-space executor.")
    private String log;

    @Option(names = "--install-path", paramLabel = "DIR",
            description = "Installation folder of the user-space executor.")
    private String installPath;

    @Option(names = "--forward", paramLabel = "ENGINE",
            description = "Who forwards connections for the user-space executor: proxy (HAProxy) or none. The default "
                + "is what QELXW_FORWARD in the environment names, else none.")
    private String forward;

    @Option(names = "--script", paramLabel = "FILE",
            description = "Run the commands of a file, one a line; - for standard input.")
    private String script;

    @Option(names = "--interactive", description = "After --script, take commands as they are typed.")
    private boolean interactive;

    @Option(names = "--first", paramLabel = "FILE",
            description = "Run the commands of a file before those of --script or those that are typed.")
    private String first;

    @Option(names = "--keep-going", description = "Go on after a line of a script that failed.")
    private boolean keepGoing;

    @Option(names = "--echo", description = "Print each line of a script before its output.")
    private boolean echo;

    private final Session session;
    private final CommandRunner runner;

    private Console(Output output) {
        session = new Session(output);
        runner = new CommandRunner(session);
    }

    /**
     * Runs the console, and ends the VM with its exit status.
     *
     * @param arguments global options and, if wanted, a command
     */
    public static void main(String[] arguments) {
        PrintStream err = stream(FileDescriptor.err);
        NativeOutput nativeOutput;
        try {
            nativeOutput = NativeOutput.open();
        } catch (IllegalStateException refused) {
            err.println(NAME + ": " + refused.getMessage());
            System.exit(ExitStatus.NO_LIBRARY);
            return;
        }
        Console console = new Console(new Output(stream(FileDescriptor.out), err, nativeOutput));
        console.session.output.screen = Screen.of(System.getProperty(SCREEN));
        System.exit(console.run(List.of(arguments)));
    }

    /** {@return all commands, to tell of and not to run: the manual's page and the completion of shells are made of them} */
    static CommandLine commands() {
        Console console = new Console(new Output(null, null, null));
        return CommandTree.add(new CommandLine(console), console.session);
    }

    private static PrintStream stream(FileDescriptor descriptor) {
        return new PrintStream(new FileOutputStream(descriptor), true, StandardCharsets.UTF_8);
    }

    private int run(List<String> arguments) {
        CommandLine tree = CommandTree.add(new CommandLine(this), session);
        session.output.jsonAlways = arguments.contains(JsonOption.NAME);
        session.output.json = session.output.jsonAlways;
        ParseResult typed;
        try {
            typed = CommandRunner.parse(tree, arguments);
            checkOptions(typed.hasSubcommand());
        } catch (ParameterException error) {
            return runner.usage(0, error.getCommandLine(), CommandRunner.explain(error));
        } catch (UsageError error) {
            return runner.usage(0, tree, error.getMessage());
        }
        Integer helpShown = CommandLine.executeHelpRequest(typed);
        if (helpShown != null) {
            return helpShown;
        }
        boolean isHelp = CommandRunner.leaf(typed).commandSpec().userObject() instanceof HelpCommand;
        return isHelp ? runner.execute(typed, 0) : runSession(typed);
    }

    private void checkOptions(boolean hasCommand) {
        if (user && kernel) {
            throw new UsageError("--user and --kernel exclude each other");
        }
        if (kernel && (log != null || installPath != null)) {
            throw new UsageError("--log and --install-path are for the user-space executor");
        }
        if (kernel && forward != null) {
            throw new UsageError("--forward is for the user-space executor");
        }
        if (forward != null && !FORWARDING.contains(forward)) {
            throw new UsageError("--forward takes proxy or none, and not '" + forward + "'");
        }
        if (forward != null && !forward.equals(System.getenv("QELXW_FORWARD"))) {
            throw new UsageError("--forward is taken by the launcher; without it, set QELXW_FORWARD=" + forward);
        }
        if (hasCommand && (script != null || first != null || keepGoing || echo || interactive)) {
            throw new UsageError("--script, --first, --keep-going, --echo and --interactive are for scripts, and a command"
                    + " is given");
        }
        if (interactive && "-".equals(script)) {
            throw new UsageError("--interactive wants a script that is a file: standard input is what is typed");
        }
    }

    private int runSession(ParseResult typed) {
        try {
            session.open(kernel, log, installPath);
            session.question = typed.hasSubcommand() ? Console::askAtTerminal : null;
            return typed.hasSubcommand() ? runner.execute(typed, 0) : runLines();
        } catch (Refusal refusal) {
            return runner.failed("user-space executor", refusal);
        } catch (UnsatisfiedLinkError error) {
            session.output.failure(0, "", null, error.getMessage() + " The console takes the folder of its native"
                    + " libraries from RK_LIBRARY_PATH.");
            return ExitStatus.NO_LIBRARY;
        } finally {
            session.close();
            session.output.finish();
        }
    }

    /** Asks whoever typed a command; where that was nobody, it is meant. */
    private static boolean askAtTerminal(String text) {
        try (Terminal terminal = TerminalBuilder.builder().name(NAME).system(true).dumb(false).build()) {
            return Lines.isYes(LineReaderBuilder.builder().terminal(terminal).build().readLine(text + " (y/n) "));
        } catch (IOException | IllegalStateException notATerminal) {
            return true;
        } catch (UserInterruptException | EndOfFileException left) {
            return false;
        }
    }

    private int runLines() {
        Lines lines = new Lines(session, runner, keepGoing, echo);
        int exitStatus = first == null ? ExitStatus.SUCCESS : lines.runScript(first);
        if (exitStatus != ExitStatus.SUCCESS) {
            return exitStatus;
        }
        if (script != null) {
            exitStatus = lines.runScript(script);
        }
        if (script != null && !interactive) {
            return exitStatus;
        }
        try (Terminal terminal = TerminalBuilder.builder().name(NAME).system(true).dumb(false).build()) {
            return lines.runInteractively(terminal);
        } catch (IOException | IllegalStateException notATerminal) {
            return lines.runScript("-");
        }
    }

    /** Tells the version of the module. */
    static final class Version implements IVersionProvider {
        @Override
        public String[] getVersion() {
            Module module = Console.class.getModule();
            String version = module.isNamed() ? module.getDescriptor().rawVersion().orElse("") : "";
            return new String[] {(NAME + " " + version).strip()};
        }
    }
}
