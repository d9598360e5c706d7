/** The console: what an operator types to look at and to change the executor of the load balancer. */
module com.qel.internet.rk.console {
    requires com.qel.internet.rk;
    requires gson;
    requires jline3;
    requires picocli;

    opens com.qel.internet.rk.console to picocli;
}
