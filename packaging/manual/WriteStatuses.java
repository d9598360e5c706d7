import com.qel.internet.rk.common.CMNStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.io.IOException;
import java.lang.reflect.Field;
import java.lang.reflect.RecordComponent;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;

/** The manual's page of statuses and reasons, from the tables of the Java module and of {@code rk/reasons.h}. */
final class WriteStatuses {
    /** The headings of {@code rk/reasons.h}, and the families of methods whose statuses follow; none for all of them. */
    private static final Map<String, List<Family>> FAMILIES = Map.ofEntries(
            Map.entry("Of any family.", List.of()),
            Map.entry("Of the executor's settings.", List.of(Family.EXECUTOR)),
            Map.entry("Of clusters.", List.of(Family.CLUSTER)),
            Map.entry("Of ports.", List.of(Family.PORT)),
            Map.entry("Of servers and their listeners.", List.of(Family.SERVER, Family.WEIGHTS)),
            Map.entry("Of rules and their servers.", List.of(Family.RULE)),
            Map.entry("Of the backup and the timers of high availability.", List.of(Family.HIGH_AVAILABILITY)),
            Map.entry("Of reach targets.", List.of(Family.REACH)),
            Map.entry("Of heartbeats.", List.of(Family.HEARTBEAT)),
            Map.entry("Of taking over.", List.of(Family.TAKEOVER)),
            Map.entry("Of cluster addresses on network interfaces. The status of the command that sets them is returned as it is.",
                    List.of(Family.ALIAS)),
            Map.entry("Of server-directed affinity. A refusal is returned as the executor's reason.", List.of()));

    /** What the columns of the module's table are called here. */
    private static final Map<String, String> COLUMNS = Map.of("status", "number", "family", "methods of", "name", "name",
            "meaning", "what it means", "advice", "what to do");

    private WriteStatuses() {
    }

    /**
     * Writes the page.
     *
     * @param arguments the folder of the headers, the page as it is, where the new one goes
     * @throws Exception when the page cannot be made, or the tables do not fit each other
     */
    public static void main(String[] arguments) throws Exception {
        Header reasons = new Header(Path.of(arguments[0], "reasons.h"), new HashMap<>());
        ManualPage page = new ManualPage(Path.of(arguments[1]), Path.of(arguments[2]));
        writeStatuses(page, reasons.constants);
        writeReasons(page, reasons.constants);
        page.write();
    }

    private static void writeStatuses(ManualPage page, List<Header.Constant> constants) throws Exception {
        List<Map<String, Object>> rows = rows();
        Set<String> missing = new TreeSet<>();
        for (Header.Constant constant : constants) {
            if (isStatus(constant)) {
                missing.add(constant.name());
            }
        }
        List<String> columns = rows.get(0).keySet().stream().map(WriteStatuses::heading).collect(Collectors.toList());
        columns.add("in C++");
        page.heading("## Statuses").table(columns.toArray(String[]::new));
        for (Map<String, Object> row : rows) {
            int status = (Integer) row.get("status");
            Family family = (Family) row.get("family");
            List<String> names = names(status, family, rows, constants);
            missing.removeAll(names);
            List<Object> cells = new ArrayList<>();
            row.forEach((column, value) -> cells.add(cell(column, value)));
            cells.add(names.stream().map(name -> "`" + name + "`").collect(Collectors.joining(", ")));
            page.row(cells.toArray());
        }
        if (!missing.isEmpty()) {
            throw new IOException("CMNStatus tells nothing of " + missing);
        }
    }

    private static String heading(String column) {
        return Objects.requireNonNull(COLUMNS.get(column), () -> "unknown column of CMNStatus: " + column);
    }

    private static Object cell(String column, Object value) {
        return switch (column) {
            case "family" -> value == null ? "any" : value.toString().toLowerCase().replace('_', ' ');
            case "name" -> "`" + value + "`";
            default -> value;
        };
    }

    /** {@return the rows of the module's own table, from 0 down, with their columns by name} */
    private static List<Map<String, Object>> rows() throws ReflectiveOperationException {
        Field field = CMNStatus.class.getDeclaredField("ROWS");
        field.setAccessible(true);
        List<Map<String, Object>> rows = new ArrayList<>();
        for (Object row : (List<?>) field.get(null)) {
            Map<String, Object> values = new LinkedHashMap<>();
            for (RecordComponent component : row.getClass().getRecordComponents()) {
                component.getAccessor().setAccessible(true);
                values.put(component.getName(), component.getAccessor().invoke(row));
            }
            rows.add(values);
        }
        rows.sort(Comparator.comparing((Map<String, Object> row) -> -(Integer) row.get("status")));
        return rows;
    }

    /** {@return what a status is called in {@code rk/reasons.h}, by the methods that return it} */
    private static List<String> names(int status, Family family, List<Map<String, Object>> rows,
            List<Header.Constant> constants) {
        List<String> general = new ArrayList<>();
        List<String> ofFamily = new ArrayList<>();
        for (Header.Constant constant : constants) {
            if (constant.value() != status || isStatus(constant) == (family == Family.REASON)) {
                continue;
            }
            if (family == Family.REASON) {
                ofFamily.add(constant.name());
                continue;
            }
            List<Family> families = families(constant);
            if (families.isEmpty()) {
                general.add(constant.name());
            } else if (family == null ? !haveRows(status, families, rows) : families.contains(family)) {
                ofFamily.add(constant.name());
            }
        }
        if (family == null) {
            general.addAll(ofFamily);
            return general;
        }
        return ofFamily.isEmpty() ? general : ofFamily;
    }

    private static boolean haveRows(int status, List<Family> families, List<Map<String, Object>> rows) {
        return rows.stream().anyMatch(row -> row.get("status").equals(status) && row.get("family") != null
                && families.contains(row.get("family")));
    }

    private static List<Family> families(Header.Constant constant) {
        return Objects.requireNonNull(FAMILIES.get(constant.heading()),
                () -> "rk/reasons.h has an unknown heading: " + constant.heading());
    }

    private static boolean isStatus(Header.Constant constant) {
        return constant.section().equals("Statuses");
    }

    private static void writeReasons(ManualPage page, List<Header.Constant> constants) {
        page.heading("## The executor's reasons").paragraph("""
                An executor leaves one of these in the header of a command that it refuses. The log of the reference
                executor has them; Java sees them where the table above says `reason`.""");
        String heading = null;
        for (Header.Constant constant : constants) {
            if (isStatus(constant)) {
                continue;
            }
            if (!constant.heading().equals(heading)) {
                heading = constant.heading();
                page.heading("### " + heading.split("\\. ?")[0]).table("number", "in C++", "what is wrong");
            }
            page.row(constant.value(), "`" + constant.name() + "`",
                    constant.comment().isEmpty() ? words(constant.name()) : constant.comment());
        }
    }

    /** {@return a name that says all by itself, as words: kServerNotInRule as "server not in rule"} */
    private static String words(String name) {
        return name.substring(1).replaceAll("(?<=[a-z])(?=[A-Z])", " ").toLowerCase();
    }
}
