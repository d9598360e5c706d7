package rk.bench;

import static java.lang.foreign.MemoryLayout.PathElement.groupElement;
import static java.lang.foreign.MemoryLayout.paddingLayout;
import static java.lang.foreign.MemoryLayout.sequenceLayout;
import static java.lang.foreign.MemoryLayout.structLayout;
import static java.lang.foreign.ValueLayout.ADDRESS;
import static java.lang.foreign.ValueLayout.JAVA_BYTE;
import static java.lang.foreign.ValueLayout.JAVA_INT;
import static java.lang.foreign.ValueLayout.JAVA_SHORT;

import com.qel.internet.rk.common.CMNCluster;
import java.lang.foreign.Arena;
import java.lang.foreign.FunctionDescriptor;
import java.lang.foreign.Linker;
import java.lang.foreign.MemoryLayout;
import java.lang.foreign.MemorySegment;
import java.lang.foreign.StructLayout;
import java.lang.foreign.SymbolLookup;
import java.lang.invoke.MethodHandle;

/** The foreign-function API: layouts and offsets as constants, accesses to one block that the compiler sees through. */
final class ForeignFunctions implements Alternative {
    private static final int BLOCK_BYTES = 64016;
    private static final MemorySegment BLOCK = Arena.global().allocate(BLOCK_BYTES, 8);
    private static final MethodHandle EXC_USER_INPUT = Linker.nativeLinker().downcallHandle(
            SymbolLookup.libraryLookup(System.getProperty("rk.bench.uexc"), Arena.global())
                    .find("EXC_UserInput").orElseThrow(), FunctionDescriptor.of(JAVA_INT, ADDRESS));

    private static final StructLayout HEADER = structLayout(JAVA_INT.withName("command"),
            JAVA_INT.withName("result"), JAVA_INT.withName("reason"), JAVA_INT.withName("length"));
    private static final long COMMAND = offset(HEADER, "command");
    private static final long LENGTH = offset(HEADER, "length");

    private static final StructLayout CLUSTER = structLayout(HEADER, JAVA_INT.withName("address"),
            JAVA_INT.withName("maxPorts"), JAVA_INT.withName("maxServers"), paddingLayout(4),
            JAVA_INT.withName("stickyTimeHigh"), JAVA_INT.withName("stickyTime"), JAVA_SHORT.withName("affinityType"),
            JAVA_SHORT.withName("weightBound"), JAVA_BYTE.withName("type"), JAVA_BYTE.withName("replicate"),
            paddingLayout(2), JAVA_INT.withName("staleTimeoutHigh"), JAVA_INT.withName("staleTimeout"),
            JAVA_INT.withName("sharedBytes"), paddingLayout(4), JAVA_INT.withName("active"),
            JAVA_INT.withName("fresh"), JAVA_INT.withName("specific"), JAVA_INT.withName("system"),
            JAVA_INT.withName("primaryHost"), JAVA_BYTE.withName("setMaxPorts"), JAVA_BYTE.withName("setMaxServers"),
            JAVA_BYTE.withName("setStickyTime"), JAVA_BYTE.withName("setAffinityType"),
            JAVA_BYTE.withName("setWeightBound"), JAVA_BYTE.withName("setType"), JAVA_BYTE.withName("setReplicate"),
            JAVA_BYTE.withName("setStaleTimeout"), JAVA_BYTE.withName("setSharedBandwidth"),
            JAVA_BYTE.withName("setPrimaryHost"), JAVA_BYTE.withName("setProportions"),
            JAVA_BYTE.withName("setAddress"), JAVA_INT.withName("numberOfPorts"), JAVA_INT.withName("key"),
            sequenceLayout(65, JAVA_BYTE).withName("id"), JAVA_BYTE.withName("setNat"), paddingLayout(2),
            sequenceLayout(4, JAVA_BYTE).withName("nat"), paddingLayout(16));
    private static final long CLUSTER_ADDRESS = offset(CLUSTER, "address");
    private static final long CLUSTER_MAX_PORTS = offset(CLUSTER, "maxPorts");
    private static final long CLUSTER_MAX_SERVERS = offset(CLUSTER, "maxServers");
    private static final long CLUSTER_STICKY_TIME_HIGH = offset(CLUSTER, "stickyTimeHigh");
    private static final long CLUSTER_STICKY_TIME = offset(CLUSTER, "stickyTime");
    private static final long CLUSTER_AFFINITY_TYPE = offset(CLUSTER, "affinityType");
    private static final long CLUSTER_WEIGHT_BOUND = offset(CLUSTER, "weightBound");
    private static final long CLUSTER_TYPE = offset(CLUSTER, "type");
    private static final long CLUSTER_REPLICATE = offset(CLUSTER, "replicate");
    private static final long CLUSTER_STALE_TIMEOUT_HIGH = offset(CLUSTER, "staleTimeoutHigh");
    private static final long CLUSTER_STALE_TIMEOUT = offset(CLUSTER, "staleTimeout");
    private static final long CLUSTER_SHARED_BYTES = offset(CLUSTER, "sharedBytes");
    private static final long CLUSTER_ACTIVE = offset(CLUSTER, "active");
    private static final long CLUSTER_FRESH = offset(CLUSTER, "fresh");
    private static final long CLUSTER_SPECIFIC = offset(CLUSTER, "specific");
    private static final long CLUSTER_SYSTEM = offset(CLUSTER, "system");
    private static final long CLUSTER_PRIMARY_HOST = offset(CLUSTER, "primaryHost");
    private static final long CLUSTER_SET_MAX_PORTS = offset(CLUSTER, "setMaxPorts");
    private static final long CLUSTER_SET_MAX_SERVERS = offset(CLUSTER, "setMaxServers");
    private static final long CLUSTER_SET_STICKY_TIME = offset(CLUSTER, "setStickyTime");
    private static final long CLUSTER_SET_AFFINITY_TYPE = offset(CLUSTER, "setAffinityType");
    private static final long CLUSTER_SET_WEIGHT_BOUND = offset(CLUSTER, "setWeightBound");
    private static final long CLUSTER_SET_TYPE = offset(CLUSTER, "setType");
    private static final long CLUSTER_SET_REPLICATE = offset(CLUSTER, "setReplicate");
    private static final long CLUSTER_SET_STALE_TIMEOUT = offset(CLUSTER, "setStaleTimeout");
    private static final long CLUSTER_SET_SHARED_BANDWIDTH = offset(CLUSTER, "setSharedBandwidth");
    private static final long CLUSTER_SET_PRIMARY_HOST = offset(CLUSTER, "setPrimaryHost");
    private static final long CLUSTER_SET_PROPORTIONS = offset(CLUSTER, "setProportions");
    private static final long CLUSTER_SET_ADDRESS = offset(CLUSTER, "setAddress");
    private static final long CLUSTER_KEY = offset(CLUSTER, "key");
    private static final long CLUSTER_ID = offset(CLUSTER, "id");
    private static final long CLUSTER_SET_NAT = offset(CLUSTER, "setNat");
    private static final long CLUSTER_NAT = offset(CLUSTER, "nat");

    private static final StructLayout CLUSTER_REPORT = structLayout(HEADER, JAVA_INT.withName("key"),
            JAVA_INT.withName("address"), JAVA_INT.withName("numberOfPorts"), JAVA_INT.withName("synOnActive"),
            JAVA_INT.withName("synOnFinished"), JAVA_INT.withName("finsDropped"), JAVA_INT.withName("acksDropped"),
            JAVA_INT.withName("rstsDropped"), JAVA_INT.withName("packetsDropped"),
            JAVA_INT.withName("packetsForNoConnection"), JAVA_INT.withName("newWhileQuiesced"), paddingLayout(4),
            JAVA_INT.withName("bytesPerSecond"), JAVA_INT.withName("connectionsPerSecond"));
    private static final long CLUSTER_REPORT_KEY = offset(CLUSTER_REPORT, "key");
    private static final long CLUSTER_REPORT_ADDRESS = offset(CLUSTER_REPORT, "address");
    private static final long CLUSTER_REPORT_NUMBER_OF_PORTS = offset(CLUSTER_REPORT, "numberOfPorts");
    private static final long CLUSTER_REPORT_SYN_ON_ACTIVE = offset(CLUSTER_REPORT, "synOnActive");
    private static final long CLUSTER_REPORT_SYN_ON_FINISHED = offset(CLUSTER_REPORT, "synOnFinished");
    private static final long CLUSTER_REPORT_FINS_DROPPED = offset(CLUSTER_REPORT, "finsDropped");
    private static final long CLUSTER_REPORT_ACKS_DROPPED = offset(CLUSTER_REPORT, "acksDropped");
    private static final long CLUSTER_REPORT_RSTS_DROPPED = offset(CLUSTER_REPORT, "rstsDropped");
    private static final long CLUSTER_REPORT_PACKETS_DROPPED = offset(CLUSTER_REPORT, "packetsDropped");
    private static final long CLUSTER_REPORT_PACKETS_FOR_NO_CONNECTION = offset(CLUSTER_REPORT,
            "packetsForNoConnection");
    private static final long CLUSTER_REPORT_NEW_WHILE_QUIESCED = offset(CLUSTER_REPORT, "newWhileQuiesced");
    private static final long CLUSTER_REPORT_BYTES_PER_SECOND = offset(CLUSTER_REPORT, "bytesPerSecond");
    private static final long CLUSTER_REPORT_CONNECTIONS_PER_SECOND = offset(CLUSTER_REPORT, "connectionsPerSecond");

    private static long offset(StructLayout record, String field) {
        return record.byteOffset(groupElement(field));
    }

    private static int exchange(int command, MemoryLayout record) {
        setInt(COMMAND, command);
        setInt(LENGTH, (int) record.byteSize());
        try {
            return (int) EXC_USER_INPUT.invokeExact(BLOCK);
        } catch (Throwable failure) {
            throw new IllegalStateException(failure);
        }
    }

    private static void setInt(long offset, int value) {
        BLOCK.set(JAVA_INT, offset, value);
    }

    private static void setShort(long offset, int value) {
        BLOCK.set(JAVA_SHORT, offset, (short) value);
    }

    private static byte setByte(long offset, int value) {
        BLOCK.set(JAVA_BYTE, offset, (byte) value);
        return (byte) value;
    }

    private static int getInt(long offset) {
        return BLOCK.get(JAVA_INT, offset);
    }

    private static byte getByte(long offset) {
        return BLOCK.get(JAVA_BYTE, offset);
    }

    @Override
    public String name() {
        return "foreign functions";
    }

    @Override
    public int addCluster(CMNCluster from) {
        int failure = Values.checkIdentifier(from.sClusterId);
        if (failure != 0) {
            return failure;
        }
        from.iClusterIdKey = Values.keyOf(from.sClusterId);
        long address = Values.addressOf(from.Address);
        if (address >= 0) {
            setInt(CLUSTER_ADDRESS, (int) address);
        }
        if (setByte(CLUSTER_SET_MAX_PORTS, from.SetMaxNumberOfPorts) == 1) {
            setInt(CLUSTER_MAX_PORTS, from.MaxNumberOfPorts);
        }
        if (setByte(CLUSTER_SET_PRIMARY_HOST, from.SetPrimaryHost) == 1) {
            setInt(CLUSTER_PRIMARY_HOST, (int) Math.max(0, Values.addressOf(from.sPrimaryHost)));
        }
        if (setByte(CLUSTER_SET_MAX_SERVERS, from.SetDefaultPortMaxServers) == 1) {
            setInt(CLUSTER_MAX_SERVERS, from.DefaultPortMaxServers);
        }
        if (setByte(CLUSTER_SET_STICKY_TIME, from.SetDefaultPortStickyTime) == 1) {
            setInt(CLUSTER_STICKY_TIME, from.DefaultPortStickyTime);
            setInt(CLUSTER_STICKY_TIME_HIGH, from.DefaultPortStickyTime >> 31);
        }
        if (setByte(CLUSTER_SET_AFFINITY_TYPE, from.SetDefaultPortAffinityType) == 1) {
            setShort(CLUSTER_AFFINITY_TYPE, from.DefaultPortAffinityType);
        }
        if (setByte(CLUSTER_SET_WEIGHT_BOUND, from.SetDefaultPortWeightBound) == 1) {
            setShort(CLUSTER_WEIGHT_BOUND, from.DefaultPortWeightBound);
        }
        if (setByte(CLUSTER_SET_STALE_TIMEOUT, from.SetDefaultPortStaleTimeout) == 1) {
            setInt(CLUSTER_STALE_TIMEOUT, from.DefaultPortStaleTimeout);
            setInt(CLUSTER_STALE_TIMEOUT_HIGH, from.DefaultPortStaleTimeout >> 31);
        }
        if (setByte(CLUSTER_SET_PROPORTIONS, from.SetClusterProportions) == 1) {
            setInt(CLUSTER_ACTIVE, from.iActiveConnsProp);
            setInt(CLUSTER_FRESH, from.iNewConnsProp);
            setInt(CLUSTER_SPECIFIC, from.iPortSpecificProp);
            setInt(CLUSTER_SYSTEM, from.iSystemProp);
        }
        if (setByte(CLUSTER_SET_SHARED_BANDWIDTH, from.SetSharedBandwidth) == 1) {
            setInt(CLUSTER_SHARED_BYTES, from.iSharedBytesPerSecond);
        }
        if (setByte(CLUSTER_SET_TYPE, from.SetDefaultPortType) == 1) {
            setByte(CLUSTER_TYPE, from.DefaultPortType);
        }
        if (setByte(CLUSTER_SET_REPLICATE, from.SetDefaultPortReplicate) == 1) {
            setByte(CLUSTER_REPLICATE, from.DefaultPortReplicate);
        }
        BLOCK.setString(CLUSTER_ID, from.sClusterId);
        setInt(CLUSTER_KEY, from.iClusterIdKey);
        if (setByte(CLUSTER_SET_ADDRESS, from.SetIPAddress) == 1 && address < 0) {
            return Values.BAD_ADDRESS;
        }
        if (setByte(CLUSTER_SET_NAT, from.SetNatPtAddress) == 1) {
            MemorySegment.copy(from.natPtAddress, 0, BLOCK, JAVA_BYTE, CLUSTER_NAT, 4);
        }
        int status = exchange(ADD_CLUSTER, CLUSTER);
        from.SetMaxNumberOfPorts = getByte(CLUSTER_SET_MAX_PORTS);
        from.SetPrimaryHost = getByte(CLUSTER_SET_PRIMARY_HOST);
        from.SetDefaultPortMaxServers = getByte(CLUSTER_SET_MAX_SERVERS);
        from.SetDefaultPortStickyTime = getByte(CLUSTER_SET_STICKY_TIME);
        from.SetDefaultPortAffinityType = getByte(CLUSTER_SET_AFFINITY_TYPE);
        from.SetDefaultPortWeightBound = getByte(CLUSTER_SET_WEIGHT_BOUND);
        from.SetDefaultPortType = getByte(CLUSTER_SET_TYPE);
        from.SetDefaultPortReplicate = getByte(CLUSTER_SET_REPLICATE);
        from.SetDefaultPortStaleTimeout = getByte(CLUSTER_SET_STALE_TIMEOUT);
        from.SetClusterProportions = getByte(CLUSTER_SET_PROPORTIONS);
        from.SetSharedBandwidth = getByte(CLUSTER_SET_SHARED_BANDWIDTH);
        from.SetIPAddress = getByte(CLUSTER_SET_ADDRESS);
        from.SetNatPtAddress = getByte(CLUSTER_SET_NAT);
        return status == 0 ? 0 : REFUSED;
    }

    @Override
    public int reportCluster(CMNCluster to) {
        Values.addressOf(to.Address);
        setInt(CLUSTER_REPORT_KEY, Values.keyOf(to.sClusterId));
        if (exchange(READ_CLUSTER_REPORT, CLUSTER_REPORT) != 0) {
            return REFUSED;
        }
        to.NumPorts = getInt(CLUSTER_REPORT_NUMBER_OF_PORTS);
        to.SYNonActive = getInt(CLUSTER_REPORT_SYN_ON_ACTIVE);
        to.SYNonFINNed = getInt(CLUSTER_REPORT_SYN_ON_FINISHED);
        to.FINs_Dropped = getInt(CLUSTER_REPORT_FINS_DROPPED);
        to.ACKs_Dropped = getInt(CLUSTER_REPORT_ACKS_DROPPED);
        to.RSTs_Dropped = getInt(CLUSTER_REPORT_RSTS_DROPPED);
        to.PKTs_Dropped = getInt(CLUSTER_REPORT_PACKETS_DROPPED);
        to.PKTnonExisting = getInt(CLUSTER_REPORT_PACKETS_FOR_NO_CONNECTION);
        to.QuiescNew = getInt(CLUSTER_REPORT_NEW_WHILE_QUIESCED);
        to.iBytesPerSecond = getInt(CLUSTER_REPORT_BYTES_PER_SECOND);
        to.iConnectionsPerSecond = getInt(CLUSTER_REPORT_CONNECTIONS_PER_SECOND);
        to.iClusterIdKey = getInt(CLUSTER_REPORT_KEY);
        to.Address = Values.textOf(getInt(CLUSTER_REPORT_ADDRESS));
        return 0;
    }

    @Override
    public void clear() {
        BLOCK.fill((byte) 0);
    }
}
