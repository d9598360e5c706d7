package rk.bench;

import com.qel.internet.rk.common.CMNCluster;
import com.sun.jna.Memory;
import com.sun.jna.Native;
import com.sun.jna.Pointer;
import com.sun.jna.Structure;
import com.sun.jna.Structure.FieldOrder;
import java.nio.charset.StandardCharsets;

/** JNA: structures over one block, and the executor's entry as a directly mapped method, which is JNA's fastest way. */
final class JnaStructures implements Alternative {
    private static final int BLOCK_BYTES = 64016;
    private static final Memory BLOCK = new Memory(BLOCK_BYTES);

    static {
        Native.register(JnaStructures.class, "uexc");
        BLOCK.clear();
    }

    private static native int EXC_UserInput(Pointer block);

    /** What the executor kept of the last block: only for the check before the measurement. */
    static native void rk_bench_keep_blocks(int keep);

    static native int rk_bench_last_block(byte[] bytes, int room);

    public static class Header extends Structure {
        public int command;
        public int result;
        public int reason;
        public int length;

        Header(int command) {
            super(BLOCK);
            this.command = command;
        }

        /** Sends the fields and takes the reply's. */
        final int exchange() {
            length = size();
            write();
            int status = EXC_UserInput(BLOCK);
            read();
            return status;
        }
    }

    @FieldOrder({"command", "result", "reason", "length", "address", "maxPorts", "maxServers", "unused28",
        "stickyTimeHigh", "stickyTime", "affinityType", "weightBound", "type", "replicate", "unused46",
        "staleTimeoutHigh", "staleTimeout", "sharedBytes", "unused60", "active", "fresh", "specific", "system",
        "primaryHost", "setMaxPorts", "setMaxServers", "setStickyTime", "setAffinityType", "setWeightBound", "setType",
        "setReplicate", "setStaleTimeout", "setSharedBandwidth", "setPrimaryHost", "setProportions", "setAddress",
        "numberOfPorts", "key", "id", "setNat", "unused170", "nat", "unused176"})
    public static final class ClusterRecord extends Header {
        public int address;
        public int maxPorts;
        public int maxServers;
        public int unused28;
        public int stickyTimeHigh;
        public int stickyTime;
        public short affinityType;
        public short weightBound;
        public byte type;
        public byte replicate;
        public short unused46;
        public int staleTimeoutHigh;
        public int staleTimeout;
        public int sharedBytes;
        public int unused60;
        public int active;
        public int fresh;
        public int specific;
        public int system;
        public int primaryHost;
        public byte setMaxPorts;
        public byte setMaxServers;
        public byte setStickyTime;
        public byte setAffinityType;
        public byte setWeightBound;
        public byte setType;
        public byte setReplicate;
        public byte setStaleTimeout;
        public byte setSharedBandwidth;
        public byte setPrimaryHost;
        public byte setProportions;
        public byte setAddress;
        public int numberOfPorts;
        public int key;
        public byte[] id = new byte[65];
        public byte setNat;
        public short unused170;
        public byte[] nat = new byte[4];
        public byte[] unused176 = new byte[16];

        ClusterRecord() {
            super(ADD_CLUSTER);
        }
    }

    @FieldOrder({"command", "result", "reason", "length", "key", "address", "numberOfPorts", "synOnActive",
        "synOnFinished", "finsDropped", "acksDropped", "rstsDropped", "packetsDropped", "packetsForNoConnection",
        "newWhileQuiesced", "unused60", "bytesPerSecond", "connectionsPerSecond"})
    public static final class ClusterReport extends Header {
        public int key;
        public int address;
        public int numberOfPorts;
        public int synOnActive;
        public int synOnFinished;
        public int finsDropped;
        public int acksDropped;
        public int rstsDropped;
        public int packetsDropped;
        public int packetsForNoConnection;
        public int newWhileQuiesced;
        public int unused60;
        public int bytesPerSecond;
        public int connectionsPerSecond;

        ClusterReport() {
            super(READ_CLUSTER_REPORT);
        }
    }

    private final ClusterRecord cluster = new ClusterRecord();
    private final ClusterReport clusterReport = new ClusterReport();

    @Override
    public String name() {
        return "JNA";
    }

    @Override
    public int addCluster(CMNCluster from) {
        ClusterRecord record = cluster;
        int failure = Values.checkIdentifier(from.sClusterId);
        if (failure != 0) {
            return failure;
        }
        from.iClusterIdKey = Values.keyOf(from.sClusterId);
        long address = Values.addressOf(from.Address);
        if (address >= 0) {
            record.address = (int) address;
        }
        if ((record.setMaxPorts = from.SetMaxNumberOfPorts) == 1) {
            record.maxPorts = from.MaxNumberOfPorts;
        }
        if ((record.setPrimaryHost = from.SetPrimaryHost) == 1) {
            record.primaryHost = (int) Math.max(0, Values.addressOf(from.sPrimaryHost));
        }
        if ((record.setMaxServers = from.SetDefaultPortMaxServers) == 1) {
            record.maxServers = from.DefaultPortMaxServers;
        }
        if ((record.setStickyTime = from.SetDefaultPortStickyTime) == 1) {
            record.stickyTime = from.DefaultPortStickyTime;
            record.stickyTimeHigh = record.stickyTime >> 31;
        }
        if ((record.setAffinityType = from.SetDefaultPortAffinityType) == 1) {
            record.affinityType = (short) from.DefaultPortAffinityType;
        }
        if ((record.setWeightBound = from.SetDefaultPortWeightBound) == 1) {
            record.weightBound = (short) from.DefaultPortWeightBound;
        }
        if ((record.setStaleTimeout = from.SetDefaultPortStaleTimeout) == 1) {
            record.staleTimeout = from.DefaultPortStaleTimeout;
            record.staleTimeoutHigh = record.staleTimeout >> 31;
        }
        if ((record.setProportions = from.SetClusterProportions) == 1) {
            record.active = from.iActiveConnsProp;
            record.fresh = from.iNewConnsProp;
            record.specific = from.iPortSpecificProp;
            record.system = from.iSystemProp;
        }
        if ((record.setSharedBandwidth = from.SetSharedBandwidth) == 1) {
            record.sharedBytes = from.iSharedBytesPerSecond;
        }
        if ((record.setType = from.SetDefaultPortType) == 1) {
            record.type = (byte) from.DefaultPortType;
        }
        if ((record.setReplicate = from.SetDefaultPortReplicate) == 1) {
            record.replicate = (byte) from.DefaultPortReplicate;
        }
        byte[] id = from.sClusterId.getBytes(StandardCharsets.UTF_8);
        System.arraycopy(id, 0, record.id, 0, id.length);
        record.id[id.length] = 0;
        record.key = from.iClusterIdKey;
        if ((record.setAddress = from.SetIPAddress) == 1 && address < 0) {
            return Values.BAD_ADDRESS;
        }
        if ((record.setNat = from.SetNatPtAddress) == 1) {
            System.arraycopy(from.natPtAddress, 0, record.nat, 0, record.nat.length);
        }
        int status = record.exchange();
        from.SetMaxNumberOfPorts = record.setMaxPorts;
        from.SetPrimaryHost = record.setPrimaryHost;
        from.SetDefaultPortMaxServers = record.setMaxServers;
        from.SetDefaultPortStickyTime = record.setStickyTime;
        from.SetDefaultPortAffinityType = record.setAffinityType;
        from.SetDefaultPortWeightBound = record.setWeightBound;
        from.SetDefaultPortType = record.setType;
        from.SetDefaultPortReplicate = record.setReplicate;
        from.SetDefaultPortStaleTimeout = record.setStaleTimeout;
        from.SetClusterProportions = record.setProportions;
        from.SetSharedBandwidth = record.setSharedBandwidth;
        from.SetIPAddress = record.setAddress;
        from.SetNatPtAddress = record.setNat;
        return status == 0 ? 0 : REFUSED;
    }

    @Override
    public int reportCluster(CMNCluster to) {
        ClusterReport record = clusterReport;
        Values.addressOf(to.Address);
        record.key = Values.keyOf(to.sClusterId);
        if (record.exchange() != 0) {
            return REFUSED;
        }
        to.NumPorts = record.numberOfPorts;
        to.SYNonActive = record.synOnActive;
        to.SYNonFINNed = record.synOnFinished;
        to.FINs_Dropped = record.finsDropped;
        to.ACKs_Dropped = record.acksDropped;
        to.RSTs_Dropped = record.rstsDropped;
        to.PKTs_Dropped = record.packetsDropped;
        to.PKTnonExisting = record.packetsForNoConnection;
        to.QuiescNew = record.newWhileQuiesced;
        to.iBytesPerSecond = record.bytesPerSecond;
        to.iConnectionsPerSecond = record.connectionsPerSecond;
        to.iClusterIdKey = record.key;
        to.Address = Values.textOf(record.address);
        return 0;
    }

    /** The Java fields are what the next call writes, so they are zeroed with the block. */
    @Override
    public void clear() {
        BLOCK.clear();
        for (Header record : new Header[] {cluster, clusterReport}) {
            int command = record.command;
            record.read();
            record.command = command;
        }
    }
}
