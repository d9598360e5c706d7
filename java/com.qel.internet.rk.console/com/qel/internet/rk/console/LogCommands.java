package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** The executor's trace log. */
final class LogCommands {
    /** A native method that changes what is logged. */
    private interface Change {
        String call(CMNExecutorInterface natives, int value);
    }

    private LogCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup log = new CommandGroup("log", "The executor's trace log, for debugging.");
        Identity level = Identity.argument("N", "The level: 0 for nothing.", Kind.INT);
        log.command("level", "Set how much is logged.",
                typed -> change(session, CMNExecutorInterface::xloglevelNative, level.number(typed, 0)), level);
        Identity filter = Identity.argument("N", "The filter; the executor defines the numbers.", Kind.INT);
        log.command("filter", "Set what is logged.",
                typed -> change(session, CMNExecutorInterface::xlogfilterNative, filter.number(typed, 0)), filter);

        Identity size = Identity.argument("SIZE", "How many bytes; 10000 when left out.", Kind.INT);
        Identity second = Identity.argument("N", "A number passed to the executor unchanged; 0 when left out.",
                Kind.INT);
        CommandSpec head = log.command("head", "Show the oldest part of the log.", typed -> print(session,
                session.natives().xlogheadNative(size.number(typed, 0), second.number(typed, 1))));
        CommandGroup.addOptional(head, size, second);
        CommandSpec tail = log.command("tail", "Show the newest part of the log.",
                typed -> print(session, session.natives().xlogtailNative(size.number(typed, 0))));
        CommandGroup.addOptional(tail, size);
        log.command("clear", "Empty the log.", typed -> print(session, session.natives().xlogclearNative()));
        return log.definition;
    }

    /**
     * Level and filter travel as settings of the executor, together with what the last command left in the block. When
     * that command read the settings, they change nothing.
     */
    private static void change(Session session, Change method, int value) {
        Refusal.check(Family.EXECUTOR, session.natives().getExecutorStatusNative(new CMNExecutorStatus()));
        print(session, method.call(session.natives(), value));
    }

    private static void print(Session session, String text) {
        session.output.longText("text", Report.require(text));
    }
}
