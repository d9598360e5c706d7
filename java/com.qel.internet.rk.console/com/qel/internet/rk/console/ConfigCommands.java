package com.qel.internet.rk.console;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import picocli.CommandLine;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/** Whole configurations. */
final class ConfigCommands {
    private static final String DRY_RUN = "--dry-run";
    private static final String KEEP_HA = "--keep-ha";
    private static final String FILE_HELP = "A script of commands that make the configuration, or a document that"
            + " 'config export --json' wrote; - for standard input.";

    private ConfigCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup config = new CommandGroup("config", "The whole configuration: the executor's settings, clusters,"
                + " ports, servers, rules with their servers, and high availability.");
        CommandSpec export = config.command("export", "Write a script that makes the same configuration on an empty"
                + " executor: every setting that is not as usual.", typed -> export(session, typed));
        CommandGroup.addOptional(export, Identity.argument(FileNames.NEW_LABEL,
                "The script to write; standard output when left out.", Kind.TEXT));
        Identity file = Identity.argument(FileNames.LABEL, FILE_HELP, Kind.TEXT);
        CommandSpec diff = config.question("diff", "Tell what 'config apply' would do. The exit status is 0 when nothing"
                + " differs, and 4 when something does.", typed -> diff(session, typed), file);
        CommandSpec apply = config.command("apply", "Make the configuration that a file says: only what differs is sent,"
                + " what is new before what goes. When a step is refused, those before it are undone.",
                typed -> apply(session, typed), file);
        apply.addOption(OptionSpec.builder(DRY_RUN).description("Tell what would be done, and do nothing.").build());
        for (CommandSpec command : List.of(diff, apply)) {
            command.addOption(OptionSpec.builder(KEEP_HA).description("Leave high availability as it is, whatever the file"
                    + " says of it: for a file that two partners share.").build());
        }
        return config.definition;
    }

    private static void export(Session session, ParseResult typed) {
        String file = typed.matchedPositionalValue(0, "");
        ConfigNode configuration = ConfigReader.read(session);
        List<String> leftOut = ConfigLeftOut.of(session, configuration);
        if (!file.isEmpty()) {
            String text = session.output.json
                    ? session.output.toText(ConfigDocument.write(configuration, leftOut)) + "\n"
                    : ConfigScript.write(configuration, leftOut);
            FileNames.write(file, text);
            session.output.done();
        } else if (session.output.json) {
            session.output.document(ConfigDocument.write(configuration, leftOut));
        } else {
            session.output.longText("text", ConfigScript.write(configuration, leftOut));
        }
    }

    private static int diff(Session session, ParseResult typed) {
        List<ConfigStep> steps = plan(session, typed);
        tell(session, steps);
        return steps.isEmpty() ? ExitStatus.SUCCESS : ExitStatus.DIFFERENT;
    }

    private static void apply(Session session, ParseResult typed) {
        List<ConfigStep> steps = plan(session, typed);
        if (!typed.hasMatchedOption(DRY_RUN)) {
            send(session, steps);
        }
        tell(session, steps);
    }

    private static List<ConfigStep> plan(Session session, ParseResult typed) {
        CommandLine tree = typed.commandSpec().root().commandLine();
        String file = typed.matchedPositionalValue(0, "");
        ConfigNode wanted;
        try {
            wanted = ConfigScript.read(tree, FileNames.lines(file));
        } catch (UsageError error) {
            throw new UsageError(file + ": " + error.getMessage());
        }
        ConfigNode current = ConfigReader.read(session);
        if (typed.hasMatchedOption(KEEP_HA)) {
            for (ConfigEntry kind : ConfigEntry.HIGH_AVAILABILITY) {
                wanted.entries(kind).clear();
                wanted.entries(kind).addAll(current.entries(kind));
            }
        }
        return ConfigPlan.make(session, current, wanted);
    }

    private static void tell(Session session, List<ConfigStep> steps) {
        List<String> words = steps.stream().map(ConfigStep::words).toList();
        if (session.output.json) {
            session.output.document(Map.of("steps", words));
        } else {
            session.output.longText("text", words.isEmpty() ? "nothing differs" : String.join("\n", words));
        }
    }

    /** Sends all steps, or none: on the first refusal those before it are undone. */
    private static void send(Session session, List<ConfigStep> steps) {
        int done = 0;
        try {
            for (ConfigStep step : steps) {
                step.send().run();
                done++;
            }
        } catch (Refusal refusal) {
            String undone = undo(steps.subList(0, done));
            throw new Refusal(refusal.status, refusal.meaning + "; " + undone);
        } finally {
            session.known.forget();
        }
    }

    /** {@return what became of it, in words} */
    private static String undo(List<ConfigStep> done) {
        List<String> left = new ArrayList<>();
        for (int i = done.size() - 1; i >= 0; i--) {
            try {
                done.get(i).undo().run();
            } catch (Refusal refusal) {
                left.add("'" + done.get(i).words() + "' (" + refusal.meaning + ")");
            }
        }
        String count = done.size() == 1 ? "the step before it was" : "the " + done.size() + " steps before it were";
        if (left.isEmpty()) {
            return done.isEmpty() ? "nothing was changed" : count + " undone";
        }
        return count + " undone but for " + String.join(", ", left);
    }
}
