package rk.bench;

import com.qel.internet.rk.common.CMNCluster;

/**
 * One way from a Java object to the executor's records and back. What each method does is what the library's native method
 * does when all goes well: the same checks, the same bytes sent, the same fields filled.
 */
interface Alternative {
    /** What any refusal of the executor is mapped to. */
    int REFUSED = -99;

    /** The codes of the two commands. */
    int ADD_CLUSTER = 4;
    int READ_CLUSTER_REPORT = 9;

    String name();

    int addCluster(CMNCluster cluster);

    int reportCluster(CMNCluster cluster);

    /** Zeroes the block that the commands share, so that the next one shows what it writes. */
    void clear();
}
