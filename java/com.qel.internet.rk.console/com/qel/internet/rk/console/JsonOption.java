package com.qel.internet.rk.console;

import picocli.CommandLine.Option;
import picocli.CommandLine.ScopeType;

/** The option that every command takes, before or after its name. */
final class JsonOption {
    static final String NAME = "--json";

    @Option(names = NAME, scope = ScopeType.INHERIT, description = "Print one JSON document for each command.")
    private boolean given;
}
