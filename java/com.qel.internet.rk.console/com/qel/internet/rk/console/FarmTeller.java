package com.qel.internet.rk.console;

import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.ExecutionException;
import java.util.function.Supplier;

/**
 * Tells threads of a web server what the farm does. The session's own thread finds out: theirs wait for it, however long
 * a native call takes. What was found out stands for a moment, so that many who ask cost no more than one.
 */
final class FarmTeller {
    private static final long FRESH_NANOS = 900_000_000L;

    /** An answer, and when it was found. */
    private record Answer(String text, long nanos) {
    }

    private final Session session;
    private final BlockingQueue<Runnable> asked;
    private final Map<String, Answer> answers = new LinkedHashMap<>(); // of the session's thread
    private FarmSample sample;

    FarmTeller(Session session, BlockingQueue<Runnable> asked) {
        this.session = session;
        this.asked = asked;
    }

    /** {@return the metrics} */
    String metrics(boolean isOpen) throws InterruptedException {
        return ask(isOpen ? "open" : "plain", () -> Metrics.read(session, isOpen));
    }

    /** {@return what the page shows, as JSON; null when the executor does not answer} */
    String farm() throws InterruptedException {
        return ask("farm", this::readFarm);
    }

    private String ask(String name, Supplier<String> find) throws InterruptedException {
        CompletableFuture<String> answer = new CompletableFuture<>();
        asked.add(() -> {
            try {
                answer.complete(fresh(name, find));
            } catch (RuntimeException | Error e) {
                answer.completeExceptionally(e);
            }
        });
        try {
            return answer.get();
        } catch (ExecutionException e) {
            return null;
        }
    }

    private String fresh(String name, Supplier<String> find) {
        Answer known = answers.get(name);
        if (known == null || System.nanoTime() - known.nanos > FRESH_NANOS) {
            String text = find.get();
            session.output.forgetNativeOutput();
            known = new Answer(text, System.nanoTime());
            answers.put(name, known);
        }
        return known.text;
    }

    private String readFarm() {
        try {
            sample = FarmSample.take(session, sample, false);
        } catch (Refusal refusal) {
            return null;
        }
        List<Map<String, Object>> lines = sample.lines.stream().map(FarmTeller::members).toList();
        Map<String, Object> document = new LinkedHashMap<>();
        document.put("version", sample.executor.Version);
        document.put("connectionsPerSecond", sample.executor.iConnectionsPerSecond);
        document.put("bytesPerSecond", sample.executor.iBytesPerSecond);
        document.put("lines", lines);
        return session.output.toText(document);
    }

    private static Map<String, Object> members(FarmSample.Line line) {
        Map<String, Object> members = new LinkedHashMap<>();
        members.put("kind", line.kind());
        members.put("cluster", line.cluster());
        members.put("port", line.port());
        members.put("name", line.name());
        members.put("state", line.state());
        members.put("weight", line.weight());
        members.put("active", line.active());
        members.put("connections", line.connections());
        members.put("rate", line.rate());
        return members;
    }
}
