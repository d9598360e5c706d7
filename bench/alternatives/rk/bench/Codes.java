package rk.bench;

/** The codes of the commands that are compared. */
final class Codes {
    static final int ADD_CLUSTER = 4;
    static final int READ_CLUSTER_REPORT = 9;
    static final int ADD_PORT = 10;
    static final int READ_SERVER_REPORT = 33;

    private Codes() {
    }
}
