package rk.bench;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;

/** The library itself. */
final class NativeLibrary implements Alternative {
    private final CMNExecutorInterface executor = new CMNExecutorInterface();

    NativeLibrary() {
        executor.setKVAServerModalityNative(1);
    }

    @Override
    public String name() {
        return "library";
    }

    @Override
    public int addCluster(CMNCluster cluster) {
        return executor.addClusterNative(cluster);
    }

    @Override
    public int reportCluster(CMNCluster cluster) {
        return executor.getClusterReportNative(cluster);
    }

    /** A command as long as the whole block, which the executor zeroes while it keeps blocks. */
    @Override
    public void clear() {
        executor.getAffinityInfoNative(0, 0, 0);
    }
}
