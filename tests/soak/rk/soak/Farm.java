package rk.soak;

import com.qel.internet.rk.common.CMNAddressConfig;
import com.qel.internet.rk.common.CMNAffinityRequest;
import com.qel.internet.rk.common.CMNAttackListener;
import com.qel.internet.rk.common.CMNCluster;
import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNExecutorReport;
import com.qel.internet.rk.common.CMNExecutorStatus;
import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNListener;
import com.qel.internet.rk.common.CMNPort;
import com.qel.internet.rk.common.CMNRule;
import com.qel.internet.rk.common.CMNServer;
import com.qel.internet.rk.common.CMNServerWeights;

/** The days of a web farm, with all native methods: it is built up, changed, looked at, and taken down again. */
public final class Farm {
    private static final int PORT = 80;
    private static final int CLUSTER_ADDRESS = 0x0A00000A;
    private static final int CLIENT_ADDRESS = 0xC0A80701;

    private final CMNExecutorInterface natives = new CMNExecutorInterface();
    private final CMNHAStatus haStatus = new CMNHAStatus();
    private final CMNAffinityRequest affinities = new CMNAffinityRequest();
    private final CMNServerWeights weights;
    private final Attackers attackers = new Attackers();
    private final int servers; // their number, below 100
    private final int[] keys;
    private String cluster;

    /** Calls of native methods so far. */
    long calls;

    /** What half-open connections and attackers are told to. */
    private static final class Attackers implements CMNAttackListener {
        private int told;

        @Override
        public void setNumHalfOpenRecs(int count) {
            told++;
        }

        @Override
        public void addHalfOpenRec(int index, int address, int port, boolean flag) {
            told++;
        }

        @Override
        public void reportAttackingAddrsResults(int count, int summary) {
            told++;
        }

        @Override
        public void reportAttackingAddr(int address, int value) {
            told++;
        }
    }

    Farm(int servers) {
        this.servers = servers;
        weights = new CMNServerWeights(servers);
        keys = new int[servers];
    }

    /** Farm SERVERS DAYS. */
    public static void main(String[] arguments) {
        Farm farm = new Farm(Integer.parseInt(arguments[0]));
        farm.begin();
        for (int day = 0; day < Integer.parseInt(arguments[1]); day++) {
            farm.day(day);
        }
        farm.end();
    }

    /** Begins with an executor in user space. Its log and folder are set once: the executor keeps these texts. */
    void begin() {
        natives.setKVAServerModalityNative(1);
        expect(0, natives.loadUserExecutorNative());
        expect(0, natives.userExecutorProcessInitNative());
        check(natives.userExecutorSetInstallPathNative("/tmp"));
        check(natives.userExecutorSetLogNative(""));
        expect(0, natives.startUserExecutorNative());
        calls += 6;
    }

    void end() {
        expect(0, natives.stopUserExecutorNative());
        expect(0, natives.userExecutorProcessTermNative());
        calls += 2;
    }

    /** One day. */
    void day(int number) {
        cluster = "farm" + number % 10;
        if (number % 100 == 0) {
            restart();
        }
        executor();
        build();
        servers();
        weights();
        rules();
        highAvailability();
        interfaces();
        connections();
        affinities();
        diagnostics();
        refusals();
        withoutKernel();
        takeDown();
    }

    private void restart() {
        expect(0, natives.stopUserExecutorNative());
        expect(0, natives.userExecutorProcessTermNative());
        expect(0, natives.userExecutorProcessInitNative());
        expect(0, natives.startUserExecutorNative());
        check(natives.userExecutorStartedNative());
        calls++;
    }

    private void executor() {
        CMNExecutorStatus status = new CMNExecutorStatus();
        status.NFA = "10.0.0.2";
        status.SetNonForwardingAddress = 1;
        status.FINTimeout = 45;
        status.SetFINTimeout = 1;
        status.SetSecondsWestOfGreenwich = 1;
        expect(0, natives.setExecutorStatusNative(status));
        expect(0, natives.getExecutorStatusNative(status));
        check(status.FINTimeout == 45);
        CMNExecutorReport report = new CMNExecutorReport();
        report.iConnectionsPerSecond = 120;
        expect(0, natives.setExecutorCPSNative(report));
        expect(0, natives.getExecutorReportNative(report));
        check(report.iConnectionsPerSecond == 120 && report.NumClusters == 0);
        expect(0, natives.checkMaxClustersNative(1));
        expect(0, natives.checkMaxPortsNative(1));
        expect(0, natives.checkMaxServersNative(1));
        natives.setKeyIsIpAddrNative(0);
        check(natives.calcClusterIdKeyNative(cluster, "") != 0);
        calls += 2;
    }

    private void build() {
        CMNCluster shop = aCluster();
        shop.Address = "10.0.0.10";
        shop.MaxNumberOfPorts = 8;
        shop.SetMaxNumberOfPorts = 1;
        expect(0, natives.addClusterNative(shop));
        expect(-4, natives.addClusterNative(shop));
        shop.DefaultPortStickyTime = 300;
        shop.SetDefaultPortStickyTime = 1;
        expect(0, natives.setClusterStatusNative(shop));
        expect(0, natives.getClusterStatusNative(shop));
        check(shop.DefaultPortStickyTime == 300);
        shop.iConnectionsPerSecond = 7;
        expect(0, natives.setClusterCPSNative(shop));
        expect(0, natives.getClusterReportNative(shop));
        check(shop.iConnectionsPerSecond == 7);
        StringBuffer list = new StringBuffer();
        expect(0, natives.getClustersListNative(list));
        check(list.toString().equals("+" + cluster));

        CMNPort port = aPort();
        port.MaxNumberOfServers = servers + 1;
        port.SetMaxNumberOfServers = 1;
        expect(0, natives.addPortNative(port));
        port.WeightBound = 50;
        port.SetWeightBound = 1;
        expect(0, natives.setPortStatusNative(port));
        expect(0, natives.getPortStatusNative(port));
        check(port.WeightBound == 50);
        port.iConnectionsPerSecond = 9;
        expect(0, natives.setPortCPSNative(port));
        expect(0, natives.getPortReportNative(port));
        check(port.iConnectionsPerSecond == 9);
        list.setLength(0);
        expect(0, natives.getPortsListNative(cluster, list));
        check(list.toString().equals("+" + PORT));
    }

    private void servers() {
        StringBuilder names = new StringBuilder();
        for (int i = 0; i < servers; i++) {
            CMNServer server = aServer(i);
            server.addListener(new CMNListener(addressOf(i), 8080));
            server.SetListeners = 1;
            expect(0, natives.addServerNative(server));
            names.append('+').append(server.sServerID);
            server._iWeight = 20 + i % 20;
            server.SetWeight = 1;
            expect(0, natives.setServerStatusNative(server));
            CMNServer read = aServer(i);
            read.iServerIdKey = server.iServerIdKey;
            expect(0, natives.getServerStatusNative(read));
            check(read._iWeight == 20 + i % 20 && read.getListener(0).getIntAddress() == addressOf(i));
            read._iCPSCount = 3;
            expect(0, natives.setServerCPSNative(read));
            expect(0, natives.getServerReportNative(read));
        }
        CMNServer first = aServer(0);
        natives.calcClusterIdKeyNative(first.sServerID, "");
        calls++;
        StringBuffer list = new StringBuffer();
        expect(0, natives.getServersListNative(cluster, PORT, list, keys));
        check(list.toString().contentEquals(names));
        first.iServerIdKey = keys[0];
        expect(0, natives.setServerDownNative(first));
        expect(0, natives.setServerUpNative(first));
        CMNServer host = new CMNServer();
        host.sServerID = nameOf(0);
        natives.setHostDownNative(host);
        natives.setHostUpNative(host);
        natives.removeHostNative(host);
        calls += 3;
    }

    private void weights() {
        weights.sClusterID = cluster;
        weights.iPortNumber = PORT;
        expect(0, natives.getServerWeightsNative(weights, servers));
        check(weights.sServerID[1].equals(nameOf(1)) && weights.iWeight[1] == 21);
        for (int i = 0; i < servers; i++) {
            weights.iServerIdKey[i] = keys[i];
            weights.iWeight[i] = 30 + i % 20;
        }
        expect(0, natives.setServerWeightsNative(weights, servers));
        check(weights.iRC[servers - 1] == 0);
    }

    private void rules() {
        CMNRule rule = aRule();
        rule.RuleType = 1;
        rule.SetRuleType = 1;
        rule.AddressBeginRange = "192.168.0.0";
        rule.SetBeginRange = 1;
        rule.AddressEndRange = "192.168.255.255";
        rule.SetEndRange = 1;
        expect(0, natives.addRuleNative(rule));
        expect(0, natives.setRuleStatusNative(rule));
        expect(0, natives.getRuleStatusNative(rule));
        rule.iConnectionsPerSecond = 5;
        expect(0, natives.setRuleCPSNative(rule));
        expect(0, natives.getRuleReportNative(rule));
        check(rule.iConnectionsPerSecond == 5);
        StringBuffer list = new StringBuffer();
        expect(0, natives.getRulesListNative(cluster, PORT, list));
        check(list.toString().equals("+office"));
        CMNServer server = aServer(2);
        server.iServerIdKey = keys[2];
        expect(0, natives.addServertoRuleNative(rule, server, 0));
        expect(-60, natives.addServertoRuleNative(rule, server, 0));
        rule.NumServers = 1;
        list.setLength(0);
        expect(0, natives.getRuleServersListNative(rule, list));
        check(list.toString().equals("+" + server.sServerID));
        expect(0, natives.removeServerfromRuleNative(rule, server, 0));
        expect(0, natives.removeRuleNative(rule));
    }

    private void highAvailability() {
        expect(0, natives.backupAddNative(0, 0, "12345"));
        expect(0, natives.addHBNative("10.0.0.2", "10.0.0.3"));
        expect(-44, natives.addHBNative("10.0.0.2", "10.0.0.3"));
        expect(0, natives.addReachNative("10.0.0.1", "255.255.255.0", 1));
        expect(0, natives.chgReachNative(0, 1, 2));
        expect(0, natives.setTimersNative("2", "2", "5", "5", "10", "10", "30"));
        expect(0, natives.takeoverNative("10.0.0.10"));
        expect(0, natives.getHAInfoNative(haStatus));
        check(haStatus.haHBCount == 1 && haStatus.haReachCount == 1);
        expect(0, natives.delHBNative("10.0.0.3"));
        expect(0, natives.delReachNative("10.0.0.1"));
        expect(0, natives.backupDelNative());
    }

    /** No interface is on the subnet of these addresses, so nothing of the machine changes. */
    private void interfaces() {
        natives.setInterfacesNative(null);
        check(natives.getNicAddrNative(0x7F000035, 0) == 0x7F000001);
        expect(-1, natives.getInterfaceListNative(null, null));
        CMNAddressConfig config = new CMNAddressConfig();
        config.Address = "203.0.113.9";
        expect(-62, natives.configureAddressNative(config));
        expect(-63, natives.unconfigureAddressNative(config));
        expect(-63, natives.clusterConfigureStatusNative(config));
        expect(-63, natives.getAddressConfigureInfoNative(config));
        calls += 3;
    }

    private void connections() {
        expect(0, natives.allocateConnectionNative(CLUSTER_ADDRESS, 1, CLIENT_ADDRESS, 40001, PORT, addressOf(0)));
        expect(0, natives.allocateConnectionNative(CLUSTER_ADDRESS, 0, CLIENT_ADDRESS, 40002, PORT, addressOf(0)));
        check(natives.getConnectionInfoNative(CLUSTER_ADDRESS, PORT, 0, 0, 0, 0, 1).contains("192.168.7.1"));
        attackers.told = 0;
        expect(0, natives.getHalfOpenInfoNative(attackers));
        expect(0, natives.getAttackingAddrsNative(attackers, CLUSTER_ADDRESS, PORT));
        check(attackers.told == 4);
        expect(0, natives.xDOSAttackNative(1, 2, 3, 4, 5, 6, 7, 8));
        expect(0, natives.deallocateConnectionNative(CLUSTER_ADDRESS, 1, CLIENT_ADDRESS, 40001, PORT, addressOf(0)));
        calls++;
    }

    private void affinities() {
        affinities.iCommand = 1;
        affinities.iClusterAddr = CLUSTER_ADDRESS;
        affinities.iPort = PORT;
        affinities.iNumAffinities = servers;
        for (int i = 0; i < servers; i++) {
            affinities.aiClientAddr[i] = CLIENT_ADDRESS + i;
            affinities.aiServerAddr[i] = addressOf(i);
        }
        expect(0, natives.serverDirectedAffinityNative(affinities));
        affinities.iCommand = 3;
        affinities.iNumAffinities = 0;
        expect(0, natives.serverDirectedAffinityNative(affinities));
        check(natives.getAffinityInfoNative(CLUSTER_ADDRESS, PORT, 1).contains("192.168.7.1"));
        calls += 3;
    }

    private void diagnostics() {
        for (int subCommand : new int[] {0, 1, 8, 10, 11, 12, 30, 43, 99}) {
            check(natives.xmiscNative(subCommand, 0, 0, 0).length() > 2);
        }
        check(natives.xloglevelNative(3).length() > 100);
        check(natives.xlogfilterNative(0).length() > 100);
        check(natives.xlogheadNative(4000, 0).length() > 100);
        check(natives.xlogtailNative(60000).length() > 100);
        check(natives.xlogclearNative().length() > 100);
        calls += 14;
        CMNIcmp icmp = new CMNIcmp();
        icmp.iGotIcmpResp = 1;
        expect(0, natives.setIcmpInfoNative(icmp));
        expect(0, natives.getIcmpInfoNative(icmp));
    }

    /** What goes wrong, on either side. */
    private void refusals() {
        CMNCluster nobody = new CMNCluster();
        nobody.sClusterId = "nobody";
        expect(-5, natives.getClusterStatusNative(nobody));
        nobody.sClusterId = "x".repeat(65);
        expect(-90, natives.addClusterNative(nobody));
        nobody.sClusterId = null;
        expect(-88, natives.removeClusterNative(nobody));
        CMNPort outside = aPort();
        outside.PortNumber = 65536;
        expect(-10, natives.addPortNative(outside));
        outside.PortNumber = 81;
        expect(-12, natives.getPortStatusNative(outside));
        expect(-47, natives.addReachNative("10.0.0.256", "255.0.0.0", 1));
        try {
            natives.getServerStatusNative(null);
            check(false);
        } catch (NullPointerException thrown) {
            calls++;
        }
    }

    /** What looks for the kernel's executor; it is not sent anything. */
    private void withoutKernel() {
        natives.isLoadedNative();
        natives.linuxUpNative();
        expect(0, natives.solarisUpNative());
        expect(0, natives.HPUpNative());
        check(natives.ScriptPrefixNative().isEmpty());
        check(natives.stopExecutorNative().equals("EOK"));
        check(!natives.updateKernelNative().isEmpty());
        natives.setKVAServerModalityNative(0);
        natives.setKVAServerModalityNative(1);
        calls += 7;
    }

    private void takeDown() {
        CMNServer last = aServer(servers - 1);
        last.iServerIdKey = keys[servers - 1];
        expect(0, natives.removeServerNative(last));
        expect(0, natives.removePortNative(aPort()));
        expect(0, natives.removeClusterNative(aCluster()));
    }

    private CMNCluster aCluster() {
        CMNCluster object = new CMNCluster();
        object.sClusterId = cluster;
        return object;
    }

    private CMNPort aPort() {
        CMNPort object = new CMNPort();
        object.ClusterId = cluster;
        object.PortNumber = PORT;
        return object;
    }

    private CMNServer aServer(int number) {
        CMNServer object = new CMNServer();
        object.ClusterId = cluster;
        object.Port = PORT;
        object.sServerID = nameOf(number);
        return object;
    }

    /** A server is named by its address, so that affinities find it. */
    private static String nameOf(int server) {
        return "10.0." + (server + 1) + ".1";
    }

    private static int addressOf(int server) {
        return 0x0A000001 + (server + 1 << 8);
    }

    private CMNRule aRule() {
        CMNRule object = new CMNRule();
        object.ClusterId = cluster;
        object.PortNumber = PORT;
        object.RuleName = "office";
        return object;
    }

    /** Counts a call, whose status is to be this. */
    private void expect(int expected, int actual) {
        calls++;
        if (actual != expected) {
            throw new IllegalStateException("status " + actual + ", not " + expected);
        }
    }

    private static void check(boolean holds) {
        if (!holds) {
            throw new IllegalStateException("not the expected answer");
        }
    }
}
