package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.net.InetAddress;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Collection;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.IntStream;

/**
 * The clients that stay with servers of a port. The executor finds a server here by the key of its address in dotted
 * form: only servers whose names are their addresses can be given clients. {@link Port#affinities} makes one.
 */
public final class Affinities {
    /** What the executor that comes with the library takes as a command. */
    private static final int BIND = 1;
    private static final int RELEASE = 2;
    private static final int READ = 3;

    private static final int UNKNOWN_AFFINITY = -114;

    private final Channel channel;
    private final Name cluster;
    private final int port;

    Affinities(Channel channel, Name cluster, int port) {
        this.channel = channel;
        this.cluster = cluster;
        this.port = port;
    }

    /**
     * Binds clients to servers.
     *
     * @param servers the address of its server for each client's address, at most 3000
     * @throws ExecutorException when the executor refuses all, or some: those are named, and the others are bound
     * @throws IllegalArgumentException when one is no IPv4 address
     */
    public void bind(Map<InetAddress, InetAddress> servers) {
        List<InetAddress> clients = List.copyOf(servers.keySet());
        CMNAffinityRequest request = request(BIND, clients);
        for (int i = 0; i < Math.min(clients.size(), CMNAffinityRequest.CAPACITY); i++) {
            request.aiServerAddr[i] = Values.number(servers.get(clients.get(i)), "server");
        }
        channel.together(natives -> {
            String place = Name.placeOf(cluster, port);
            servers.values().stream().distinct().map(address -> Values.dotted(address, "server"))
                    .forEach(name -> channel.names().requireOwnKey(Name.ofServer(channel, cluster, port, place, name)));
            return send(request);
        });
        requireAll(request, clients);
    }

    /**
     * Releases clients from their servers.
     *
     * @param clients the clients' addresses, at most 3000
     * @throws ExecutorException when the executor refuses all, or some: those are named, and the others are released
     * @throws IllegalArgumentException when one is no IPv4 address
     */
    public void release(Collection<InetAddress> clients) {
        List<InetAddress> listed = List.copyOf(clients);
        CMNAffinityRequest request = request(RELEASE, listed);
        send(request);
        requireAll(request, listed);
    }

    /**
     * Lists the clients that are bound.
     *
     * @return the records, at most 3000
     * @throws ExecutorException when the executor refuses
     */
    public List<AffinityRecord> list() {
        CMNAffinityRequest request = request(READ, List.of());
        send(request);
        int count = Math.max(0, Math.min(request.iNumAffinities, CMNAffinityRequest.CAPACITY));
        return IntStream.range(0, count).mapToObj(i -> recordAt(request, i)).toList();
    }

    /**
     * Looks a client up.
     *
     * @param client its address
     * @return its record; empty when it is not bound
     * @throws ExecutorException        when the executor refuses
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public Optional<AffinityRecord> of(InetAddress client) {
        CMNAffinityRequest request = request(READ, List.of(client));
        send(request);
        int answer = request.aiAgeOrResponse[0];
        if (answer < 0 && answer != UNKNOWN_AFFINITY) {
            throw new ExecutorException(this + " of " + client.getHostAddress(), Family.REASON, answer);
        }
        return answer < 0 ? Optional.empty() : Optional.of(recordAt(request, 0));
    }

    /**
     * Prints the records, for debugging: those that the executor keeps of itself are among them.
     *
     * @param withRecords whether each record is printed, and not their number alone
     * @return the text
     * @throws ExecutorException when the executor refuses
     */
    public String dump(boolean withRecords) {
        return channel.together(natives -> Diagnostics.withoutWarning(channel.requireText(this,
                natives.getAffinityInfoNative(clusterAddress(), port, withRecords ? 1 : 0))));
    }

    private static CMNAffinityRequest request(int command, List<InetAddress> clients) {
        CMNAffinityRequest request = new CMNAffinityRequest();
        request.iCommand = command;
        request.iNumAffinities = clients.size();
        // More than there is room for are counted only: the library refuses them.
        for (int i = 0; i < Math.min(clients.size(), CMNAffinityRequest.CAPACITY); i++) {
            request.aiClientAddr[i] = Values.number(clients.get(i), "client");
        }
        return request;
    }

    private Object send(CMNAffinityRequest request) {
        return channel.withAnswer(this, natives -> {
            request.iClusterAddr = clusterAddress();
            request.iPort = port;
            channel.check(this, Family.REASON, natives.serverDirectedAffinityNative(request));
            return null;
        });
    }

    private int clusterAddress() {
        CMNCluster of = new CMNCluster();
        of.sClusterId = cluster.text();
        channel.perform(cluster, Family.CLUSTER, cluster, natives -> natives.getClusterStatusNative(of));
        return Values.number(Values.address(of.Address), "cluster");
    }

    private void requireAll(CMNAffinityRequest request, List<InetAddress> clients) {
        if (request.iResponse == 0) {
            return;
        }
        List<String> refused = new ArrayList<>();
        for (int i = 0; i < clients.size(); i++) {
            if (request.aiAgeOrResponse[i] < 0) {
                refused.add(clients.get(i).getHostAddress());
            }
        }
        throw new ExecutorException(this + " of " + refused, Family.REASON, request.iResponse);
    }

    private static AffinityRecord recordAt(CMNAffinityRequest request, int index) {
        return new AffinityRecord(Values.address(request.aiClientAddr[index]),
                Values.address(request.aiServerAddr[index]), request.aiNumActive[index],
                Duration.ofSeconds(request.aiAgeOrResponse[index]));
    }

    /** {@return what they are, for people} */
    @Override
    public String toString() {
        return "affinities of port " + port + " of " + cluster;
    }
}
