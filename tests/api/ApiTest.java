import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.executor.Executor;
import java.io.IOException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** The Java API on the real library and the reference executor. The argument is the folder of the API's sources. */
final class ApiTest {
    private static final int LEAST_EXPECTATIONS = 500;

    private ApiTest() {
    }

    public static void main(String[] arguments)
            throws IOException, ReflectiveOperationException, InterruptedException {
        everyNativeMethodIsUsedOrLeftOutWithAWord(Path.of(arguments[0]));
        OneExecutor.closesAndOpensAgain();
        OneExecutor.opensTheKernelWhereThereIsOne();
        OneExecutor.tellsWhenTheExecutorIsGone();
        OneExecutor.asksBeforeItWaits();
        OneExecutor.threadsShareIt();
        try (Executor executor = Executor.openUserSpace()) {
            SettingsArrive.run(executor);
            Refusals.run(executor);
            KeysThatClash.run(executor);
            TheRest.run(executor);
        }
        Check.exit(LEAST_EXPECTATIONS);
    }

    /** The package's own text names those that it leaves out. */
    private static void everyNativeMethodIsUsedOrLeftOutWithAWord(Path sources) throws IOException {
        StringBuilder code = new StringBuilder();
        try (Stream<Path> files = Files.list(sources)) {
            for (Path file : files.filter(file -> !file.endsWith("package-info.java")).toList()) {
                code.append(Files.readString(file));
            }
        }
        String words = Files.readString(sources.resolve("package-info.java"));
        int natives = 0;
        for (Method method : CMNExecutorInterface.class.getDeclaredMethods()) {
            if (Modifier.isNative(method.getModifiers())) {
                boolean isUsed = Pattern.compile("(?:\\.|::)" + method.getName() + "\\b").matcher(code).find();
                String word = method.getName().startsWith("checkMax") ? "checkMax...Native" : method.getName();
                Check.expect(method.getName() + " is left out", words.contains("{@code " + word + "}"), !isUsed);
                natives++;
            }
        }
        Check.expect("native methods", natives, 96);
    }
}
