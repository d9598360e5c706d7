import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** A C++ header of the project, as the manual reads it: what it declares, each with the comment before or behind it. */
final class Header {
    /** A constant, with the number that it stands for. */
    record Constant(String section, String heading, String name, int value, String comment) {
    }

    /** A field of a record; count is 1 for all but arrays. */
    record Field(String type, String name, int count, boolean isArray, String comment) {
    }

    /** A record with its fields. */
    record Struct(String section, String name, List<String> comment, List<Field> fields) {
    }

    /** What the compiler is told to check: a record's size, or a field's offset. */
    record Assertion(String struct, String field, String expected) {
    }

    /** What the file is about. */
    final List<String> introduction = new ArrayList<>();
    final List<Constant> constants = new ArrayList<>();
    final List<Struct> structs = new ArrayList<>();
    final List<Assertion> assertions = new ArrayList<>();
    /** The values of its one enumeration, if it has one. */
    final Map<String, Integer> enumeration = new LinkedHashMap<>();

    private static final Pattern SECTION = Pattern.compile("// --- (.*?) -+");
    private static final Pattern COMMENT = Pattern.compile("//(?: (.*))?");
    private static final Pattern CONSTANT =
            Pattern.compile("inline constexpr (?:u?int\\d+_t|int|unsigned long|std::size_t) (k\\w+) = (-?\\w+);(?: *// (.*))?");
    private static final Pattern STRUCT = Pattern.compile("struct (\\w+) \\{");
    private static final Pattern FIELD = Pattern.compile(" +(\\w+) (\\w+)(?:\\[(\\w+)\\])?;(?: *// (.*))?");
    private static final Pattern ENUM = Pattern.compile("enum class \\w+ : \\w+ \\{");
    private static final Pattern ENUM_VALUE = Pattern.compile(" +(\\w+) = (\\d+),");
    private static final Pattern SIZE = Pattern.compile("static_assert\\(sizeof\\((\\w+)\\) == (.*)\\);");
    private static final Pattern OFFSET = Pattern.compile("RK_AT\\((\\w+), (\\w+), (.*)\\);");

    private String section = "";
    private List<String> comment = new ArrayList<>();

    /**
     * Reads a header.
     *
     * @param file    its path
     * @param numbers the constants of all headers that were read before, for the sizes of arrays; this one's are added
     * @throws IOException when the file cannot be read, or has a field that is not understood
     */
    Header(Path file, Map<String, Integer> numbers) throws IOException {
        List<String> lines = Files.readAllLines(file);
        for (int i = 0; i < lines.size(); i++) {
            String line = lines.get(i);
            Matcher match;
            if ((match = SECTION.matcher(line)).matches()) {
                section = match.group(1);
                comment = new ArrayList<>();
            } else if ((match = COMMENT.matcher(line)).matches()) {
                comment.add(match.group(1) == null ? "" : match.group(1));
            } else if (line.equals("#pragma once")) {
                introduction.addAll(comment);
                comment = new ArrayList<>();
            } else if ((match = CONSTANT.matcher(line)).matches()) {
                int value = Integer.decode(match.group(2));
                numbers.put(match.group(1), value);
                constants.add(new Constant(section, String.join(" ", comment), match.group(1), value,
                        match.group(3) == null ? "" : match.group(3)));
            } else if ((match = STRUCT.matcher(line)).matches()) {
                Struct struct = new Struct(section, match.group(1), comment, new ArrayList<>());
                for (i++; !lines.get(i).equals("};"); i++) {
                    struct.fields.add(field(file, lines.get(i), numbers));
                }
                structs.add(struct);
                comment = new ArrayList<>();
            } else if (ENUM.matcher(line).matches()) {
                for (i++; !lines.get(i).equals("};"); i++) {
                    match = ENUM_VALUE.matcher(lines.get(i));
                    if (!match.matches()) {
                        throw new IOException(file + ": not understood: " + lines.get(i));
                    }
                    enumeration.put(match.group(1), Integer.decode(match.group(2)));
                }
            } else if ((match = SIZE.matcher(line)).matches()) {
                assertions.add(new Assertion(match.group(1), "", match.group(2)));
            } else if ((match = OFFSET.matcher(line)).matches()) {
                assertions.add(new Assertion(match.group(1), match.group(2), match.group(3)));
            } else if (line.isEmpty()) {
                comment = new ArrayList<>();
            }
        }
    }

    private static Field field(Path file, String line, Map<String, Integer> numbers) throws IOException {
        Matcher match = FIELD.matcher(line);
        if (!match.matches()) {
            throw new IOException(file + ": not understood: " + line);
        }
        String length = match.group(3);
        int count = 1;
        if (length != null) {
            count = numbers.containsKey(length) ? numbers.get(length) : Integer.decode(length);
        }
        return new Field(match.group(1), match.group(2), count, length != null,
                match.group(4) == null ? "" : match.group(4));
    }
}
