package com.qel.internet.rk.common;

/**
 * A rule of a port: when it fires, it decides which of the port's servers take a connection. Its settings, its
 * counters, and its identity.
 *
 * <p>A setting is written only when its flag, the byte named {@code Set...}, is 1. Adding and changing write the flags
 * back as the executor left them, except {@link #SetConfigSource}.
 */
public final class CMNRule {
    /** Creates a rule whose settings are all unset: no flag is 1. */
    public CMNRule() {
    }

    /** Identifier of the cluster. */
    public String ClusterId;
    /** Port number, 0 to 65535. */
    public int PortNumber;
    /** Name, at most 20 characters. */
    public String RuleName;

    /** Type, 0 to 9: 1 for ranges that are addresses, 7 for the type of service; the executor knows the others. */
    public byte RuleType;
    /** 1 to give {@link #RuleType}; adding a rule needs it. */
    public byte SetRuleType;

    /** Begin of the range, for type 1: dotted; when writing, a host name too. */
    public String AddressBeginRange;
    /** Begin of the range, for every other type. */
    public int BeginRange;
    /** 1 to change the begin of the range. */
    public byte SetBeginRange;

    /** End of the range, for type 1: dotted; when writing, a host name too. */
    public String AddressEndRange;
    /** End of the range, for every other type. */
    public int EndRange;
    /** 1 to change the end of the range. */
    public byte SetEndRange;

    /** Priority; rules are tried from the lowest number on. */
    public int Priority;
    /** 1 to change {@link #Priority}. */
    public byte SetPriority;

    /** Share level. */
    public int iShareLevel;
    /** 1 to change {@link #iShareLevel}. */
    public byte SetShareLevel;

    /**
     * Type of service: eight characters for the bits of the byte, highest first; {@code 0} for a bit that must be 0,
     * {@code 1} for one that must be 1, {@code x} for either. Read back for type 7 only.
     */
    public String ServiceTOS;
    /** 1 to change {@link #ServiceTOS}. */
    public byte SetServiceTOS;

    /** Pattern that a rule on contents looks for; keep it below 100 bytes. */
    public String Pattern;
    /** 1 to change {@link #Pattern}. */
    public byte SetPattern;

    /** What the rule is evaluated on; the executor gives the number its meaning. */
    public byte bEvaluate;
    /** 1 to change {@link #bEvaluate}. */
    public byte SetEvaluate;

    /** Kind of affinity; its low byte, signed, when read. */
    public int WhatAffinity;
    /** 1 to change {@link #WhatAffinity}. */
    public byte SetWhatAffinity;

    /** How long a client stays with its server, in the executor's unit. */
    public int StickyTime;
    /** 1 to change {@link #StickyTime}. */
    public byte SetStickyTime;

    /** Name of the cookie for affinity; keep it below 100 bytes. */
    public String CookieName;
    /** 1 to change {@link #CookieName}. */
    public byte SetCookieName;

    /** Where the rule comes from; sent with every change. */
    public int _iConfigSource;
    /** 1 to change {@link #_iConfigSource}; not written back. */
    public byte SetConfigSource;

    /** Hash identifier; sent with every change, written only; keep it below 40 bytes. */
    public String sHashID;

    /** Number of servers of the rule; status and report. Listing them needs it. */
    public int NumServers;

    /** Report: how often the rule fired. */
    public int TimesFired;
    /** Report: number of the rule, unique in the executor. */
    public int iUniqueId;
    /** Report: active connections. */
    public int ActiveConnections;
    /** Report: bytes per second now. */
    public int iBytesPerSecond;
    /** Report: connections per second now; also the number that {@code setRuleCPSNative} sends. */
    public int iConnectionsPerSecond;
}
