package com.qel.internet.rk.console;

import static com.qel.internet.rk.console.Property.read;

import com.qel.internet.rk.common.CMNIcmp;
import com.qel.internet.rk.common.CMNStatus.Family;
import java.util.List;
import picocli.CommandLine.Model.CommandSpec;

/** The record of an ICMP response. */
final class IcmpCommands {
    private static final Identity[] RECORD = {
        new Identity("on|off", "Whether a response came.", Kind.SWITCH, "iGotIcmpResp", null, 0),
        new Identity("A.B.C.D", "Address that it came from.", Kind.HOST_ORDER_ADDRESS, "iIcmpRespAddr", null, 0)};

    private static final List<Property> PROPERTIES = List.of(
            read("iGotIcmpResp", "response", Kind.SWITCH),
            read("iIcmpRespAddr", "address", Kind.HOST_ORDER_ADDRESS));

    private IcmpCommands() {
    }

    /** {@return the commands} */
    static CommandSpec create(Session session) {
        CommandGroup icmp = new CommandGroup("icmp", "The record of an ICMP response.");
        icmp.command("get", "Show whether a response came, and from where.", typed -> {
            CMNIcmp response = new CMNIcmp();
            Refusal.check(Family.SYSTEM, session.natives().getIcmpInfoNative(response));
            session.output.object(response, PROPERTIES);
        });
        icmp.command("set", "Change the record.", typed -> {
            CMNIcmp response = new CMNIcmp();
            CommandGroup.put(session, response, typed, RECORD);
            session.finish(Family.SYSTEM, session.natives().setIcmpInfoNative(response));
        }, RECORD);
        return icmp.definition;
    }
}
