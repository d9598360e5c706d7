package com.qel.internet.rk.console;

import com.google.gson.Gson;
import com.google.gson.GsonBuilder;
import com.google.gson.JsonArray;
import com.google.gson.JsonElement;
import com.google.gson.JsonNull;
import com.google.gson.JsonObject;
import com.google.gson.JsonPrimitive;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.function.Supplier;

/** Prints what commands have to say: tables for people, or one JSON document a line for programs. */
final class Output {
    /** Whether the command that runs prints JSON. */
    boolean json;
    /** Whether every command prints JSON. */
    boolean jsonAlways;
    /** The terminal that the output goes to; null where it goes elsewhere. */
    Screen screen;
    /** The script that a command reads; null where lines need no name. */
    String script;

    /** What the command that runs has said to a terminal. */
    private final StringBuilder said = new StringBuilder();
    private final PrintStream out;
    private final PrintStream err;
    private final NativeOutput nativeOutput;

    /** Is not there before something is written as JSON, as it makes the console start later. */
    private static final class Json {
        static final Gson WRITER = new GsonBuilder().disableHtmlEscaping().serializeNulls().create();
    }

    Output(PrintStream out, PrintStream err, NativeOutput nativeOutput) {
        this.out = out;
        this.err = err;
        this.nativeOutput = nativeOutput;
    }

    /** Prints what native code has printed by itself since the last time. Programs, which read JSON, do not get it. */
    void passOn() {
        String text = nativeOutput.take();
        if (!json) {
            say(text);
        }
    }

    /** Drops what native code has printed by itself. */
    void forgetNativeOutput() {
        nativeOutput.take();
    }

    /** Ends what a command says: at a terminal, what is longer than it goes through a pager. */
    void finish() {
        passOn();
        String text = said.toString();
        said.setLength(0);
        if (!text.isEmpty() && (json || screen == null || !screen.page(text))) {
            out.print(text);
        }
        out.flush();
    }

    /** Shows what was said so far, however long it is. */
    void flushUnpaged() {
        out.print(said);
        said.setLength(0);
        out.flush();
    }

    private void say(String text) {
        if (screen == null) {
            out.print(text);
        } else {
            said.append(text);
        }
    }

    private void sayLine(Object line) {
        say(line + "\n");
    }

    /** Says that a command without other output succeeded. */
    void done() {
        if (json) {
            print(member("status", 0));
        } else {
            sayLine("ok");
        }
    }

    /** Says that a command succeeded for several objects. */
    void counted(int count, String noun) {
        if (json) {
            JsonObject object = member("status", 0);
            object.addProperty("count", count);
            print(object);
        } else {
            sayLine("ok: " + count + " " + noun + (count == 1 ? "" : "s"));
        }
    }

    /** Prints a document: maps, lists and values. */
    void document(Object document) {
        print(toJson(document));
    }

    /** {@return a document as JSON} */
    String toText(Object document) {
        return Json.WRITER.toJson(toJson(document));
    }

    /** Says something to people, above a table. Programs find it in the table's numbers. */
    void heading(String text) {
        if (!json) {
            sayLine(text);
            sayLine("");
        }
    }

    /** Prints one value. */
    void value(String name, Object value) {
        if (json) {
            print(member(name, value));
        } else {
            sayLine(value);
        }
    }

    /** Answers a question. */
    void answer(String name, boolean yes) {
        value(name, json ? (Object) yes : yes ? "yes" : "no");
    }

    /** Prints a text that a native method made, as it is. */
    void text(String name, String text) {
        if (json) {
            print(member(name, text));
        } else {
            printWhole(text);
        }
    }

    private void printWhole(String text) {
        boolean isWhole = text.isEmpty() || text.endsWith("\n");
        say(isWhole ? text : text + "\n");
    }

    /** Prints a report that a native method made: as it is, or in JSON what was parsed from it. */
    void report(String text, Supplier<Map<String, Object>> parsed) {
        passOn();
        if (json) {
            print(toJson(parsed.get()));
        } else {
            printWhole(text);
        }
    }

    /** Prints a text that a native method made and that may be long. */
    void longText(String name, String text) {
        report(text, () -> Map.of(name, text));
    }

    /** Prints an object's fields, one a line, and below them, in JSON among them, what else belongs to it. */
    void object(Object object, List<Property> properties, Rows... below) {
        if (json) {
            JsonObject document = toJson(object, properties);
            for (Rows rows : below) {
                document.add(rows.name(), toJson(rows.rows(), rows.properties()));
            }
            print(document);
            return;
        }
        fields(object, properties);
        for (Rows lower : below) {
            if (!lower.rows().isEmpty()) {
                sayLine("");
                table(lower.rows(), lower.properties());
            }
        }
    }

    private void fields(Object object, List<Property> properties) {
        List<List<String>> rows = new ArrayList<>();
        for (Property property : properties) {
            if (property.shown()) {
                rows.add(List.of(property.label(), property.format(object)));
            }
        }
        say(align(rows));
    }

    /** Prints names, one a line; in JSON they are numbers where they are of such a kind. */
    void names(List<String> names, Kind kind) {
        if (json) {
            JsonArray array = new JsonArray();
            names.forEach(name -> array.add(toJson(kind.parse(name, 0))));
            print(array);
        } else {
            StringBuilder text = new StringBuilder();
            names.forEach(name -> text.append(name).append('\n'));
            out.print(text);
        }
    }

    /** Prints objects, one a line: in JSON all their properties, for people those of the columns. */
    void table(List<?> objects, List<Property> properties, List<String> columns) {
        List<Property> chosen = properties.stream()
                .filter(property -> json || columns.contains(property.fields().get(0)))
                .toList();
        table(objects, chosen);
    }

    /** Prints objects, one a line. */
    void table(List<?> objects, List<Property> properties) {
        if (json) {
            print(toJson(objects, properties));
            return;
        }
        List<List<String>> rows = new ArrayList<>();
        rows.add(properties.stream().map(property -> property.label().toUpperCase(Locale.ROOT)).toList());
        for (Object object : objects) {
            rows.add(properties.stream().map(property -> property.format(object)).toList());
        }
        if (screen == null) {
            say(align(rows));
            return;
        }
        List<List<String>> fitted = screen.fit(rows);
        if (fitted == null) {
            objects.forEach(object -> {
                fields(object, properties);
                sayLine("");
            });
            return;
        }
        String[] lines = align(fitted).split("\n");
        int headings = lines.length - objects.size();
        for (int i = 0; i < lines.length; i++) {
            sayLine(i < headings ? lines[i] : screen.coloured(lines[i], colour(objects.get(i - headings), properties)));
        }
    }

    /** {@return the colour of a row: red where something was refused or gets nothing, yellow where it is quiesced} */
    private static String colour(Object object, List<Property> properties) {
        String colour = "";
        for (Property property : properties) {
            String value = property.format(object);
            boolean isBad = property.label().equals("weight") && value.equals("0")
                    || property.label().equals("result") && !value.equals("0");
            if (isBad) {
                return Screen.RED;
            }
            if (property.label().equals("quiesced") && value.equals("on")) {
                colour = Screen.YELLOW;
            }
        }
        return colour;
    }

    /** Says that a command was sent whose result the library does not return, and which command shows the result. */
    void sent(String shownBy) {
        if (json) {
            print(member("status", 0));
        } else {
            sayLine("sent; '" + shownBy + "' shows the result");
        }
    }

    /** Prints a note that is no error. */
    void note(String text) {
        err.println(text);
    }

    /**
     * Prints why a command failed.
     *
     * @param line    the line of the script; 0 when there is none
     * @param command the command; empty when it is not known
     * @param status  what the native method returned; null when none was called
     * @param meaning the reason, in words
     */
    void failure(int line, String command, Integer status, String meaning) {
        finish();
        if (json) {
            JsonObject object = new JsonObject();
            if (status != null) {
                object.addProperty("status", status);
            }
            object.addProperty("meaning", meaning);
            if (!command.isEmpty()) {
                object.addProperty("command", command);
            }
            if (line > 0) {
                object.addProperty("line", line);
            }
            if (line > 0 && script != null) {
                object.addProperty("script", script);
            }
            err.println(Json.WRITER.toJson(object));
        } else {
            String text = (line > 0 && script != null ? script + ", " : "") + (line > 0 ? "line " + line + ": " : "")
                    + (command.isEmpty() ? "" : command + ": ") + (status == null ? "" : "status " + status + ": ")
                    + meaning;
            err.println(screen == null ? text : screen.coloured(text, Screen.RED));
        }
    }

    /** Prints text that is the same for people and programs, such as help. */
    void plain(String text) {
        say(text);
        out.flush();
    }

    private void print(JsonElement document) {
        sayLine(Json.WRITER.toJson(document));
    }

    private static JsonObject member(String name, Object value) {
        JsonObject object = new JsonObject();
        object.add(name, toJson(value));
        return object;
    }

    private static JsonArray toJson(List<?> objects, List<Property> properties) {
        JsonArray array = new JsonArray();
        objects.forEach(object -> array.add(toJson(object, properties)));
        return array;
    }

    private static JsonObject toJson(Object object, List<Property> properties) {
        JsonObject json = new JsonObject();
        for (Property property : properties) {
            if (property.shown()) {
                for (String field : property.fields()) {
                    json.add(field, toJson(Property.get(object, field), property.kind()));
                }
            }
        }
        return json;
    }

    private static JsonElement toJson(Object value, Kind kind) {
        if (kind == Kind.LISTENERS) {
            return toJson((List<?>) value, ServerCommands.LISTENER_PARTS);
        }
        return toJson(value == null ? null : kind.plain(value));
    }

    private static JsonElement toJson(Object value) {
        if (value == null) {
            return JsonNull.INSTANCE;
        }
        if (value instanceof Number number) {
            return new JsonPrimitive(number);
        }
        if (value instanceof Map<?, ?> map) {
            JsonObject object = new JsonObject();
            map.forEach((name, part) -> object.add(name.toString(), toJson(part)));
            return object;
        }
        if (value instanceof List<?> list) {
            JsonArray array = new JsonArray();
            list.forEach(part -> array.add(toJson(part)));
            return array;
        }
        return value instanceof Boolean bool ? new JsonPrimitive(bool) : new JsonPrimitive(value.toString());
    }

    /** Puts the cells of each column under each other, two spaces apart; the last column is not filled up. */
    private static String align(List<List<String>> rows) {
        List<Integer> widths = new ArrayList<>();
        for (List<String> row : rows) {
            for (int i = 0; i < row.size(); i++) {
                if (i == widths.size()) {
                    widths.add(0);
                }
                widths.set(i, Math.max(widths.get(i), row.get(i).length()));
            }
        }
        StringBuilder text = new StringBuilder();
        for (List<String> row : rows) {
            for (int i = 0; i < row.size(); i++) {
                String cell = row.get(i);
                boolean last = i == row.size() - 1;
                text.append(cell).append(last ? "\n" : " ".repeat(widths.get(i) - cell.length() + 2));
            }
        }
        return text.toString();
    }
}
