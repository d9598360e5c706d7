package rk.bench;

import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNServer;

/**
 * One way from the Java objects to the executor's records and back. What each method does is what the library's native
 * method does when all goes well: the same checks, the same bytes sent, the same fields filled.
 */
interface Alternative {
    /** What any refusal of the executor is mapped to. */
    int REFUSED = -99;

    String name();

    int addCluster(CMNCluster cluster);

    int reportCluster(CMNCluster cluster);

    int addPort(CMNPort port);

    int reportServer(CMNServer server);

    /** Zeroes the block that the commands share, so that the next one shows what it writes. */
    void clear();
}
