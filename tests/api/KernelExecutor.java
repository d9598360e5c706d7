import static com.qel.internet.rk.executor.Addresses.ipv4;

import com.qel.internet.rk.executor.Cluster;
import com.qel.internet.rk.executor.ClusterSettings;
import com.qel.internet.rk.executor.Executor;
import java.io.IOException;
import java.util.List;

/** The same on a kernel executor, which has to be there, fresh, and outlives the program's channel to it. */
final class KernelExecutor {
    private static final int LEAST_EXPECTATIONS = 400;

    private KernelExecutor() {
    }

    public static void main(String[] arguments) throws IOException, ReflectiveOperationException {
        try (Executor executor = Executor.openKernel()) {
            Check.expect("in user space", executor.isUserSpace(), false);
            Check.expect("answers", executor.answers(), true);
            SettingsArrive.run(executor);
            Refusals.run(executor);
            KeysThatClash.run(executor);
            TheRest.run(executor);
            executor.cluster("kept").add(ClusterSettings.at(ipv4("10.0.0.5")));
        }
        try (Executor executor = Executor.openKernel()) {
            Check.expect("kept", executor.clusters().stream().map(Cluster::name).toList(), List.of("kept"));
            executor.cluster("kept").remove();
        }
        try (Executor executor = Executor.openUserSpace()) {
            Check.expect("another executor", executor.clusters(), List.of());
        }
        Check.exit(LEAST_EXPECTATIONS);
    }
}
