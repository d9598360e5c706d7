/**
 * Native access to the executor of the load balancer. No two native methods may run at the same time in a process: all
 * its threads share one {@link com.qel.internet.rk.common.CMNExecutorInterface}, whose methods are synchronized.
 */
module com.qel.internet.rk {
    exports com.qel.internet.rk.common;
    exports com.qel.internet.rk.executor;
}
