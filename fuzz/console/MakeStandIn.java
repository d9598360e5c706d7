import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Turns the class of the native methods into one whose methods ask NativeStandIn: MakeStandIn SOURCE TARGET. */
final class MakeStandIn {
    private static final Pattern LOADING = Pattern.compile("static \\{\\s*NativeLibrary\\.load\\(\\);\\s*\\}");
    private static final Pattern METHOD = Pattern.compile("public synchronized native (\\S+) (\\w+)\\(([^)]*)\\);");

    public static void main(String[] arguments) throws IOException {
        String source = LOADING.matcher(Files.readString(Path.of(arguments[0]))).replaceFirst("");
        String made = METHOD.matcher(source).replaceAll(method -> Matcher.quoteReplacement(bodyOf(method.group(1),
                method.group(2), method.group(3))));
        if (made.contains("public native ")) {
            throw new IllegalStateException("a native method is left in " + arguments[0]);
        }
        Files.createDirectories(Path.of(arguments[1]).getParent());
        Files.writeString(Path.of(arguments[1]), made);
    }

    private static String bodyOf(String type, String name, String parameters) {
        String names = parameters.replaceAll("[\\w\\[\\]]+\\s+(\\w+)", "$1");
        String call = "NativeStandIn." + type + "Of(\"" + name + "\"" + (names.isBlank() ? "" : ", " + names) + ")";
        return "public " + type + " " + name + "(" + parameters + ") { " + (type.equals("void") ? "" : "return ") + call
                + "; }";
    }
}
