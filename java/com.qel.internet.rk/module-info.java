/**
 * Native access to the executor of the load balancer: for programs, {@link com.qel.internet.rk.executor.Executor} and what
 * it gives; for servers that have objects of their own, the native methods. No two native methods may run at the same time
 * in a process: all its threads share one {@link com.qel.internet.rk.common.CMNExecutorInterface}, whose methods are
 * synchronized.
 */
module com.qel.internet.rk {
    exports com.qel.internet.rk.common;
    exports com.qel.internet.rk.executor;
}
