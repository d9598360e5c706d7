package rk.bench;

import com.qel.internet.rk.common.CMNCluster;
import jnr.ffi.LibraryLoader;
import jnr.ffi.NativeType;
import jnr.ffi.Pointer;
import jnr.ffi.Runtime;
import jnr.ffi.Struct;

/** JNR-FFI: structures over one block, and the executor's entry as a method of an interface. */
final class JnrStructures implements Alternative {
    /** What is taken from the executor. */
    public interface Uexc {
        int EXC_UserInput(Pointer block);
    }

    private static final int BLOCK_BYTES = 64016;
    private static final Uexc EXECUTOR = LibraryLoader.create(Uexc.class).load("uexc");
    private static final Runtime RUNTIME = Runtime.getRuntime(EXECUTOR);
    private static final Pointer BLOCK = RUNTIME.getMemoryManager().allocateDirect(BLOCK_BYTES, true);

    static class Header extends Struct {
        final Signed32 command = new Signed32();
        final Signed32 result = new Signed32();
        final Signed32 reason = new Signed32();
        final Signed32 length = new Signed32();
        private final int code;

        Header(int code) {
            super(RUNTIME);
            this.code = code;
            useMemory(BLOCK);
        }

        final int exchange() {
            command.set(code);
            length.set(size(this));
            return EXECUTOR.EXC_UserInput(BLOCK);
        }
    }

    static final class ClusterRecord extends Header {
        final Signed32 address = new Signed32();
        final Signed32 maxPorts = new Signed32();
        final Signed32 maxServers = new Signed32();
        final Padding unused28 = new Padding(NativeType.UCHAR, 4);
        final Signed32 stickyTimeHigh = new Signed32();
        final Signed32 stickyTime = new Signed32();
        final Signed16 affinityType = new Signed16();
        final Signed16 weightBound = new Signed16();
        final Signed8 type = new Signed8();
        final Signed8 replicate = new Signed8();
        final Padding unused46 = new Padding(NativeType.UCHAR, 2);
        final Signed32 staleTimeoutHigh = new Signed32();
        final Signed32 staleTimeout = new Signed32();
        final Signed32 sharedBytes = new Signed32();
        final Padding unused60 = new Padding(NativeType.UCHAR, 4);
        final Signed32 active = new Signed32();
        final Signed32 fresh = new Signed32();
        final Signed32 specific = new Signed32();
        final Signed32 system = new Signed32();
        final Signed32 primaryHost = new Signed32();
        final Signed8 setMaxPorts = new Signed8();
        final Signed8 setMaxServers = new Signed8();
        final Signed8 setStickyTime = new Signed8();
        final Signed8 setAffinityType = new Signed8();
        final Signed8 setWeightBound = new Signed8();
        final Signed8 setType = new Signed8();
        final Signed8 setReplicate = new Signed8();
        final Signed8 setStaleTimeout = new Signed8();
        final Signed8 setSharedBandwidth = new Signed8();
        final Signed8 setPrimaryHost = new Signed8();
        final Signed8 setProportions = new Signed8();
        final Signed8 setAddress = new Signed8();
        final Signed32 numberOfPorts = new Signed32();
        final Signed32 key = new Signed32();
        final UTF8String id = new UTF8String(65);
        final Signed8 setNat = new Signed8();
        final Padding unused170 = new Padding(NativeType.UCHAR, 2);
        final Signed8[] nat = array(new Signed8[4]);
        final Padding unused176 = new Padding(NativeType.UCHAR, 16);

        ClusterRecord() {
            super(ADD_CLUSTER);
        }
    }

    static final class ClusterReport extends Header {
        final Signed32 key = new Signed32();
        final Signed32 address = new Signed32();
        final Signed32 numberOfPorts = new Signed32();
        final Signed32 synOnActive = new Signed32();
        final Signed32 synOnFinished = new Signed32();
        final Signed32 finsDropped = new Signed32();
        final Signed32 acksDropped = new Signed32();
        final Signed32 rstsDropped = new Signed32();
        final Signed32 packetsDropped = new Signed32();
        final Signed32 packetsForNoConnection = new Signed32();
        final Signed32 newWhileQuiesced = new Signed32();
        final Padding unused60 = new Padding(NativeType.UCHAR, 4);
        final Signed32 bytesPerSecond = new Signed32();
        final Signed32 connectionsPerSecond = new Signed32();

        ClusterReport() {
            super(READ_CLUSTER_REPORT);
        }
    }

    private final ClusterRecord cluster = new ClusterRecord();
    private final ClusterReport clusterReport = new ClusterReport();

    @Override
    public String name() {
        return "JNR-FFI";
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
            record.address.set((int) address);
        }
        record.setMaxPorts.set(from.SetMaxNumberOfPorts);
        if (from.SetMaxNumberOfPorts == 1) {
            record.maxPorts.set(from.MaxNumberOfPorts);
        }
        record.setPrimaryHost.set(from.SetPrimaryHost);
        if (from.SetPrimaryHost == 1) {
            record.primaryHost.set((int) Math.max(0, Values.addressOf(from.sPrimaryHost)));
        }
        record.setMaxServers.set(from.SetDefaultPortMaxServers);
        if (from.SetDefaultPortMaxServers == 1) {
            record.maxServers.set(from.DefaultPortMaxServers);
        }
        record.setStickyTime.set(from.SetDefaultPortStickyTime);
        if (from.SetDefaultPortStickyTime == 1) {
            record.stickyTime.set(from.DefaultPortStickyTime);
            record.stickyTimeHigh.set(record.stickyTime.get() >> 31);
        }
        record.setAffinityType.set(from.SetDefaultPortAffinityType);
        if (from.SetDefaultPortAffinityType == 1) {
            record.affinityType.set((short) from.DefaultPortAffinityType);
        }
        record.setWeightBound.set(from.SetDefaultPortWeightBound);
        if (from.SetDefaultPortWeightBound == 1) {
            record.weightBound.set((short) from.DefaultPortWeightBound);
        }
        record.setStaleTimeout.set(from.SetDefaultPortStaleTimeout);
        if (from.SetDefaultPortStaleTimeout == 1) {
            record.staleTimeout.set(from.DefaultPortStaleTimeout);
            record.staleTimeoutHigh.set(record.staleTimeout.get() >> 31);
        }
        record.setProportions.set(from.SetClusterProportions);
        if (from.SetClusterProportions == 1) {
            record.active.set(from.iActiveConnsProp);
            record.fresh.set(from.iNewConnsProp);
            record.specific.set(from.iPortSpecificProp);
            record.system.set(from.iSystemProp);
        }
        record.setSharedBandwidth.set(from.SetSharedBandwidth);
        if (from.SetSharedBandwidth == 1) {
            record.sharedBytes.set(from.iSharedBytesPerSecond);
        }
        record.setType.set(from.SetDefaultPortType);
        if (from.SetDefaultPortType == 1) {
            record.type.set((byte) from.DefaultPortType);
        }
        record.setReplicate.set(from.SetDefaultPortReplicate);
        if (from.SetDefaultPortReplicate == 1) {
            record.replicate.set((byte) from.DefaultPortReplicate);
        }
        record.id.set(from.sClusterId);
        record.key.set(from.iClusterIdKey);
        record.setAddress.set(from.SetIPAddress);
        if (from.SetIPAddress == 1 && address < 0) {
            return Values.BAD_ADDRESS;
        }
        record.setNat.set(from.SetNatPtAddress);
        if (from.SetNatPtAddress == 1) {
            for (int i = 0; i < record.nat.length; i++) {
                record.nat[i].set(from.natPtAddress[i]);
            }
        }
        int status = record.exchange();
        from.SetMaxNumberOfPorts = record.setMaxPorts.get();
        from.SetPrimaryHost = record.setPrimaryHost.get();
        from.SetDefaultPortMaxServers = record.setMaxServers.get();
        from.SetDefaultPortStickyTime = record.setStickyTime.get();
        from.SetDefaultPortAffinityType = record.setAffinityType.get();
        from.SetDefaultPortWeightBound = record.setWeightBound.get();
        from.SetDefaultPortType = record.setType.get();
        from.SetDefaultPortReplicate = record.setReplicate.get();
        from.SetDefaultPortStaleTimeout = record.setStaleTimeout.get();
        from.SetClusterProportions = record.setProportions.get();
        from.SetSharedBandwidth = record.setSharedBandwidth.get();
        from.SetIPAddress = record.setAddress.get();
        from.SetNatPtAddress = record.setNat.get();
        return status == 0 ? 0 : REFUSED;
    }

    @Override
    public int reportCluster(CMNCluster to) {
        ClusterReport record = clusterReport;
        Values.addressOf(to.Address);
        record.key.set(Values.keyOf(to.sClusterId));
        if (record.exchange() != 0) {
            return REFUSED;
        }
        to.NumPorts = record.numberOfPorts.get();
        to.SYNonActive = record.synOnActive.get();
        to.SYNonFINNed = record.synOnFinished.get();
        to.FINs_Dropped = record.finsDropped.get();
        to.ACKs_Dropped = record.acksDropped.get();
        to.RSTs_Dropped = record.rstsDropped.get();
        to.PKTs_Dropped = record.packetsDropped.get();
        to.PKTnonExisting = record.packetsForNoConnection.get();
        to.QuiescNew = record.newWhileQuiesced.get();
        to.iBytesPerSecond = record.bytesPerSecond.get();
        to.iConnectionsPerSecond = record.connectionsPerSecond.get();
        to.iClusterIdKey = record.key.get();
        to.Address = Values.textOf(record.address.get());
        return 0;
    }

    @Override
    public void clear() {
        BLOCK.setMemory(0, BLOCK_BYTES, (byte) 0);
    }
}
