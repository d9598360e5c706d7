/** Native access to the executor of the load balancer. */
module com.qel.internet.rk {
    exports com.qel.internet.rk.common;
}
