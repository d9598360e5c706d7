/**
 * Native access to the executor of the load balancer. No two native methods may run at the same time in a process:
 * whoever calls them serialises the calls. Why, {@link com.qel.internet.rk.common.CMNExecutorInterface} tells.
 */
module com.qel.internet.rk {
    exports com.qel.internet.rk.common;
}
