package com.qel.internet.rk.console;

import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

/** Prints the metrics once. */
@Command(name = "metrics", description = "Print counters, states and weights for a monitoring system, once: in the text"
        + " format of Prometheus, as its textfile collector takes it.")
final class MetricsCommand implements Runnable {
    @Option(names = "--open", description = "In the format of OpenMetrics.")
    private boolean isOpen;

    private final Session session;

    MetricsCommand(Session session) {
        this.session = session;
    }

    @Override
    public void run() {
        session.output.text("text", Metrics.read(session, isOpen));
    }
}
