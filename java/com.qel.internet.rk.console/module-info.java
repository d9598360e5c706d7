/** The console: what an operator types to look at and to change the executor of the load balancer. */
module com.qel.internet.rk.console {
    requires com.qel.internet.rk;
    requires gson;
    requires jdk.httpserver;
    requires jdk.unsupported; // JLine finds there how to handle signals: an interrupt, and the window's size
    requires jline3;
    requires picocli;

    opens com.qel.internet.rk.console to picocli;
}
