package com.qel.internet.rk.console;

import java.util.Collection;
import java.util.LinkedHashSet;
import picocli.CommandLine;
import picocli.CommandLine.Model.OptionSpec;

/** Puts the families of commands under a root. */
final class CommandTree {
    private CommandTree() {
    }

    /** Adds every family to the root. {@return the root} */
    static CommandLine add(CommandLine root, Session session) {
        root.addSubcommand(new HelpCommand(root, session.output));
        root.addSubcommand(new CommandLine(ExecutorCommands.create(session)));
        root.addSubcommand(new CommandLine(ClusterCommands.create(session)));
        root.addSubcommand(new CommandLine(PortCommands.create(session)));
        root.addSubcommand(new CommandLine(ServerCommands.create(session)));
        root.addSubcommand(new CommandLine(WeightsCommands.create(session)));
        root.addSubcommand(new CommandLine(RuleCommands.create(session)));
        root.addSubcommand(new CommandLine(ConfigCommands.create(session)));
        root.addSubcommand(new CommandLine(HaCommands.create(session)));
        root.addSubcommand(new CommandLine(InterfaceCommands.create(session)));
        root.addSubcommand(new CommandLine(AliasCommands.create(session)));
        root.addSubcommand(new CommandLine(LogCommands.create(session)));
        root.addSubcommand(new CommandLine(ConnectionCommands.create(session)));
        root.addSubcommand(new CommandLine(AffinityCommands.create(session)));
        root.addSubcommand(new CommandLine(DebugCommands.create(session)));
        root.addSubcommand(new CommandLine(AttackCommands.create(session)));
        root.addSubcommand(new CommandLine(IcmpCommands.create(session)));
        root.addSubcommand(new KeyCommands(session));
        root.addSubcommand(new TopCommand(session));
        root.addSubcommand(new MetricsCommand(session));
        root.addSubcommand(new ServeCommand(session));
        root.addSubcommand(new CommandLine(new WatchCommand(root, session)).setStopAtPositional(true));
        root.addSubcommand(SystemCommands.create(session));
        addHelp(root.getSubcommands().values());
        // A number may be negative: what begins with a minus and is no option is a value, and CommandRunner checks it.
        root.setUnmatchedOptionsArePositionalParams(true);
        // Nor does a word with a leading @ name a file of words: it is a value like any other.
        root.setExpandAtFiles(false);
        root.setUsageHelpAutoWidth(true);
        return root;
    }

    private static void addHelp(Collection<CommandLine> commands) {
        // A command that has a second name stands among them twice.
        for (CommandLine command : new LinkedHashSet<>(commands)) {
            command.getCommandSpec().addOption(OptionSpec.builder("-h", "--help")
                    .usageHelp(true)
                    .description("Show this help.")
                    .build());
            addHelp(command.getSubcommands().values());
        }
    }
}
