import java.io.IOException;
import java.net.URL;
import java.net.URLClassLoader;
import java.nio.file.Path;

/** A second class loader that wants the native library is told why it cannot have it: ClassLoaders JAR. */
public class ClassLoaders {
    private static final String NATIVES = "com.qel.internet.rk.common.CMNExecutorInterface";
    private static final String[] WANTED = {"already loaded in another classloader",
        "A Java VM loads a native library for one class loader only: put the jar"};

    public static void main(String[] arguments) throws IOException, ClassNotFoundException {
        URL[] jar = {Path.of(arguments[0]).toUri().toURL()};
        try (URLClassLoader first = new URLClassLoader(jar, null);
                URLClassLoader second = new URLClassLoader(jar, null)) {
            Class.forName(NATIVES, true, first);
            Class.forName(NATIVES, true, second);
            throw new IllegalStateException("both have loaded it");
        } catch (UnsatisfiedLinkError refused) {
            for (String part : WANTED) {
                if (!refused.getMessage().contains(part)) {
                    throw new IllegalStateException("not told: " + part, refused);
                }
            }
        }
    }
}
