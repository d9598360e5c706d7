package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNStatus;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.ParseResult;

/**
 * The commands that every kind of object has: each fills an object from what was typed, calls one native method with
 * it, and prints it.
 */
final class ObjectFamily {
    /** Takes options that are no plain settings from what was typed. */
    interface Extra {
        void take(ParseResult typed, Object object);
    }

    private static final String LONG = "--long";
    private static final Extra NOTHING_MORE = (typed, object) -> { };

    private final Session session;
    private final CMNStatus.Family family;
    private final CommandGroup group;
    private final Identity[] identities;
    private final Level level;

    /**
     * Begins a family.
     *
     * @param identities the arguments of its commands; the last is the object's own
     */
    ObjectFamily(Session session, CMNStatus.Family family, String name, String description, Identity... identities) {
        this(session, new Level(name, family, null, null, null, null, null, identities), description);
    }

    /** Begins the family of a kind of objects. */
    ObjectFamily(Session session, Level level, String description) {
        this.session = session;
        this.level = level;
        family = level.family();
        identities = level.identities();
        group = new CommandGroup(level.word(), description);
    }

    /** {@return the commands, as a group} */
    CommandSpec definition() {
        return group.definition;
    }

    /** Offers a command that makes an object with settings. {@return the command} */
    CommandSpec make(String name, String description, Table table, Level.Native method, Extra extra, String... required) {
        CommandSpec command = group.command(name, description, typed -> {
            Object object = table.create().get();
            CommandGroup.put(session, object, typed, parents());
            own().putUnchecked(object, typed.matchedPositionalValue(identities.length - 1, ""));
            Settings.take(typed, table.properties(), object);
            KeyClash.refuse(session, CommandGroup.given(typed, parents()));
            extra.take(typed, object);
            add(object, method, CommandGroup.given(typed, identities));
        }, identities);
        Settings.addOptions(command, table.properties(), required);
        return command;
    }

    private void add(Object object, Level.Native method, Map<String, String> given) {
        try {
            check(method.call(session.natives(), object));
        } catch (Refusal refusal) {
            throw KeyClash.explain(session, refusal, own().label(), given);
        }
        session.known.added(own().label(), given);
        session.output.done();
    }

    /** Offers a command that adds an object with settings. {@return the command} */
    CommandSpec add(String description, Table table, Level.Native method, Extra extra, String... required) {
        return make("add", description, table, method, extra, required);
    }

    CommandSpec add(String description, Table table, Level.Native method, String... required) {
        return add(description, table, method, NOTHING_MORE, required);
    }

    /** Offers a command that changes settings of an object. {@return the command} */
    CommandSpec set(String description, Table table, Level.Native method, Extra extra) {
        CommandSpec command = selecting("set", description, typed -> {
            Settings.requireSome(typed, table.properties());
            forEach(typed, given -> {
                Object object = table.create().get();
                put(object, given);
                Settings.take(typed, table.properties(), object);
                KeyClash.refuse(session, given);
                extra.take(typed, object);
                check(method.call(session.natives(), object));
            });
        });
        Settings.addOptions(command, table.properties());
        return command;
    }

    CommandSpec set(String description, Table table, Level.Native method) {
        return set(description, table, method, NOTHING_MORE);
    }

    /** Offers a command that does something with an object. */
    void act(String name, String description, Table table, Level.Native method) {
        selecting(name, description, typed -> forEach(typed,
                given -> check(method.call(session.natives(), identified(table, given)))));
    }

    /** Offers a command that removes an object. */
    void remove(String description, Table table, Level.Native method) {
        selecting("remove", description, typed -> forEach(typed, given -> {
            check(method.call(session.natives(), identified(table, given)));
            session.known.removed(own().label(), given);
        }));
    }

    /** Offers a command that may be for several objects. */
    private CommandSpec selecting(String name, String description, CommandGroup.Action action) {
        if (level.add() == null) {
            return group.command(name, description, action, identities);
        }
        CommandSpec command = group.command(name, description + " Names may be patterns with * and ?.", action);
        if (level == ServerCommands.LEVEL) {
            CommandGroup.addOptional(command, identities);
        } else {
            List.of(identities).forEach(identity -> CommandGroup.addArgument(command, identity));
        }
        Selection.addOptions(command, level);
        return command;
    }

    private void forEach(ParseResult typed, Selection.Verb verb) {
        if (level.add() == null) {
            verb.run(CommandGroup.given(typed, identities));
            session.output.done();
        } else {
            Selection.forEach(session, level, typed, verb);
        }
    }

    /** Offers a command that answers a question about an object: 0 for yes, a status for no. */
    void ask(String name, String description, String question, int no, Table table, Level.Native method) {
        group.command(name, description, typed -> {
            int status = method.call(session.natives(), identified(table, CommandGroup.given(typed, identities)));
            if (status != no) {
                check(status);
            }
            session.output.answer(question, status != no);
        }, identities);
    }

    /** Offers a command that sets the connections-per-second counter of an object. */
    void cps(String description, Table table, String field, Level.Native method) {
        Identity number = new Identity("N", "Connections per second.", Kind.INT, field, null, 0);
        CommandSpec command = group.command("cps", description, typed -> {
            Object object = table.create().get();
            number.put(session, object, typed.matchedPositionalValue(identities.length, ""));
            identify(object, CommandGroup.given(typed, identities));
            session.finish(family, method.call(session.natives(), object));
        }, identities);
        CommandGroup.addArgument(command, number);
    }

    /** Offers a command that prints an object. */
    void show(String name, String description, Table table, Level.Native method) {
        group.command(name, description, typed -> {
            Object object = identified(table, CommandGroup.given(typed, identities));
            check(method.call(session.natives(), object));
            session.output.object(object, table.properties());
        }, identities);
    }

    /**
     * Offers a command that lists the objects of this kind.
     *
     * @param columns the fields that people see of each in a long list
     * @param method  reads an object for a long list
     */
    void list(String description, Table table, List<String> columns, Level.Native method) {
        Identity[] parents = parents();
        CommandSpec command = group.command("list", description, typed -> {
            Map<String, String> given = CommandGroup.given(typed, parents);
            KeyClash.refuse(session, given);
            List<String> names = Names.ofKind(session, own().label(), given);
            if (!typed.hasMatchedOption(LONG) && !Listing.isWanted(typed)) {
                session.output.names(names, own().kind());
                return;
            }
            List<Object> objects = new ArrayList<>();
            for (String name : names) {
                Object object = table.create().get();
                CommandGroup.put(session, object, typed, parents);
                own().put(session, object, name);
                check(method.call(session.natives(), object));
                objects.add(object);
            }
            Listing.print(session.output, typed, objects, table.properties(), columns);
        }, parents);
        command.addOption(OptionSpec.builder("-l", LONG)
                .description("Ask for the settings of each, and show them in columns.")
                .build());
        Listing.addOptions(command, table.properties());
    }

    private Object identified(Table table, Map<String, String> given) {
        Object object = table.create().get();
        identify(object, given);
        return object;
    }

    private void identify(Object object, Map<String, String> given) {
        put(object, given);
        KeyClash.refuse(session, given);
    }

    private void put(Object object, Map<String, String> given) {
        for (Identity identity : identities) {
            identity.put(session, object, given.get(identity.label()));
        }
    }

    private Identity own() {
        return level.own();
    }

    private Identity[] parents() {
        return level.above();
    }

    private void check(int status) {
        Refusal.check(family, status);
    }
}
