package com.qel.internet.rk.console;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus;
import java.util.ArrayList;
import java.util.Arrays;
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
    /** A native method that takes one object and returns a status. */
    interface Native {
        int call(CMNExecutorInterface natives, Object object);
    }

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

    /**
     * Begins a family.
     *
     * @param identities the arguments of its commands; the last is the object's own
     */
    ObjectFamily(Session session, CMNStatus.Family family, String name, String description, Identity... identities) {
        this.session = session;
        this.family = family;
        this.identities = identities;
        group = new CommandGroup(name, description);
    }

    /** {@return the commands, as a group} */
    CommandSpec definition() {
        return group.definition;
    }

    /** Offers a command that makes an object with settings. {@return the command} */
    CommandSpec make(String name, String description, Table table, Native method, Extra extra, String... required) {
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

    private void add(Object object, Native method, Map<String, String> given) {
        try {
            check(method.call(session.natives(), object));
        } catch (Refusal refusal) {
            throw KeyClash.explain(session, refusal, own().label(), given);
        }
        session.known.added(own().label(), given);
        session.output.done();
    }

    /** Offers a command that adds an object with settings. {@return the command} */
    CommandSpec add(String description, Table table, Native method, Extra extra, String... required) {
        return make("add", description, table, method, extra, required);
    }

    CommandSpec add(String description, Table table, Native method, String... required) {
        return add(description, table, method, NOTHING_MORE, required);
    }

    /** Offers a command that changes settings of an object. {@return the command} */
    CommandSpec set(String description, Table table, Native method, Extra extra) {
        CommandSpec command = group.command("set", description, typed -> {
            Settings.requireSome(typed);
            Object object = table.create().get();
            CommandGroup.put(session, object, typed, identities);
            Settings.take(typed, table.properties(), object);
            KeyClash.refuse(session, CommandGroup.given(typed, identities));
            extra.take(typed, object);
            session.finish(family, method.call(session.natives(), object));
        }, identities);
        Settings.addOptions(command, table.properties());
        return command;
    }

    CommandSpec set(String description, Table table, Native method) {
        return set(description, table, method, NOTHING_MORE);
    }

    /** Offers a command that does something with an object. */
    void act(String name, String description, Table table, Native method) {
        group.command(name, description, typed -> {
            session.finish(family, method.call(session.natives(), identified(table, typed)));
        }, identities);
    }

    /** Offers a command that removes an object. */
    void remove(String description, Table table, Native method) {
        group.command("remove", description, typed -> {
            check(method.call(session.natives(), identified(table, typed)));
            session.known.removed(own().label(), CommandGroup.given(typed, identities));
            session.output.done();
        }, identities);
    }

    /** Offers a command that answers a question about an object: 0 for yes, a status for no. */
    void ask(String name, String description, String question, int no, Table table, Native method) {
        group.command(name, description, typed -> {
            int status = method.call(session.natives(), identified(table, typed));
            if (status != no) {
                check(status);
            }
            session.output.answer(question, status != no);
        }, identities);
    }

    /** Offers a command that sets the connections-per-second counter of an object. */
    void cps(String description, Table table, String field, Native method) {
        Identity number = new Identity("N", "Connections per second.", Kind.INT, field, null, 0);
        CommandSpec command = group.command("cps", description, typed -> {
            Object object = table.create().get();
            number.put(session, object, typed.matchedPositionalValue(identities.length, ""));
            identify(object, typed);
            session.finish(family, method.call(session.natives(), object));
        }, identities);
        CommandGroup.addArgument(command, number);
    }

    /** Offers a command that prints an object. */
    void show(String name, String description, Table table, Native method) {
        group.command(name, description, typed -> {
            Object object = identified(table, typed);
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
    void list(String description, Table table, List<String> columns, Native method) {
        Identity[] parents = parents();
        CommandSpec command = group.command("list", description, typed -> {
            Map<String, String> given = CommandGroup.given(typed, parents);
            KeyClash.refuse(session, given);
            List<String> names = Names.ofKind(session, own().label(), given);
            if (!typed.hasMatchedOption(LONG)) {
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
            session.output.table(objects, table.properties(), columns);
        }, parents);
        command.addOption(OptionSpec.builder("-l", LONG)
                .description("Ask for the settings of each, and show them in columns.")
                .build());
    }

    private Object identified(Table table, ParseResult typed) {
        Object object = table.create().get();
        identify(object, typed);
        return object;
    }

    private void identify(Object object, ParseResult typed) {
        CommandGroup.put(session, object, typed, identities);
        KeyClash.refuse(session, CommandGroup.given(typed, identities));
    }

    private Identity own() {
        return identities[identities.length - 1];
    }

    private Identity[] parents() {
        return Arrays.copyOf(identities, identities.length - 1);
    }

    private void check(int status) {
        Refusal.check(family, status);
    }
}
