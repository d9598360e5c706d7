package com.qel.internet.rk.common;

/**
 * Native access to the executor, the part of the load balancer that forwards packets: it spreads connections over
 * clusters (addresses), the ports of a cluster, and the servers of a port, chosen by rules.
 *
 * <h2>Loading</h2>
 * The first use of the class loads the native library {@code cmnexecutor} from {@code java.library.path}; the library
 * itself needs {@code libuexc.so}, beside it or on {@code LD_LIBRARY_PATH}. When one of them is missing or broken, an
 * {@link UnsatisfiedLinkError} says which, and what to do. A jar that has the libraries of its machine inside unpacks
 * them when they are not installed, into a folder of its own below the one for temporary files, or below the one that
 * the property {@code com.qel.internet.rk.unpack} names; the folder is removed as soon as they are loaded. A library of
 * another version than these classes is refused with an error that tells both versions. From Java 24 on the VM warns
 * about native libraries unless it is started with {@code --enable-native-access=com.qel.internet.rk}.
 *
 * <h2>One call at a time</h2>
 * All commands travel through one block of memory and one channel, shared by the whole process, and the library locks
 * neither: no two native methods may run at the same time. They are {@code synchronized}, so threads that share one
 * object take turns. <b>Make one object of this class and share it in the whole process:</b> two objects have two
 * locks, and calls on both at once get wrong answers or end the VM.
 *
 * <h2>Kernel and user space</h2>
 * Commands go to the executor in the kernel, through the device {@code /dev/qelxw}, which the first of them opens.
 * After {@link #setKVAServerModalityNative setKVAServerModalityNative(1)} they go to the user-space executor in
 * {@code libuexc.so}, which runs in this process; start it with {@link #userExecutorProcessInitNative} and
 * {@link #startUserExecutorNative}.
 *
 * <h2>Objects</h2>
 * Parameters of type {@code Object} take an object of any class that has the fields and methods named in the method's
 * description, with the types that the class of this package named there gives them. A null object ends a call with
 * {@link NullPointerException}, and nothing is sent. <b>Whether the fields are there is not checked:</b> a missing one
 * is a {@link NoSuchFieldError} for the caller only if the VM survives the access without it, which it need not. A
 * setting is sent only when its flag, the byte field named {@code Set...}, is exactly 1; other values of a flag travel
 * as they are. Addresses in text form are dotted ({@code 10.0.0.1}; shorter, octal and hexadecimal forms are
 * understood too), or host names, which are looked up. Addresses in int form are in host byte order: 10.0.0.1 is
 * 0x0A000001.
 *
 * <h2>Statuses</h2>
 * Methods that return an int return 0 for success, unless they say otherwise; {@link CMNStatus} puts the others into
 * words. Any method that talks to the executor may return the channel's own status where this is said: -1 when the
 * executor refused the command or cannot be reached, a positive error number when the device's {@code ioctl} failed,
 * in user space whatever the executor returned. -99 stands for a refusal that has no status of its own, -28 for a lack
 * of memory.
 *
 * <h2>When there is no executor</h2>
 * A status that is not the channel's stands for the reason that the executor gave. Without an executor nobody gives
 * one, and the last reason given before still stands: the status is that of an old refusal, or -99 when there was none.
 * {@link #allocateConnectionNative} and {@link #serverDirectedAffinityNative} return the reason itself, which may be 0
 * then, as for success. {@link #isLoadedNative} tells whether the kernel executor's device can be opened,
 * {@link #userExecutorStartedNative} whether the executor in user space runs, and {@link #getExecutorReportNative},
 * which returns the channel's status, whether the executor answers: ask before these two methods, and after -99.
 */
public class CMNExecutorInterface {
    static {
        NativeLibrary.load();
    }

    /** Creates an object to call the methods on; all of them share one executor channel. */
    public CMNExecutorInterface() {
    }

    // Presence and stop

    /**
     * Tells whether the kernel executor's device is open, or can be opened; it then stays open.
     *
     * @return 1 if so, 0 if not
     */
    public synchronized native int isLoadedNative();

    /**
     * Tells whether the kernel executor's device can be opened for reading, with a descriptor of its own: the channel
     * of the commands is neither opened nor closed.
     *
     * @return 1 if so, 0 if not
     */
    public synchronized native int linuxUpNative();

    /**
     * Tells whether the executor runs on another platform, which this library never does.
     *
     * @return always 0
     */
    public synchronized native int solarisUpNative();

    /**
     * Tells whether the executor runs on another platform, which this library never does.
     *
     * @return always 0
     */
    public synchronized native int HPUpNative();

    /**
     * Gives the prefix of the executor's scripts.
     *
     * @return always the empty text
     */
    public synchronized native String ScriptPrefixNative();

    /**
     * Closes the kernel executor's device, if it is open. Nothing is sent; the next command to the kernel executor
     * opens the device again.
     *
     * @return always {@code "EOK"}
     */
    public synchronized native String stopExecutorNative();

    /**
     * Does nothing.
     *
     * @return always {@code "MADE IT INSIDE native updateKernel\n"}
     */
    public synchronized native String updateKernelNative();

    /**
     * Asks whether there may be this many clusters. The executor has the last word, when they are added.
     *
     * @param clusters how many
     * @return always 0: any number
     */
    public synchronized native int checkMaxClustersNative(int clusters);

    /**
     * Asks whether there may be this many ports. The executor has the last word, when they are added.
     *
     * @param ports how many
     * @return always 0: any number
     */
    public synchronized native int checkMaxPortsNative(int ports);

    /**
     * Asks whether there may be this many servers. The executor has the last word, when they are added.
     *
     * @param servers how many
     * @return always 0: any number
     */
    public synchronized native int checkMaxServersNative(int servers);

    // User-space executor

    /**
     * Chooses the executor that the commands go to from now on.
     *
     * @param mode only its low byte counts: 0 for the kernel executor, any other value for the user-space executor
     */
    public synchronized native void setKVAServerModalityNative(int mode);

    /**
     * Does nothing: the user-space executor is linked to the library.
     *
     * @return always 0
     */
    public synchronized native int loadUserExecutorNative();

    /**
     * Starts the user-space executor.
     *
     * @return 0, or the executor's own status
     */
    public synchronized native int startUserExecutorNative();

    /**
     * Stops the user-space executor.
     *
     * @return 0, or the executor's own status
     */
    public synchronized native int stopUserExecutorNative();

    /**
     * Sets up what the user-space executor needs once in a process; before {@link #startUserExecutorNative}.
     *
     * @return 0, or the executor's own status
     */
    public synchronized native int userExecutorProcessInitNative();

    /**
     * Cleans up what {@link #userExecutorProcessInitNative} has set up; after {@link #stopUserExecutorNative}.
     *
     * @return 0, or the executor's own status
     */
    public synchronized native int userExecutorProcessTermNative();

    /**
     * Tells whether the user-space executor runs.
     *
     * @return whether it does
     */
    public synchronized native boolean userExecutorStartedNative();

    /**
     * Sets the user-space executor's log file. The executor may keep the text, so its memory is never released.
     *
     * @param path the file; null is handed on as no path
     * @return whether the executor took it
     */
    public synchronized native boolean userExecutorSetLogNative(String path);

    /**
     * Sets the user-space executor's installation folder. The executor may keep the text, so its memory is never
     * released.
     *
     * @param path the folder; null is handed on as no path
     * @return whether the executor took it
     */
    public synchronized native boolean userExecutorSetInstallPathNative(String path);

    // Identifier keys

    /**
     * Computes the key by which the executor knows an identifier. Upper and lower case give the same key, and so do
     * many identifiers that differ in neighbouring digits, 10.0.0.103 and 10.0.0.120 for example. The executor takes
     * the second of two with one key for the first: compare the keys of identifiers that are made from numbers or
     * addresses before they are used.
     *
     * @param identifier identifier of a cluster or server
     * @param second     not used
     * @return the key
     */
    public synchronized native int calcClusterIdKeyNative(String identifier, String second);

    /**
     * Keeps whether cluster identifiers are addresses. Keys do not depend on it.
     *
     * @param flag 1 if they are, 0 if not
     */
    public synchronized native void setKeyIsIpAddrNative(int flag);

    // Executor

    /**
     * Changes settings of the executor: those whose flags are 1. The cookie expiry interval is sent whatever its flag.
     * When the executor refuses, all flags but {@code SetCookieExpireInterval} are written back as it left them.
     *
     * @param executorStatus the settings, as in {@link CMNExecutorStatus}
     * @return 0; -21 when {@code NFA} does not parse, -49 when {@code ClientGateway} does not parse
     *         ({@code SetClientGateway} is then 1), and nothing is sent in both cases; the channel's status otherwise
     */
    public synchronized native int setExecutorStatusNative(Object executorStatus);

    /**
     * Reads the executor's settings. On failure no field changes; {@code iCookieExpireInterval} and the flags never do.
     *
     * @param executorStatus takes the settings, as in {@link CMNExecutorStatus}
     * @return 0, or the channel's status
     */
    public synchronized native int getExecutorStatusNative(Object executorStatus);

    /**
     * Reads the executor's counters. On failure no field changes.
     *
     * @param executorReport takes the counters, as in {@link CMNExecutorReport}
     * @return 0, or the channel's status
     */
    public synchronized native int getExecutorReportNative(Object executorReport);

    /**
     * Sets the executor's connections-per-second counter.
     *
     * @param executorReport has {@code iConnectionsPerSecond}, as in {@link CMNExecutorReport}
     * @return 0, or the channel's status
     */
    public synchronized native int setExecutorCPSNative(Object executorReport);

    // Clusters

    /**
     * Adds a cluster, with the settings whose flags are 1. {@code iClusterIdKey} is set from {@code sClusterId}, and
     * the flags are written back as the executor left them, even when it refuses.
     *
     * @param cluster has {@code sClusterId}, {@code Address} and the settings, as in {@link CMNCluster}
     * @return 0; -88 when the identifier is null; -90 when it is longer than 64 characters; -3 when
     *         {@code SetIPAddress} is 1 and {@code Address} does not parse (nothing is sent, no flag written back), or
     *         when the address is not usable for a cluster; -4 when the cluster exists, or another one whose identifier
     *         has the same key; -29 when there are as many clusters as there may be; -5, -28, -99
     */
    public synchronized native int addClusterNative(Object cluster);

    /**
     * Changes settings of a cluster: those whose flags are 1. The flags are written back as the executor left them,
     * even when it refuses. The method does not check the length of the identifier: keep it to 64 characters.
     *
     * @param cluster has {@code sClusterId}, {@code iClusterIdKey} (its key) and the settings, as in {@link CMNCluster}
     * @return 0; -3 as when adding; -5 when the cluster does not exist; -4, -28, -29, -99
     */
    public synchronized native int setClusterStatusNative(Object cluster);

    /**
     * Removes a cluster, and all that hangs below it.
     *
     * @param cluster has {@code sClusterId}, as in {@link CMNCluster}
     * @return 0; -5 when the cluster does not exist; -99
     */
    public synchronized native int removeClusterNative(Object cluster);

    /**
     * Reads the settings of a cluster and its number of ports. On failure no field changes.
     *
     * @param cluster has {@code sClusterId} and takes the settings, as in {@link CMNCluster}
     * @return 0; -5 when the cluster does not exist; -99
     */
    public synchronized native int getClusterStatusNative(Object cluster);

    /**
     * Reads the counters of a cluster, its address, key and number of ports. On failure no field changes.
     *
     * @param cluster has {@code sClusterId} and takes the counters, as in {@link CMNCluster}
     * @return 0; -5 when the cluster does not exist; -99
     */
    public synchronized native int getClusterReportNative(Object cluster);

    /**
     * Sets the connections-per-second counter of a cluster.
     *
     * @param cluster has {@code iClusterIdKey} and {@code iConnectionsPerSecond}, as in {@link CMNCluster}
     * @return 0, or the channel's status
     */
    public synchronized native int setClusterCPSNative(Object cluster);

    /**
     * Lists the clusters: appends their identifiers, each with a plus sign before it.
     *
     * @param list a {@link StringBuffer}; on failure it stays as it is
     * @return 0; -28; -99; the channel's status when the number of clusters cannot be read
     */
    public synchronized native int getClustersListNative(Object list);

    // Ports

    /**
     * Adds a port to a cluster, with the settings whose flags are 1; the others come from the cluster's defaults. The
     * flags are written back as the executor left them, even when it refuses. When the executor is out of memory, the
     * method tries again after 6789 seconds and once more after 6543 seconds, and does not return until then.
     *
     * @param port has {@code ClusterId}, {@code PortNumber} and the settings, as in {@link CMNPort}
     * @return 0; -10 when {@code PortNumber} is outside 0 to 65535 (nothing is sent, no flag written back); -5 when the
     *         cluster does not exist; -12 when the port or the cross port does not exist; -14 when the port exists; -30
     *         when the cluster has as many ports as it may have; -38 forwarding method unknown; -57 server limit not
     *         possible; -65 sticky bits, -66 sticky time, -67 weight bound, -73 stale time-out out of range; -68 cross
     *         port not possible; -74 protocol unknown; -75 half-open limit negative; -84 type unknown; -28; -99
     */
    public synchronized native int addPortNative(Object port);

    /**
     * Changes settings of a port: those whose flags are 1. Writes the flags back, and waits for memory, as
     * {@link #addPortNative} does.
     *
     * @param port has {@code ClusterId}, {@code PortNumber} and the settings, as in {@link CMNPort}
     * @return as {@link #addPortNative}
     */
    public synchronized native int setPortStatusNative(Object port);

    /**
     * Removes a port, with its servers and rules.
     *
     * @param port has {@code ClusterId}, {@code ClusterAddress} and {@code PortNumber}, as in {@link CMNPort}
     * @return 0; -3 when {@code ClusterAddress} does not parse (null is not checked); -10 when the port number is
     *         outside 0 to 65535; -5 when the cluster, -12 when the port does not exist; -99
     */
    public synchronized native int removePortNative(Object port);

    /**
     * Reads the settings of a port and its number of servers. On failure no field changes.
     *
     * @param port has {@code ClusterId} and {@code PortNumber} and takes the settings, as in {@link CMNPort}
     * @return 0; -10 when the port number is outside 0 to 65535; -5 when the cluster, -12 when the port does not exist;
     *         -99
     */
    public synchronized native int getPortStatusNative(Object port);

    /**
     * Reads the counters of a port, its number of servers, protocol and method. On failure no field changes.
     *
     * @param port has {@code ClusterId} and {@code PortNumber} and takes the counters, as in {@link CMNPort}
     * @return as {@link #getPortStatusNative}
     */
    public synchronized native int getPortReportNative(Object port);

    /**
     * Sets the connections-per-second counter of a port.
     *
     * @param port has {@code ClusterId}, {@code PortNumber} and {@code iConnectionsPerSecond}, as in {@link CMNPort}
     * @return 0; -10 when the port number is outside 0 to 65535; the channel's status otherwise
     */
    public synchronized native int setPortCPSNative(Object port);

    /**
     * Lists the ports of a cluster: appends their numbers in decimal, each with a plus sign before it.
     *
     * @param clusterId identifier of the cluster
     * @param list      a {@link StringBuffer}; on failure it stays as it is
     * @return 0; -5 when the cluster does not exist; -28; -99; the channel's status when the number of ports cannot be
     *         read
     */
    public synchronized native int getPortsListNative(String clusterId, Object list);

    // Servers

    /**
     * Adds a server to a port, with the settings whose flags are 1. {@code iServerIdKey} is set from {@code sServerID}.
     * With {@code SetListeners} 1, {@code _iNumListeners} listeners, at most two, come from the object's
     * {@code getListener(int)}, whose result is a {@link CMNListener}; the time-outs of both come from
     * {@code getConnectTimeout()} and {@code getIntWaitForComplete()}. Without {@code SetCookieValue} the cookie value
     * becomes empty.
     *
     * @param server has {@code ClusterId}, {@code Port}, {@code sServerID} and the settings, as in {@link CMNServer}
     * @return 0; -80 when the identifier is null; -85 when it is longer than 64 characters; -10 when {@code Port} is
     *         outside 0 to 65535; -17 when {@code getListener} gives none, or no address; -78 when a listener is not
     *         usable (its port is outside 0 to 65535, for example), or there are more than two; -20 when the weight is
     *         negative or above the port's weight bound; -76 when the return address, -49 when the router address does
     *         not parse; -5 when the cluster, -12 when the port does not exist; -18 when the server exists, or
     *         another one of the port whose identifier has the same key; -32 when the port has as many servers as it
     *         may have; -43 when it is collocated and has a router address; -58 when {@code _iCPSMaximum} is negative;
     *         -28; -99
     */
    public synchronized native int addServerNative(Object server);

    /**
     * Changes settings of a server: those whose flags are 1, and listeners as in {@link #addServerNative}. The method
     * does not check the length of the identifier: keep it to 64 characters.
     *
     * @param server has {@code ClusterId}, {@code Port}, {@code sServerID}, {@code iServerIdKey} (its key) and the
     *               settings, as in {@link CMNServer}
     * @return as {@link #addServerNative}; -19 when the server does not exist
     */
    public synchronized native int setServerStatusNative(Object server);

    /**
     * Removes a server.
     *
     * @param server has {@code ClusterId}, {@code Port} and {@code iServerIdKey}, as in {@link CMNServer}
     * @return 0; -10 when {@code Port} is outside 0 to 65535; -5 when the cluster, -12 when the port, -19 when the
     *         server does not exist; -99
     */
    public synchronized native int removeServerNative(Object server);

    /**
     * Marks a server up: it takes connections again, with the weight that it had.
     *
     * @param server has {@code ClusterId}, {@code Port} and {@code iServerIdKey}, as in {@link CMNServer}
     * @return as {@link #removeServerNative}
     */
    public synchronized native int setServerUpNative(Object server);

    /**
     * Marks a server down: it takes no connections.
     *
     * @param server has {@code ClusterId}, {@code Port} and {@code iServerIdKey}, as in {@link CMNServer}
     * @return as {@link #removeServerNative}
     */
    public synchronized native int setServerDownNative(Object server);

    /**
     * Does nothing: hosts are marked down server by server.
     *
     * @param host ignored
     * @return always 0
     */
    public synchronized native int setHostDownNative(Object host);

    /**
     * Does nothing: hosts are marked up server by server.
     *
     * @param host ignored
     * @return always 0
     */
    public synchronized native int setHostUpNative(Object host);

    /**
     * Does nothing: hosts are removed server by server.
     *
     * @param host ignored
     * @return always 0
     */
    public synchronized native int removeHostNative(Object host);

    /**
     * Sets the connections-per-second counter of a server.
     *
     * @param server has {@code ClusterId}, {@code Port}, {@code iServerIdKey} and {@code _iCPSCount}, as in
     *               {@link CMNServer}
     * @return 0; -99 when the key or the count is negative; -10 when {@code Port} is outside 0 to 65535; the channel's
     *         status otherwise
     */
    public synchronized native int setServerCPSNative(Object server);

    /**
     * Reads the counters of a server. On failure no field changes.
     *
     * @param server has {@code ClusterId}, {@code Port} and {@code iServerIdKey}, and takes the counters, as in
     *               {@link CMNServer}
     * @return as {@link #removeServerNative}
     */
    public synchronized native int getServerReportNative(Object server);

    /**
     * Reads the settings of a server. Each of its listeners, at most two, goes into the object that
     * {@code getListener(int)} gives, through {@code setAddress(int)} and its fields;
     * {@code addListenersFromNative(int)} is called before when {@code _iNumListeners} is 1 and there are more. The
     * time-outs go to {@code setConnectTimeoutFromNative(int)} and {@code setWaitForContinueFromNative(int)}. No
     * setting is changed when the executor refuses.
     *
     * @param server has {@code ClusterId}, {@code Port} and {@code iServerIdKey}, and takes the settings, as in
     *               {@link CMNServer}
     * @return 0; -10 when {@code Port} is outside 0 to 65535, or when the object and the executor have different
     *         numbers of listeners, both above 1; -78 when {@code getListener} fails; -5 when the cluster, -12 when the
     *         port, -19 when the server does not exist; -99
     */
    public synchronized native int getServerStatusNative(Object server);

    /**
     * Lists the servers of a port: appends their identifiers, each with a plus sign before it.
     *
     * @param clusterId identifier of the cluster
     * @param port      port number
     * @param list      a {@link StringBuffer}; on failure it stays as it is
     * @param keys      takes the servers' keys; as long as the port has servers, see {@link #getPortReportNative}
     * @return 0; -10 when the port is outside 0 to 65535; -5 when the cluster, -12 when the port does not exist; -28;
     *         -99; the channel's status when the number of servers cannot be read
     */
    public synchronized native int getServersListNative(String clusterId, int port, Object list, int[] keys);

    // Server weights

    /**
     * Reads the weights of all servers of a port, with their identifiers, addresses and connections, in one exchange.
     * On failure no field changes. Identifiers go to {@code setServerId(String, int)}.
     *
     * @param weights has {@code sClusterID} and {@code iPortNumber}, and arrays of at least {@code count} elements, as
     *                in {@link CMNServerWeights}
     * @param count   number of servers, see {@link #getPortReportNative}
     * @return 0; -10 when {@code iPortNumber} is outside 0 to 65535; -5 when the cluster, -12 when the port does not
     *         exist; -28; -99
     */
    public synchronized native int getServerWeightsNative(Object weights, int count);

    /**
     * Changes the weights of servers of a port in one exchange. Weights travel as their low 16 bits. The servers' own
     * results are written to {@code iRC}, even when the executor refused the whole.
     *
     * @param weights has {@code sClusterID}, {@code iPortNumber}, and in arrays of at least {@code count} elements
     *                {@code iServerIdKey}, {@code iWeight}, {@code bFixedWeight} and {@code ucQuiescedDown}, as in
     *                {@link CMNServerWeights}
     * @param count   number of servers
     * @return 0; -10 when {@code iPortNumber} is outside 0 to 65535; -5 when the cluster, -12 when the port does not
     *         exist; -28; -99
     */
    public synchronized native int setServerWeightsNative(Object weights, int count);

    // Rules

    /**
     * Adds a rule to a port, with the settings whose flags are 1. {@code SetRuleType} must be 1: otherwise the library
     * asks the executor for the type of a rule that is not there yet. For type 1 the range comes from
     * {@code AddressBeginRange} and {@code AddressEndRange}, for every other type from {@code BeginRange} and
     * {@code EndRange}. {@code ServiceTOS} must have eight characters. Flags other than {@code SetConfigSource} are
     * written back as the executor left them, even when it refuses the rule itself.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber} and {@code RuleName} and the settings, as in
     *             {@link CMNRule}
     * @return 0; -10 when the port number is outside 0 to 65535; -51 when the name is null or longer than 20
     *         characters; -52 when the type is outside 0 to 9; -53 when the begin, -54 when the end of an address range
     *         does not parse; -5 when the cluster, -12 when the port does not exist; -50 when the rule exists; -57 when
     *         the type was asked for and the rule does not exist; -58 when the priority is out of range, or another
     *         rule of the port has it; -82 when the range is not valid for the type; -28; -99
     */
    public synchronized native int addRuleNative(Object rule);

    /**
     * Changes settings of a rule: those whose flags are 1. Without {@code SetRuleType} the executor is asked for the
     * rule's type first, and {@code _iConfigSource} is then not changed. Otherwise as {@link #addRuleNative}.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber} and {@code RuleName} and the settings, as in
     *             {@link CMNRule}
     * @return as {@link #addRuleNative}
     */
    public synchronized native int setRuleStatusNative(Object rule);

    /**
     * Removes a rule.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber} and {@code RuleName}, as in {@link CMNRule}
     * @return 0; -10 when the port number is outside 0 to 65535; -51 when the name is null or longer than 20
     *         characters; -5 when the cluster, -12 when the port, -57 when the rule does not exist; -99
     */
    public synchronized native int removeRuleNative(Object rule);

    /**
     * Reads the settings of a rule and its number of servers; {@code ServiceTOS} is empty except for type 7. On failure
     * no field changes.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber} and {@code RuleName} and takes the settings, as in
     *             {@link CMNRule}
     * @return as {@link #removeRuleNative}
     */
    public synchronized native int getRuleStatusNative(Object rule);

    /**
     * Reads the counters of a rule, its number and its number of servers. On failure no field changes.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber} and {@code RuleName} and takes the counters, as in
     *             {@link CMNRule}
     * @return as {@link #removeRuleNative}
     */
    public synchronized native int getRuleReportNative(Object rule);

    /**
     * Sets the connections-per-second counter of a rule. The method checks neither the port number, of which it sends
     * the low 16 bits, nor the length of the name.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber}, {@code RuleName} and {@code iConnectionsPerSecond}, as in
     *             {@link CMNRule}
     * @return 0, or the channel's status
     */
    public synchronized native int setRuleCPSNative(Object rule);

    /**
     * Lists the rules of a port: appends their names, each with a plus sign before it.
     *
     * @param clusterId identifier of the cluster
     * @param port      port number
     * @param list      a {@link StringBuffer}; on failure it stays as it is
     * @return 0; -10 when the port is outside 0 to 65535; -5 when the cluster, -12 when the port does not exist; -28;
     *         -99; the channel's status when the number of rules cannot be read
     */
    public synchronized native int getRulesListNative(String clusterId, int port, Object list);

    // Servers of a rule

    /**
     * Puts a server of the port into a rule.
     *
     * @param rule     has {@code ClusterId}, {@code PortNumber} and {@code RuleName}, as in {@link CMNRule}
     * @param server   has {@code iServerIdKey}, as in {@link CMNServer}
     * @param argument passed on to the executor as it is
     * @return 0; -10 when the port number is outside 0 to 65535; -51 when the name is null or longer than 20
     *         characters; -5 when the cluster, -12 when the port, -19 when the server, -57 when the rule does not
     *         exist; -60 when the server is in the rule already; -28; -99
     */
    public synchronized native int addServertoRuleNative(Object rule, Object server, int argument);

    /**
     * Takes a server out of a rule.
     *
     * @param rule     has {@code ClusterId}, {@code PortNumber} and {@code RuleName}, as in {@link CMNRule}
     * @param server   has {@code iServerIdKey}, as in {@link CMNServer}
     * @param argument passed on to the executor as it is
     * @return 0; -10 when the port number is outside 0 to 65535; -51 when the name is null or longer than 20
     *         characters; -5 when the cluster, -12 when the port, -19 when the server, -57 when the rule does not
     *         exist; -59 when the server is not in the rule; -28; -99
     */
    public synchronized native int removeServerfromRuleNative(Object rule, Object server, int argument);

    /**
     * Lists the servers of a rule: appends their identifiers, each with a plus sign before it.
     *
     * @param rule has {@code ClusterId}, {@code PortNumber}, {@code RuleName} and {@code NumServers}, which has to be
     *             current (see {@link #getRuleStatusNative}), as in {@link CMNRule}
     * @param list a {@link StringBuffer}; on failure it stays as it is
     * @return 0; -10 when the port number is outside 0 to 65535; -51 when the name is null or longer than 20
     *         characters; -5 when the cluster, -12 when the port, -57 when the rule does not exist; -28; -99, which
     *         a negative {@code NumServers} gives too
     */
    public synchronized native int getRuleServersListNative(Object rule, Object list);

    // High availability

    /**
     * Reads the state of the executor's high-availability machine. On failure no field changes.
     *
     * @param haStatus has {@code haFsmAddress}, which is sent; takes the state, with heartbeats and reach targets in
     *                 arrays of at least 32 elements, as in {@link CMNHAStatus}
     * @return 0, or the channel's status
     */
    public synchronized native int getHAInfoNative(Object haStatus);

    /**
     * Sets up the relation to the high-availability partner.
     *
     * @param argument1 passed on to the executor as it is
     * @param argument2 passed on to the executor as it is
     * @param port      port number in decimal, 1 to 65535
     * @return 0, even when the executor refuses; -10 when the port is out of range or no number
     */
    public synchronized native int backupAddNative(int argument1, int argument2, String port);

    /**
     * Removes the relation to the high-availability partner.
     *
     * @return always 0, even when the executor refuses
     */
    public synchronized native int backupDelNative();

    /**
     * Adds a reach target, an address that has to stay reachable.
     *
     * @param address  its address
     * @param mask     its mask, dotted; 255.255.255.255 does not parse
     * @param argument passed on to the executor as it is
     * @return 0; -47 when the address, -46 when the mask does not parse; -34 when the executor refuses
     */
    public synchronized native int addReachNative(String address, String mask, int argument);

    /**
     * Removes a reach target.
     *
     * @param address its address
     * @return 0; -47 when the address does not parse, or the executor refuses
     */
    public synchronized native int delReachNative(String address);

    /**
     * Changes a reach target.
     *
     * @param argument1 passed on to the executor as it is
     * @param argument2 passed on to the executor as it is
     * @param argument3 passed on to the executor as it is
     * @return 0; -99 when the executor refuses
     */
    public synchronized native int chgReachNative(int argument1, int argument2, int argument3);

    /**
     * Adds a heartbeat between two addresses.
     *
     * @param firstAddress  one address
     * @param secondAddress the other
     * @return 0; -46 when the first, -47 when the second address does not parse; -44 or -45, the executor's own
     *         reasons; -35 when it refuses for another reason
     */
    public synchronized native int addHBNative(String firstAddress, String secondAddress);

    /**
     * Removes a heartbeat.
     *
     * @param address its address
     * @return 0; -47 when the address does not parse, or the executor refuses
     */
    public synchronized native int delHBNative(String address);

    /**
     * Checks seven timers, and tells the executor to take its own: the values themselves are not sent.
     *
     * @param timer1 a decimal number, not negative, as are the others
     * @param timer2 as timer1
     * @param timer3 as timer1
     * @param timer4 as timer1
     * @param timer5 as timer1
     * @param timer6 as timer1
     * @param timer7 as timer1
     * @return 0; -6 when one is negative or no number; -17 when the executor refuses
     */
    public synchronized native int setTimersNative(String timer1, String timer2, String timer3, String timer4,
            String timer5, String timer6, String timer7);

    /**
     * Makes this load balancer take over from its partner.
     *
     * @param address the address
     * @return 0; -1 when the address does not parse; -36 when the executor refuses
     */
    public synchronized native int takeoverNative(String address);

    // Interface list

    /**
     * Looks up the network interface on an address's subnet, aliases excepted, in the list that
     * {@link #setInterfacesNative} read last.
     *
     * @param address in host byte order
     * @param which   0 for the interface's address, else for its local address
     * @return the address, in host byte order; 0 when no interface is on that subnet
     */
    public synchronized native int getNicAddrNative(int address, int which);

    /**
     * Reads the executor's list of network interfaces anew. On failure the list is empty.
     *
     * @param unused ignored
     */
    public synchronized native void setInterfacesNative(Object unused);

    /**
     * Does nothing.
     *
     * @param unused1 ignored
     * @param unused2 ignored
     * @return always -1
     */
    public synchronized native int getInterfaceListNative(Object unused1, Object unused2);

    // Cluster address aliasing

    /**
     * Configures a cluster address as an alias of a network interface, so that this machine answers for it. An address
     * that is configured already is brought up again on its alias.
     *
     * @param addressConfig has {@code Address}, {@code ConfigInfoProvided} and, used when that is 1,
     *                      {@code InterfaceName} and {@code NetMask}; otherwise both are found by the address's subnet;
     *                      as in {@link CMNAddressConfig}
     * @return 0; -62 when there is no interface on the subnet, no free alias number, or a text that is no name or
     *         address; the status of the command that failed otherwise
     */
    public synchronized native int configureAddressNative(Object addressConfig);

    /**
     * Removes a cluster address from the alias that carries it.
     *
     * @param addressConfig has {@code Address}, as in {@link CMNAddressConfig}
     * @return 0; -63 when no alias carries the address, or the text is no address; the status of the command that
     *         failed otherwise
     */
    public synchronized native int unconfigureAddressNative(Object addressConfig);

    /**
     * Tells whether an alias carries a cluster address.
     *
     * @param addressConfig has {@code Address}, as in {@link CMNAddressConfig}
     * @return 0 if so, -63 if not
     */
    public synchronized native int clusterConfigureStatusNative(Object addressConfig);

    /**
     * Tells which interface carries a cluster address as an alias.
     *
     * @param addressConfig has {@code Address}; takes {@code NetMask} and {@code InterfaceName}, the interface's mask
     *                      and its name without the alias number, as in {@link CMNAddressConfig}
     * @return 0; -63 when no alias carries the address, or the interface's mask is not known
     */
    public synchronized native int getAddressConfigureInfoNative(Object addressConfig);

    // Trace log

    /**
     * Sets the executor's trace level. Failures are not reported.
     *
     * @param level the level
     * @return the warning that these commands are for debugging
     */
    public synchronized native String xloglevelNative(int level);

    /**
     * Sets the executor's trace filter. Failures are not reported.
     *
     * @param filter the filter
     * @return the warning that these commands are for debugging
     */
    public synchronized native String xlogfilterNative(int filter);

    /**
     * Reads the oldest part of the executor's trace log.
     *
     * @param size   how many bytes; 0 for 10000
     * @param second passed on to the executor as it is
     * @return the warning that these commands are for debugging, then the log's text; null when out of memory
     */
    public synchronized native String xlogheadNative(int size, int second);

    /**
     * Reads the newest part of the executor's trace log.
     *
     * @param size how many bytes; 0 for 10000
     * @return the warning that these commands are for debugging, then the log's text; null when out of memory
     */
    public synchronized native String xlogtailNative(int size);

    /**
     * Empties the executor's trace log. Failures are not reported.
     *
     * @return the warning that these commands are for debugging
     */
    public synchronized native String xlogclearNative();

    // Connection records

    /**
     * Makes a connection record by hand.
     *
     * @param a1 an address, in host byte order
     * @param a2 a number of 16 bits
     * @param a3 an address, in host byte order
     * @param a4 a number
     * @param a5 a port
     * @param a6 an address, in host byte order
     * @return 0, or the executor's own reason; 0 too when there is no executor to give a reason
     */
    public synchronized native int allocateConnectionNative(int a1, int a2, int a3, int a4, int a5, int a6);

    /**
     * Removes a connection record by hand.
     *
     * @param a1 an address, in host byte order
     * @param a2 a number of 16 bits
     * @param a3 an address, in host byte order
     * @param a4 a number
     * @param a5 a port
     * @param a6 an address, in host byte order
     * @return 0, or the channel's status
     */
    public synchronized native int deallocateConnectionNative(int a1, int a2, int a3, int a4, int a5, int a6);

    /**
     * Prints connection records. Writes a warning to the process's standard output.
     *
     * @param q1     first address to look for, in host byte order
     * @param q2     first port to look for
     * @param q3     second address to look for, in host byte order
     * @param q4     second port to look for
     * @param q5     third address to look for, in host byte order
     * @param q6     third port to look for
     * @param detail 0 for the counts alone, else a row for each record too
     * @return the text; {@code "Error with kernel.\n"} when the executor refuses; null when out of memory
     */
    public synchronized native String getConnectionInfoNative(int q1, int q2, int q3, int q4, int q5, int q6,
            int detail);

    // Affinity records

    /**
     * Prints the affinity records of a port: which client stays with which server.
     *
     * @param clusterAddress the cluster's address, in host byte order
     * @param port           the port
     * @param detail         0 for the counts alone, else a row for each record too
     * @return the text; {@code "Error with kernel.\n"} when the executor refuses; null when out of memory
     */
    public synchronized native String getAffinityInfoNative(int clusterAddress, int port, int detail);

    /**
     * Changes or reads affinity records; the executor defines what each number in {@code iCommand} does.
     *
     * @param request has {@code iCommand}, {@code iClusterAddr}, {@code iPort}, {@code iNumAffinities} (at most 3000)
     *                and, with that many elements, {@code aiClientAddr} and {@code aiServerAddr}; takes
     *                {@code iResponse}, {@code iTime}, {@code iNumAffinities} and, when there are records, the four
     *                arrays; as in {@link CMNAffinityRequest}. The executor may have more records than were sent: the
     *                arrays need room for them
     * @return 0; -101 when there are more than 3000, -102 when out of memory, the executor's own reason when it
     *         refuses; these three are in {@code iResponse} too. 0 as well when there is no executor to give a reason
     */
    public synchronized native int serverDirectedAffinityNative(Object request);

    // Debug dump

    /**
     * Runs one of the executor's debugging commands.
     *
     * @param subCommand 0 to 29 and 99 print the executor's counters; 1 adds the network cards, 8 the interface list
     *                   that the library has, 10 the return addresses, 11 the connection lists, 12 the affinity lists;
     *                   43 walks over the executor's byte counters; all others are actions in the executor
     * @param argument1  passed on to the executor as it is
     * @param argument2  passed on to the executor as it is
     * @param argument3  passed on to the executor as it is
     * @return the text; {@code "OK\n"} for an action; {@code "Error with kernel.\n"} when the executor refuses; null
     *         when out of memory
     */
    public synchronized native String xmiscNative(int subCommand, int argument1, int argument2, int argument3);

    // Attack protection and ICMP

    /**
     * Reads the half-open connections.
     *
     * @param listener its {@code void setNumHalfOpenRecs(int)} is called with their number, then for each of them
     *                 {@code void addHalfOpenRec(int, int, int, boolean)} with its index, the client's address in host
     *                 byte order and port, and a flag, as in {@link CMNAttackListener}; not called on failure
     * @return 0, or the channel's status
     */
    public synchronized native int getHalfOpenInfoNative(Object listener);

    /**
     * Reads the addresses that seem to attack a port.
     *
     * @param listener its {@code void reportAttackingAddrsResults(int, int)} is called with their number and a second
     *                 value of the executor's, then for each of them {@code void reportAttackingAddr(int, int)} with
     *                 the address in host byte order and its value, as in {@link CMNAttackListener}; not called when
     *                 that fails
     * @param address  the cluster's address, in host byte order
     * @param port     the port
     * @return 0, or the channel's status
     */
    public synchronized native int getAttackingAddrsNative(Object listener, int address, int port);

    /**
     * Sets the parameters of the attack protection, of which the low 16 bits each are sent.
     *
     * @param p1 passed on to the executor, as are the others
     * @param p2 as p1
     * @param p3 as p1
     * @param p4 as p1
     * @param p5 as p1
     * @param p6 as p1
     * @param p7 as p1
     * @param p8 as p1
     * @return 0, or the channel's status
     */
    public synchronized native int xDOSAttackNative(int p1, int p2, int p3, int p4, int p5, int p6, int p7, int p8);

    /**
     * Reads whether an ICMP response came, and from where.
     *
     * @param icmp takes {@code iGotIcmpResp} and {@code iIcmpRespAddr} (unchanged, as the executor has it), as in
     *             {@link CMNIcmp}
     * @return 0, or the channel's status
     */
    public synchronized native int getIcmpInfoNative(Object icmp);

    /**
     * Sets what {@link #getIcmpInfoNative} reads.
     *
     * @param icmp has {@code iGotIcmpResp} and {@code iIcmpRespAddr} (unchanged, as the executor has it), as in
     *             {@link CMNIcmp}
     * @return 0, or the channel's status
     */
    public synchronized native int setIcmpInfoNative(Object icmp);
}
