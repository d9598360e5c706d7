import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** The manual's page of the wire format, from the headers that the compiler checks. */
final class WriteWireFormat {
    /** The headers, in the order of the page; those before the first record hold types and commands. */
    private static final List<String> HEADERS = List.of("wire_types.h", "command_header.h", "executor_records.h",
            "cluster_records.h", "port_records.h", "server_records.h", "rule_records.h", "ha_records.h",
            "interface_records.h", "diagnostic_records.h");

    /** Where a type stands: how many bytes it takes, and what its offset is a multiple of. */
    private record Layout(int size, int alignment) {
    }

    private static final Pattern OFFSET_OF = Pattern.compile("offsetof\\((\\w+), (\\w+)\\)");
    private static final Pattern SIZE_OF = Pattern.compile("sizeof\\((\\w+)\\)");

    private final Map<String, Integer> numbers = new HashMap<>();
    private final Map<String, Layout> layouts = new HashMap<>();
    private final Map<String, Map<String, Integer>> offsets = new HashMap<>();
    private final Map<String, Header> headers = new LinkedHashMap<>();
    private Map<String, Integer> commands = Map.of();

    private WriteWireFormat(Path folder) throws IOException {
        for (String type : List.of("char", "int8_t", "uint8_t")) {
            layouts.put(type, new Layout(1, 1));
        }
        for (int size = 2; size <= 8; size *= 2) {
            layouts.put("int" + size * 8 + "_t", new Layout(size, size));
            layouts.put("uint" + size * 8 + "_t", new Layout(size, size));
        }
        layouts.put("Command", new Layout(4, 4));
        for (String name : HEADERS) {
            Header header = new Header(folder.resolve(name), numbers);
            headers.put(name, header);
            if (!header.enumeration.isEmpty()) {
                commands = header.enumeration;
            }
            header.structs.forEach(this::layOut);
            for (Header.Assertion assertion : header.assertions) {
                check(name, assertion);
            }
        }
    }

    /**
     * Writes the page.
     *
     * @param arguments the folder of the headers, the page as it is, where the new one goes
     * @throws IOException when the page cannot be made, or the headers are not understood
     */
    public static void main(String[] arguments) throws IOException {
        ManualPage page = new ManualPage(Path.of(arguments[1]), Path.of(arguments[2]));
        WriteWireFormat format = new WriteWireFormat(Path.of(arguments[0]));
        format.writeCommands(page);
        format.headers.forEach((name, header) -> format.writeRecords(page, name, header));
        page.write();
    }

    private void layOut(Header.Struct struct) {
        Map<String, Integer> places = new LinkedHashMap<>();
        int end = 0;
        int alignment = 1;
        for (Header.Field field : struct.fields()) {
            Layout layout = layouts.get(field.type());
            end = roundUp(end, layout.alignment);
            places.put(field.name(), end);
            end += layout.size * field.count();
            alignment = Math.max(alignment, layout.alignment);
        }
        offsets.put(struct.name(), places);
        layouts.put(struct.name(), new Layout(roundUp(end, alignment), alignment));
    }

    private static int roundUp(int number, int multiple) {
        return (number + multiple - 1) / multiple * multiple;
    }

    /** What the compiler checks has to be what is written here. */
    private void check(String header, Header.Assertion assertion) throws IOException {
        int actual = assertion.field().isEmpty() ? layouts.get(assertion.struct()).size
                : offsets.get(assertion.struct()).get(assertion.field());
        String expected = assertion.expected();
        Matcher match;
        int value;
        if ((match = OFFSET_OF.matcher(expected)).matches()) {
            value = offsets.get(match.group(1)).get(match.group(2));
        } else if ((match = SIZE_OF.matcher(expected)).matches()) {
            value = layouts.get(match.group(1)).size;
        } else {
            value = numbers.containsKey(expected) ? numbers.get(expected) : Integer.decode(expected);
        }
        if (actual != value) {
            throw new IOException(header + ": " + assertion + ", and here it is " + actual);
        }
    }

    private void writeCommands(ManualPage page) throws IOException {
        page.heading("## Commands").table("code", "command", "record");
        for (Map.Entry<String, Integer> command : commands.entrySet()) {
            Pattern name = Pattern.compile("\\b" + command.getKey() + "\\b");
            List<String> records = new ArrayList<>();
            for (Header header : headers.values()) {
                for (Header.Struct struct : header.structs) {
                    if (name.matcher(String.join(" ", struct.comment())).find()) {
                        records.add("[" + struct.name() + "](#" + struct.name().toLowerCase() + ")");
                    }
                }
            }
            if (records.isEmpty()) {
                throw new IOException("no record says that it is of command " + command.getKey());
            }
            page.row(command.getValue(), "`" + command.getKey() + "`", String.join(", ", records));
        }
    }

    private void writeRecords(ManualPage page, String name, Header header) {
        if (header.structs.isEmpty()) {
            return;
        }
        page.heading("## `rk/" + name + "`").paragraph(String.join("\n", header.introduction));
        String section = "";
        for (Header.Struct struct : header.structs) {
            if (!struct.section().equals(section)) {
                section = struct.section();
                page.paragraph("**" + section + "**");
            }
            page.heading("### " + struct.name()).paragraph(comment(struct.comment()));
            page.paragraph(layouts.get(struct.name()).size + " bytes.");
            page.table("offset", "bytes", "type", "field", "");
            for (Header.Field field : struct.fields()) {
                if (!field.name().startsWith("unused_")) {
                    page.row(offsets.get(struct.name()).get(field.name()),
                            layouts.get(field.type()).size * field.count(), type(field), "`" + field.name() + "`",
                            field.comment());
                }
            }
        }
    }

    /** {@return a comment as Markdown: what it sets off by blanks is set off here, too} */
    private static String comment(List<String> lines) {
        StringBuilder text = new StringBuilder();
        boolean isSetOff = false;
        for (String line : lines) {
            if (line.startsWith("  ") != isSetOff) {
                isSetOff = !isSetOff;
                text.append(isSetOff ? "\n" : "\n\n");
            }
            text.append(isSetOff ? "    " + line.strip() : line).append("\n");
        }
        return text.toString();
    }

    private String type(Header.Field field) {
        String type = offsets.containsKey(field.type())
                ? "[" + field.type() + "](#" + field.type().toLowerCase() + ")" : "`" + field.type() + "`";
        return field.isArray() ? type + " × " + field.count() : type;
    }
}
