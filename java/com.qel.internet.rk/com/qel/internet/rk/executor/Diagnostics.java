package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNAttackListener;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.net.InetAddress;
import java.util.ArrayList;
import java.util.List;

/**
 * What is for debugging: the trace log, dumps, connections made by hand; and what the executor knows of attacks.
 * {@link Executor#diagnostics} makes one. Texts are without the library's warning that they are for debugging only.
 */
public final class Diagnostics {
    private static final String WARNING = " SHOULD BE USED FOR DEBUGGING\n";
    private static final int HIGHEST_WORD = 65535;
    private static final int ATTACK_PARAMETERS = 8;

    private final Channel channel;

    Diagnostics(Channel channel) {
        this.channel = channel;
    }

    /**
     * Sets how much the executor traces.
     *
     * @param level 0 for nothing
     * @throws ExecutorException when there is no executor that answers; whether it takes the level is not told
     */
    public void traceLevel(int level) {
        channel.together(natives -> {
            readSettings();
            return natives.xloglevelNative(level);
        });
    }

    /**
     * Sets what the executor traces.
     *
     * @param filter the executor gives the number its meaning
     * @throws ExecutorException when there is no executor that answers; whether it takes the filter is not told
     */
    public void traceFilter(int filter) {
        channel.together(natives -> {
            readSettings();
            return natives.xlogfilterNative(filter);
        });
    }

    /**
     * Reads the oldest part of the trace log.
     *
     * @param size how many bytes; 0 for 10000
     * @return the text
     * @throws ExecutorException when there is no executor that answers, or no memory for the text
     */
    public String logHead(int size) {
        return channel.withAnswer("trace log", natives ->
                withoutWarning(channel.requireText("trace log", natives.xlogheadNative(size, 0))));
    }

    /**
     * Reads the newest part of the trace log.
     *
     * @param size how many bytes; 0 for 10000
     * @return the text
     * @throws ExecutorException when there is no executor that answers, or no memory for the text
     */
    public String logTail(int size) {
        return channel.withAnswer("trace log", natives ->
                withoutWarning(channel.requireText("trace log", natives.xlogtailNative(size))));
    }

    /**
     * Empties the trace log.
     *
     * @throws ExecutorException when there is no executor that answers
     */
    public void clearLog() {
        channel.withAnswer("trace log", natives -> natives.xlogclearNative());
    }

    /**
     * Runs one of the executor's debugging commands.
     *
     * @param command 0 to 29 and 99 print counters; 1 adds the network cards, 10 the return addresses, 11 the
     *                connection
     *                lists, 12 the affinity lists; all others are actions of the executor
     * @param a       passed on to the executor as it is
     * @param b       passed on to the executor as it is
     * @param c       passed on to the executor as it is
     * @return the text
     * @throws ExecutorException when the executor refuses, or there is no memory for the text
     */
    public String dump(int command, int a, int b, int c) {
        return channel.together(natives -> withoutWarning(channel.requireText("debugging command " + command,
                natives.xmiscNative(command, a, b, c))));
    }

    /**
     * Prints the network interfaces as the executor knows them; {@link Aliases#interfaces} lists them.
     *
     * @return the text, behind that of the counters
     * @throws ExecutorException when the executor refuses, or there is no memory for the text
     */
    public String dumpInterfaces() {
        return channel.withAnswer("network interfaces", natives -> {
            natives.setInterfacesNative(null);
            return dump(8, 0, 0, 0);
        });
    }

    /**
     * Prints all connections. The library writes its warning to the process's standard output.
     *
     * @param withRecords whether each is printed, and not their number alone
     * @return the text
     * @throws ExecutorException when the executor refuses, or there is no memory for the text
     */
    public String dumpConnections(boolean withRecords) {
        return channel.together(natives -> withoutWarning(channel.requireText("connections",
                natives.getConnectionInfoNative(0, 0, 0, 0, 0, 0, withRecords ? 1 : 0))));
    }

    /**
     * Lists all connections. The library writes its warning to the process's standard output.
     *
     * @return the connections, at most 1599
     * @throws ExecutorException when the executor refuses, or there is no memory for the list
     */
    public List<ConnectionRecord> connections() {
        return ConnectionRecord.parse(dumpConnections(true));
    }

    /**
     * Makes a connection by hand.
     *
     * @param ends  who is connected with whom
     * @param state state flags, 0 to 65535; of the executor that comes with the library, 1 for half-open
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the state is outside 0 to 65535
     */
    public void allocateConnection(ConnectionEnds ends, int state) {
        Values.within(state, 0, HIGHEST_WORD, "state");
        channel.withAnswer(ends, natives -> {
            channel.check(ends, Family.REASON, natives.allocateConnectionNative(ends.clusterNumber(), state,
                    ends.clientNumber(), ends.clientPort(), ends.port(), ends.serverNumber()));
            return null;
        });
    }

    /**
     * Removes a connection by hand.
     *
     * @param ends who is connected with whom
     * @throws ExecutorException when the executor refuses
     */
    public void deallocateConnection(ConnectionEnds ends) {
        channel.perform(ends, Family.SYSTEM, natives -> natives.deallocateConnectionNative(ends.clusterNumber(), 0,
                ends.clientNumber(), ends.clientPort(), ends.port(), ends.serverNumber()));
    }

    /**
     * Lists the half-open connections.
     *
     * @return the connections, at most 5333
     * @throws ExecutorException when the executor refuses
     */
    public List<HalfOpenConnection> halfOpenConnections() {
        List<HalfOpenConnection> connections = new ArrayList<>();
        CMNAttackListener listener = new Collector(connections, new ArrayList<>());
        channel.perform("half-open connections", Family.SYSTEM, natives -> natives.getHalfOpenInfoNative(listener));
        return List.copyOf(connections);
    }

    /**
     * Lists the addresses that seem to attack a port.
     *
     * @param clusterAddress the cluster's address
     * @param port           the port, 0 to 65535
     * @return the addresses, at most 7996
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when the address is none of IPv4, or the port outside 0 to 65535
     */
    public List<AttackingAddress> attackingAddresses(InetAddress clusterAddress, int port) {
        int cluster = Values.number(clusterAddress, "cluster's address");
        Values.port(port);
        List<AttackingAddress> addresses = new ArrayList<>();
        CMNAttackListener listener = new Collector(new ArrayList<>(), addresses);
        channel.perform("attacking addresses", Family.SYSTEM,
                natives -> natives.getAttackingAddrsNative(listener, cluster, port));
        return List.copyOf(addresses);
    }

    /**
     * Sets the parameters of the attack protection.
     *
     * @param p eight numbers, 0 to 65535; the executor gives them their meaning
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when they are not eight, or one is outside 0 to 65535
     */
    public void protectFromAttacks(int... p) {
        Values.within(p.length, ATTACK_PARAMETERS, ATTACK_PARAMETERS, "number of parameters");
        for (int parameter : p) {
            Values.within(parameter, 0, HIGHEST_WORD, "parameter of the attack protection");
        }
        channel.perform("attack protection", Family.SYSTEM,
                natives -> natives.xDOSAttackNative(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]));
    }

    /**
     * Reads whether an ICMP response came.
     *
     * @return the response
     * @throws ExecutorException when the executor refuses
     */
    public IcmpResponse icmpResponse() {
        CMNIcmp icmp = new CMNIcmp();
        channel.perform("ICMP response", Family.SYSTEM, natives -> natives.getIcmpInfoNative(icmp));
        return new IcmpResponse(icmp.iGotIcmpResp != 0, Values.address(icmp.iIcmpRespAddr));
    }

    /**
     * Sets what {@link #icmpResponse} reads.
     *
     * @param response the response
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when its address is none of IPv4
     */
    public void setIcmpResponse(IcmpResponse response) {
        CMNIcmp icmp = new CMNIcmp();
        icmp.iGotIcmpResp = response.came() ? 1 : 0;
        icmp.iIcmpRespAddr = Values.number(response.from(), "address");
        channel.perform("ICMP response", Family.SYSTEM, natives -> natives.setIcmpInfoNative(icmp));
    }

    /** {@return a text without the warning before it} */
    static String withoutWarning(String text) {
        int end = text.indexOf("\n\n");
        int line = text.indexOf('\n');
        boolean hasWarning = end >= 0 && text.substring(0, line + 1).endsWith(WARNING);
        return hasWarning ? text.substring(end + 2) : text;
    }

    /**
     * Level and filter travel among the settings, together with what the last command left there: when that command
     * read them, they change nothing else.
     */
    private void readSettings() {
        channel.perform("trace log", Family.EXECUTOR,
                natives -> natives.getExecutorStatusNative(new CMNExecutorStatus()));
    }

    /** Keeps what is reported. */
    private record Collector(List<HalfOpenConnection> connections, List<AttackingAddress> addresses)
            implements CMNAttackListener {
        @Override
        public void setNumHalfOpenRecs(int count) {
            // The records themselves are counted.
        }

        @Override
        public void addHalfOpenRec(int index, int address, int port, boolean flag) {
            connections.add(new HalfOpenConnection(Values.address(address), port, flag));
        }

        @Override
        public void reportAttackingAddrsResults(int count, int summary) {
            // The records themselves are counted.
        }

        @Override
        public void reportAttackingAddr(int address, int value) {
            addresses.add(new AttackingAddress(Values.address(address), value));
        }
    }
}
