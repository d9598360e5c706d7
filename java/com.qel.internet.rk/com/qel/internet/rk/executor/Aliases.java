package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNAddressConfig;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.net.InetAddress;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.Set;
import java.util.stream.Collectors;

/**
 * Cluster addresses on this machine's network interfaces, as aliases, so that the machine answers for them.
 * {@link Executor#aliases} makes one.
 */
public final class Aliases {
    private static final int NOT_CONFIGURED = -63;
    private static final int ADDRESS = 0;
    private static final int LOCAL_ADDRESS = 1;

    private final Channel channel;

    Aliases(Channel channel) {
        this.channel = channel;
    }

    /**
     * Lists the network interfaces, aliases included, as the executor knows them.
     *
     * @return the interfaces
     * @throws ExecutorException when there is no executor that answers, or no memory for the list
     */
    public List<InterfaceRecord> interfaces() {
        return InterfaceRecord.parse(new Diagnostics(channel).dumpInterfaces());
    }

    /**
     * Puts an address on the interface of its subnet. One that is on an alias already is brought up there again.
     *
     * @param address a cluster's address
     * @throws ExecutorException        when there is no such interface, or the command fails that sets it
     * @throws IllegalArgumentException when it is no IPv4 address, or the name of that interface's next alias is longer
     *                                  than what the executor's list keeps: the next address would replace this one
     */
    public void configure(InetAddress address) {
        CMNAddressConfig config = config(address);
        channel.together(natives -> {
            List<InterfaceRecord> all = interfaces();
            all.stream().filter(each -> each.hasOnSubnet(address)).findFirst()
                    .ifPresent(its -> requireRoom(natives, config, all, its.name()));
            channel.check("address " + config.Address, Family.ALIAS, natives.configureAddressNative(config));
            return null;
        });
    }

    /**
     * Puts an address on an interface. The executor's list keeps nine characters of a name, and its aliases have a
     * colon and a number behind it: a longer one is refused, as the next address would replace this one.
     *
     * @param address          a cluster's address
     * @param networkInterface name of the interface, such as {@code eth0}, or of an alias, such as {@code eth0:1}
     * @param mask             mask of the subnet
     * @throws ExecutorException        when the name is none that a command takes, or the command fails that sets it
     * @throws IllegalArgumentException when address or mask are none of IPv4, or the name of the alias is too long
     */
    public void configure(InetAddress address, String networkInterface, InetAddress mask) {
        CMNAddressConfig config = config(address);
        config.InterfaceName = Objects.requireNonNull(networkInterface, "network interface");
        config.NetMask = Values.dotted(mask, "mask");
        config.ConfigInfoProvided = 1;
        channel.together(natives -> {
            requireRoom(natives, config, interfaces(), networkInterface);
            channel.check("address " + config.Address, Family.ALIAS, natives.configureAddressNative(config));
            return null;
        });
    }

    /**
     * Goes on only when the alias that an address would get keeps its number in the executor's list. The library would
     * take it for the interface itself otherwise: it could not take the address off again.
     */
    private static void requireRoom(CMNExecutorInterface natives, CMNAddressConfig config, List<InterfaceRecord> all,
            String networkInterface) {
        if (natives.clusterConfigureStatusNative(config) == 0) {
            return; // it stays on the alias that carries it
        }
        boolean isAlias = networkInterface.contains(":");
        String alias = isAlias ? networkInterface : networkInterface + ":" + freeNumber(all, networkInterface);
        Values.text(alias, InterfaceRecord.LONGEST_NAME, "alias " + alias);
    }

    /** {@return the number that the library gives the next alias of an interface} */
    private static int freeNumber(List<InterfaceRecord> all, String networkInterface) {
        Set<String> taken = all.stream().map(InterfaceRecord::name)
                .filter(name -> name.startsWith(networkInterface) && name.contains(":"))
                .map(name -> name.substring(name.indexOf(':') + 1)).collect(Collectors.toSet());
        int number = 1;
        while (taken.contains(Integer.toString(number))) {
            number++;
        }
        return number;
    }

    /**
     * Takes an address off the alias that carries it.
     *
     * @param address a cluster's address
     * @throws ExecutorException        when no alias carries it, or the command fails that sets the interface
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public void unconfigure(InetAddress address) {
        CMNAddressConfig config = config(address);
        channel.perform("address " + config.Address, Family.ALIAS, natives -> natives.unconfigureAddressNative(config));
    }

    /**
     * Looks up the alias that carries an address.
     *
     * @param address a cluster's address
     * @return the alias; empty when none carries it
     * @throws ExecutorException        when there is no executor that answers, or the interface's mask is not known
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public Optional<Alias> of(InetAddress address) {
        CMNAddressConfig config = config(address);
        return channel.withAnswer(this, natives -> {
            int carried = natives.clusterConfigureStatusNative(config);
            if (carried == NOT_CONFIGURED) {
                return Optional.empty();
            }
            channel.check("address " + config.Address, Family.ALIAS, carried);
            channel.check("address " + config.Address, Family.ALIAS, natives.getAddressConfigureInfoNative(config));
            return Optional.of(new Alias(address, config.InterfaceName, Values.address(config.NetMask)));
        });
    }

    /**
     * Looks up the interface on an address's subnet, aliases excepted.
     *
     * @param address an address
     * @return the interface's address; empty when no interface is on that subnet
     * @throws ExecutorException        when there is no executor that answers
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public Optional<InetAddress> interfaceOnSubnet(InetAddress address) {
        return onSubnet(address, ADDRESS);
    }

    /**
     * Looks up the interface on an address's subnet, aliases excepted.
     *
     * @param address an address
     * @return the interface's local address; empty when no interface is on that subnet
     * @throws ExecutorException        when there is no executor that answers
     * @throws IllegalArgumentException when it is no IPv4 address
     */
    public Optional<InetAddress> localOnSubnet(InetAddress address) {
        return onSubnet(address, LOCAL_ADDRESS);
    }

    private Optional<InetAddress> onSubnet(InetAddress address, int which) {
        int number = Values.number(address, "address");
        int found = channel.withAnswer(this, natives -> {
            natives.setInterfacesNative(null); // the look-up is in the list that was read last
            return natives.getNicAddrNative(number, which);
        });
        return found == 0 ? Optional.empty() : Optional.of(Values.address(found));
    }

    private static CMNAddressConfig config(InetAddress address) {
        CMNAddressConfig config = new CMNAddressConfig();
        config.Address = Values.dotted(address, "address");
        return config;
    }

    /** {@return what they are, for people} */
    @Override
    public String toString() {
        return "aliases";
    }
}
