import com.google.gson.Gson;
import com.google.gson.JsonObject;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.WebSocket;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CompletionStage;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

/**
 * Uses a page as somebody with a keyboard does, in a headless Chromium: {@code DriveBrowser BROWSER FOLDER}, and steps
 * on standard input, one a line:
 *
 * <ul>
 * <li>{@code block PATTERN}: addresses that are not found from now on
 * <li>{@code dark}: the user likes dark pages
 * <li>{@code open URL}
 * <li>{@code key Tab|Enter|Space|Escape}, {@code type TEXT}
 * <li>{@code wait EXPRESSION}: until it is true
 * <li>{@code print EXPRESSION}: its value as a line of standard output
 * <li>{@code picture FILE}: what can be seen, as PNG
 * </ul>
 */
final class DriveBrowser {
    private static final long LONGEST_SECONDS = 60;
    private static final PrintStream OUT = new PrintStream(System.out, true, StandardCharsets.UTF_8);

    /** A key: what the browser is told of it. */
    private record Key(String name, int code, String text) {
    }

    private static final Map<String, Key> KEYS = Map.of("Tab", new Key("Tab", 9, ""), "Enter", new Key("Enter", 13, "\r"),
            "Space", new Key(" ", 32, " "), "Escape", new Key("Escape", 27, ""));

    private final Gson gson = new Gson();
    private final BlockingQueue<String> messages = new LinkedBlockingQueue<>();
    private WebSocket socket;
    private String session; // of the page; null before there is one
    private int sent;

    private DriveBrowser() {
    }

    public static void main(String[] arguments) throws Exception {
        Process browser = new ProcessBuilder(arguments[0], "--headless", "--no-sandbox", "--disable-gpu",
                "--user-data-dir=" + arguments[1], "--remote-debugging-port=0", "--window-size=1000,800", "about:blank")
                .redirectOutput(Path.of(arguments[1], "out").toFile())
                .redirectError(Path.of(arguments[1], "errors").toFile()).start();
        try (BufferedReader steps = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8))) {
            DriveBrowser driver = new DriveBrowser();
            driver.connect(page(Path.of(arguments[1], "DevToolsActivePort"), browser));
            for (String step = steps.readLine(); step != null; step = steps.readLine()) {
                driver.perform(step);
            }
            driver.command("Browser.close", Map.of());
        } finally {
            if (!browser.waitFor(LONGEST_SECONDS, TimeUnit.SECONDS)) {
                browser.descendants().forEach(ProcessHandle::destroyForcibly);
                browser.destroyForcibly().waitFor();
            }
        }
    }

    /** Waits until the browser says where it listens. {@return the address of its page} */
    private static URI page(Path told, Process browser) throws IOException, InterruptedException {
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(LONGEST_SECONDS);
        while (!Files.exists(told) || Files.readAllLines(told).size() < 2) {
            if (!browser.isAlive() || System.nanoTime() > end) {
                throw new IOException("the browser does not start");
            }
            Thread.sleep(50);
        }
        List<String> lines = Files.readAllLines(told);
        return URI.create("ws://127.0.0.1:" + lines.get(0) + lines.get(1));
    }

    private void connect(URI browser) throws Exception {
        StringBuilder part = new StringBuilder();
        socket = HttpClient.newHttpClient().newWebSocketBuilder().buildAsync(browser, new WebSocket.Listener() {
            @Override
            public CompletionStage<?> onText(WebSocket from, CharSequence text, boolean isLast) {
                part.append(text);
                if (isLast) {
                    messages.add(part.toString());
                    part.setLength(0);
                }
                from.request(1);
                return null;
            }
        }).get(LONGEST_SECONDS, TimeUnit.SECONDS);
        String target = command("Target.createTarget", Map.of("url", "about:blank")).get("targetId").getAsString();
        session = command("Target.attachToTarget", Map.of("targetId", target, "flatten", true)).get("sessionId")
                .getAsString();
        command("Page.enable", Map.of());
        command("Network.enable", Map.of());
        command("Emulation.setFocusEmulationEnabled", Map.of("enabled", true));
    }

    /** Sends a command. {@return what came of it} */
    private JsonObject command(String method, Map<String, Object> parameters) throws Exception {
        int id = ++sent;
        JsonObject message = new JsonObject();
        message.addProperty("id", id);
        message.addProperty("method", method);
        message.add("params", gson.toJsonTree(parameters));
        boolean isOfPage = session != null && !method.startsWith("Browser.");
        if (isOfPage) {
            message.addProperty("sessionId", session);
        }
        socket.sendText(gson.toJson(message), true).get(LONGEST_SECONDS, TimeUnit.SECONDS);
        while (true) {
            String text = messages.poll(LONGEST_SECONDS, TimeUnit.SECONDS);
            if (text == null) {
                throw new IOException(method + ": the browser does not answer");
            }
            JsonObject answer = gson.fromJson(text, JsonObject.class);
            if (answer.has("id") && answer.get("id").getAsInt() == id) {
                if (answer.has("error")) {
                    throw new IOException(method + ": " + answer.get("error"));
                }
                return answer.getAsJsonObject("result");
            }
        }
    }

    private void perform(String step) throws Exception {
        String[] words = step.split(" ", 2);
        switch (words[0]) {
            case "block" -> command("Network.setBlockedURLs", Map.of("urls", List.of(words[1])));
            case "dark" -> command("Emulation.setEmulatedMedia",
                    Map.of("features", List.of(Map.of("name", "prefers-color-scheme", "value", "dark"))));
            case "open" -> {
                command("Page.navigate", Map.of("url", words[1]));
                waitFor("location.href === '" + words[1] + "' && document.readyState === 'complete'");
            }
            case "key" -> press(KEYS.get(words[1]));
            case "type" -> {
                for (char letter : words[1].toCharArray()) {
                    press(new Key(String.valueOf(letter), 0, String.valueOf(letter)));
                }
            }
            case "wait" -> waitFor(words[1]);
            case "print" -> OUT.println(evaluate(words[1]));
            case "picture" -> Files.write(Path.of(words[1]), Base64.getDecoder()
                    .decode(command("Page.captureScreenshot", Map.of("format", "png")).get("data").getAsString()));
            default -> throw new IOException("no step: " + step);
        }
    }

    private void press(Key key) throws Exception {
        command("Input.dispatchKeyEvent", Map.of("type", key.text.isEmpty() ? "rawKeyDown" : "keyDown", "key", key.name,
                "windowsVirtualKeyCode", key.code, "text", key.text));
        command("Input.dispatchKeyEvent", Map.of("type", "keyUp", "key", key.name, "windowsVirtualKeyCode", key.code));
    }

    private String evaluate(String expression) throws Exception {
        JsonObject answer = command("Runtime.evaluate", Map.of("expression", "String(" + expression + ")"));
        if (answer.has("exceptionDetails")) {
            throw new IOException(expression + ": " + answer.get("exceptionDetails"));
        }
        return answer.getAsJsonObject("result").get("value").getAsString();
    }

    private void waitFor(String expression) throws Exception {
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(LONGEST_SECONDS);
        while (!isTrue(expression)) {
            if (System.nanoTime() > end) {
                throw new IOException("never true: " + expression);
            }
            Thread.sleep(50);
        }
    }

    /** {@return whether an expression is true; while a page loads, it may have no value yet} */
    private boolean isTrue(String expression) throws InterruptedException {
        try {
            return evaluate(expression).equals("true");
        } catch (InterruptedException e) {
            throw e;
        } catch (Exception notYet) {
            return false;
        }
    }
}
