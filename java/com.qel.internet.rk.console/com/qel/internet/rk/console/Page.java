package com.qel.internet.rk.console;

import com.sun.net.httpserver.HttpExchange;
import com.sun.net.httpserver.HttpHandler;
import java.io.IOException;
import java.io.InputStream;
import java.net.Inet6Address;
import java.net.InetSocketAddress;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.util.Arrays;
import java.util.Base64;
import java.util.List;
import java.util.Locale;

/** Answers requests for the page, for what it shows, and for the metrics. */
final class Page implements HttpHandler {
    private static final String OPEN_METRICS = "application/openmetrics-text";
    /** Where Debian's packages have Chart.js. */
    private static final List<Path> CHARTS = List.of(Path.of("/usr/share/javascript/chart.js/chart.min.js"),
            Path.of("/usr/share/nodejs/chart.js/dist/chart.min.js"));
    private static final int OK = 200;
    private static final int UNAUTHORIZED = 401;
    private static final int NOT_FOUND = 404;
    private static final int NOT_ALLOWED = 405;
    private static final int UNAVAILABLE = 503;

    private final String token;
    private final FarmTeller farm;

    /**
     * Makes the page.
     *
     * @param token what who asks has to bring; null for nothing
     */
    Page(String token, FarmTeller farm) {
        this.token = token;
        this.farm = farm;
    }

    /** {@return an address as it stands in a URL} */
    static String inUrl(InetSocketAddress address) {
        String host = address.getAddress().getHostAddress();
        return (address.getAddress() instanceof Inet6Address ? "[" + host + "]" : host) + ":" + address.getPort();
    }

    @Override
    public void handle(HttpExchange exchange) throws IOException {
        try (exchange) {
            String method = exchange.getRequestMethod();
            if (!isAllowed(exchange.getRequestHeaders().getFirst("Authorization"))) {
                exchange.getResponseHeaders().set("WWW-Authenticate", "Basic realm=\"rk-console\"");
                send(exchange, UNAUTHORIZED, "text/plain", "a token is needed\n");
            } else if (!method.equals("GET") && !method.equals("HEAD")) {
                exchange.getResponseHeaders().set("Allow", "GET, HEAD");
                send(exchange, NOT_ALLOWED, "text/plain", "nothing can be changed here\n");
            } else {
                answer(exchange);
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }

    private void answer(HttpExchange exchange) throws IOException, InterruptedException {
        switch (exchange.getRequestURI().getPath()) {
            case "/" -> send(exchange, OK, "text/html", resource("page.html"));
            case "/page.css" -> send(exchange, OK, "text/css", resource("page.css"));
            case "/page.js" -> send(exchange, OK, "text/javascript", resource("page.js"));
            case "/chart.js" -> sendChart(exchange);
            case "/farm.json" -> {
                String text = farm.farm();
                send(exchange, text == null ? UNAVAILABLE : OK, "application/json", text == null ? "{}" : text);
            }
            case "/metrics" -> {
                boolean isOpen = takesOpenMetrics(exchange.getRequestHeaders().getOrDefault("Accept", List.of()));
                String text = farm.metrics(isOpen);
                send(exchange, text == null ? UNAVAILABLE : OK,
                        isOpen ? OPEN_METRICS + "; version=1.0.0" : "text/plain; version=0.0.4", text == null ? "" : text);
            }
            default -> send(exchange, NOT_FOUND, "text/plain", "there is no such page\n");
        }
    }

    /** {@return whether one of the accepted types is OpenMetrics, with a quality above 0} */
    private static boolean takesOpenMetrics(List<String> accepted) {
        for (String type : String.join(",", accepted).toLowerCase(Locale.ROOT).split(",")) {
            List<String> parts = Arrays.stream(type.split(";")).map(String::strip).toList();
            boolean isRefused = parts.stream().anyMatch(part -> part.matches("q\\s*=\\s*0(\\.0*)?"));
            if (parts.get(0).equals(OPEN_METRICS) && !isRefused) {
                return true;
            }
        }
        return false;
    }

    private static void sendChart(HttpExchange exchange) throws IOException {
        for (Path file : CHARTS) {
            if (Files.isReadable(file)) {
                send(exchange, OK, "text/javascript", Files.readString(file));
                return;
            }
        }
        send(exchange, NOT_FOUND, "text/plain", "Chart.js is not installed (Debian's libjs-chart.js)\n");
    }

    private boolean isAllowed(String authorization) {
        if (token == null) {
            return true;
        }
        String given = "";
        if (authorization != null && authorization.startsWith("Bearer ")) {
            given = authorization.substring("Bearer ".length()).strip();
        } else if (authorization != null && authorization.startsWith("Basic ")) {
            given = password(authorization.substring("Basic ".length()).strip());
        }
        return MessageDigest.isEqual(given.getBytes(StandardCharsets.UTF_8), token.getBytes(StandardCharsets.UTF_8));
    }

    private static String password(String encoded) {
        try {
            String userAndPassword = new String(Base64.getDecoder().decode(encoded), StandardCharsets.UTF_8);
            return userAndPassword.substring(userAndPassword.indexOf(':') + 1);
        } catch (IllegalArgumentException e) {
            return "";
        }
    }

    private static String resource(String name) throws IOException {
        try (InputStream input = Page.class.getResourceAsStream(name)) {
            return new String(input.readAllBytes(), StandardCharsets.UTF_8);
        }
    }

    private static void send(HttpExchange exchange, int status, String type, String text) throws IOException {
        byte[] bytes = text.getBytes(StandardCharsets.UTF_8);
        exchange.getResponseHeaders().set("Content-Type", type + "; charset=utf-8");
        exchange.getResponseHeaders().set("Cache-Control", "no-store");
        exchange.getResponseHeaders().set("X-Content-Type-Options", "nosniff");
        exchange.getResponseHeaders().set("Content-Security-Policy",
                "default-src 'self'; img-src data:; frame-ancestors 'none'");
        boolean hasBody = !exchange.getRequestMethod().equals("HEAD");
        exchange.sendResponseHeaders(status, hasBody && bytes.length > 0 ? bytes.length : -1);
        if (hasBody) {
            exchange.getResponseBody().write(bytes);
        }
    }
}
