package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;
import static com.qel.internet.rk.console.Property.setting;

import com.qel.internet.rk.common.CMNExecutorInterface;
import com.qel.internet.rk.common.CMNHAStatus;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.Arrays;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParseResult;

/** High availability. */
final class HaCommands {
    private static final String STATUS_COMMAND = "ha status";
    private static final int TIMERS = 7;

    private static final List<Property> STATUS = List.of(
            setting("haFsmAddress", "address of the state machine", Kind.HOST_ORDER_ADDRESS, "--address", null),
            read("haFsmMode", "mode", Kind.INT),
            read("haRole", "role", Kind.INT),
            read("haStrategy", "strategy", Kind.INT),
            read("haState", "state", Kind.INT),
            read("haSubstate", "substate", Kind.INT),
            read("haPort", "port", Kind.INT),
            read("haPeer", "partner", Kind.INT),
            read("haHBCount", "heartbeats", Kind.INT),
            read("haReachCount", "reach targets", Kind.INT));

    private static final List<Property> HEARTBEAT = List.of(
            read("haLocal_Address", "heartbeat from", Kind.HOST_ORDER_ADDRESS),
            read("haRemote_Address", "to", Kind.HOST_ORDER_ADDRESS),
            read("haStatus", "status", Kind.INT));

    private static final List<Property> REACH_TARGET = List.of(
            read("haAddress", "reach target", Kind.HOST_ORDER_ADDRESS),
            read("haMask", "mask", Kind.HOST_ORDER_ADDRESS),
            read("haType", "type", Kind.INT),
            read("haAddress_status", "status here", Kind.INT),
            read("haLTimeStamp", "since", Kind.INT),
            read("haRemote_status", "status at the partner", Kind.INT),
            read("haRTimeStamp", "since", Kind.INT));

    private HaCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup ha = new CommandGroup("ha",
                "High availability: the partner that takes over, and what is watched.");
        CommandSpec status = ha.command("status", "Show the state, the heartbeats and the reach targets.",
                typed -> status(session, typed));
        Settings.addOptions(status, STATUS);
        ha.definition.addSubcommand("backup", backup(session));
        ha.definition.addSubcommand("reach", reach(session));
        ha.definition.addSubcommand("heartbeat", heartbeat(session));

        CommandSpec timers = ha.command("timers",
                "Make the executor take its timers anew. The library checks the seven times and does not send them.",
                typed -> session.finish(Family.HIGH_AVAILABILITY, setTimers(session, CommandGroup.rest(typed, 0))));
        CommandGroup.addRest(timers, "TIME", "A time, a decimal number; seven of them.", true);

        Identity address = Identity.argument("ADDRESS", "The address to take over.", Kind.ADDRESS);
        ha.command("takeover", "Take over from the partner.", typed -> session.finish(Family.TAKEOVER,
                session.natives().takeoverNative(address.text(typed, 0))), address);
        return ha.definition;
    }

    private static void status(Session session, ParseResult typed) {
        CMNHAStatus status = new CMNHAStatus();
        Settings.take(typed, STATUS, status);
        Refusal.check(Family.HIGH_AVAILABILITY, session.natives().getHAInfoNative(status));
        session.output.heading(summary(status));
        session.output.object(status, STATUS,
                Rows.ofArrays("heartbeats", status, status.haHBCount, HEARTBEAT),
                Rows.ofArrays("reachTargets", status, status.haReachCount, REACH_TARGET));
    }

    /** What the numbers of the reference executor come to. */
    private static String summary(CMNHAStatus status) {
        if (status.haFsmMode == 0) {
            return "alone: there is no backup";
        }
        String state = switch (status.haState) {
            case 1 -> "active";
            case 2 -> "standby";
            case 3 -> "failed: an interface that is needed has no link";
            default -> "state " + status.haState;
        };
        if (status.haSubstate == 4) {
            state += ", and so is the partner: two are active";
        }
        int heard = count(status.haStatus, status.haHBCount, 2);
        int lost = count(status.haAddress_status, status.haReachCount, 2);
        String paths = status.haHBCount <= 0 ? "no path to the partner"
                : "partner heard on " + heard + " of " + status.haHBCount + (status.haHBCount == 1 ? " path" : " paths");
        return state + "; " + paths
                + (lost == 0 ? "" : "; " + lost + " of " + status.haReachCount + " reach targets lost");
    }

    /** {@return how many of the first values are as wanted; the executor gives the length, so it may be any number} */
    private static int count(int[] values, int length, int wanted) {
        return (int) Arrays.stream(values).limit(Math.max(0, length)).filter(value -> value == wanted).count();
    }

    private static CommandSpec backup(Session session) {
        Identity role = Identity.argument("ROLE", "Role of this load balancer; the executor defines the numbers.",
                Kind.INT);
        Identity strategy = Identity.argument("STRATEGY", "Strategy by which a load balancer that was down gets its"
                + " role back; the executor defines the numbers.", Kind.INT);
        Identity port = Identity.argument("PORT", "Port on which the partners talk, 1 to 65535.", Kind.TEXT);
        CommandGroup backup = new CommandGroup("backup", "The relation to the partner.");
        backup.command("add", "Define it.", typed -> {
            session.requireExecutor();
            Refusal.check(Family.HIGH_AVAILABILITY, session.natives().backupAddNative(role.number(typed, 0),
                    strategy.number(typed, 1), port.text(typed, 2)));
            session.output.sent(STATUS_COMMAND);
        }, role, strategy, port);
        backup.command("delete", "Remove it.", typed -> {
            session.requireExecutor();
            Refusal.check(Family.HIGH_AVAILABILITY, session.natives().backupDelNative());
            session.output.sent(STATUS_COMMAND);
        });
        return backup.definition;
    }

    private static CommandSpec reach(Session session) {
        Identity address = Identity.argument("ADDRESS", "Address of the target.", Kind.ADDRESS);
        Identity mask = Identity.argument("MASK", "Mask of the target, dotted; 255.255.255.255 does not parse.",
                Kind.ADDRESS);
        Identity type = Identity.argument("TYPE", "Type of the target; the executor defines the numbers.", Kind.INT);
        Identity index = Identity.argument("INDEX", "Place of the target among those that 'ha status' shows, from 0.",
                Kind.INT);
        Identity status = Identity.argument("STATUS", "Status of the target; the executor defines the numbers.",
                Kind.INT);
        CommandGroup reach = new CommandGroup("reach", "Reach targets: addresses that have to stay reachable.");
        reach.command("add", "Add a target.", typed -> session.finish(Family.REACH, session.natives().addReachNative(
                address.text(typed, 0), mask.text(typed, 1), type.number(typed, 2))), address, mask, type);
        reach.command("delete", "Remove a target.", typed -> session.finish(Family.REACH,
                session.natives().delReachNative(address.text(typed, 0))), address);
        reach.command("change", "Change type and status of a target.", typed -> session.finish(Family.REACH,
                session.natives().chgReachNative(index.number(typed, 0), type.number(typed, 1),
                        status.number(typed, 2))), index, type, status);
        return reach.definition;
    }

    private static CommandSpec heartbeat(Session session) {
        Identity local = Identity.argument("LOCAL", "Address of this load balancer.", Kind.ADDRESS);
        Identity partner = Identity.argument("PARTNER", "Address of the partner.", Kind.ADDRESS);
        Identity either = Identity.argument("ADDRESS", "Address at either end.", Kind.ADDRESS);
        CommandGroup heartbeat = new CommandGroup("heartbeat",
                "Heartbeats: address pairs over which the partners talk.");
        heartbeat.command("add", "Add a heartbeat.", typed -> session.finish(Family.HEARTBEAT,
                session.natives().addHBNative(local.text(typed, 0), partner.text(typed, 1))), local, partner);
        heartbeat.command("delete", "Remove the heartbeats of an address.", typed -> session.finish(Family.HEARTBEAT,
                session.natives().delHBNative(either.text(typed, 0))), either);
        return heartbeat.definition;
    }

    private static int setTimers(Session session, List<String> times) {
        if (times.size() != TIMERS) {
            throw new UsageError("there are " + TIMERS + " timers, and " + times.size() + " times");
        }
        CMNExecutorInterface natives = session.natives();
        return natives.setTimersNative(times.get(0), times.get(1), times.get(2), times.get(3), times.get(4),
                times.get(5), times.get(6));
    }
}
