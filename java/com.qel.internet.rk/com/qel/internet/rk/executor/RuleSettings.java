package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNRule;
import java.net.InetAddress;
import java.time.Duration;
import java.util.regex.Pattern;

/**
 * Settings of a rule, for {@link Rule#add} and {@link Rule#change}.
 *
 * <p>Settings are given one after the other, and each gives another object that has it too: one object may be kept,
 * shared, and continued in several ways. Of a setting that is given twice, the second counts.
 */
public final class RuleSettings {
    /** The type of rules that look at the client's address; their ranges are addresses. */
    public static final int ADDRESSES = 1;
    /** The type of rules that look at a packet's type of service. */
    public static final int TYPE_OF_SERVICE = 7;

    private static final Pattern SERVICE_BITS = Pattern.compile("[01x]{8}");

    private static final Row<Integer> TYPE = Row.number("type", "RuleType", Byte.MIN_VALUE, Byte.MAX_VALUE);
    private static final Row<Integer> BEGIN = Row.number("begin of the range", "BeginRange");
    private static final Row<Integer> END = Row.number("end of the range", "EndRange");
    private static final Row<InetAddress> FIRST_ADDRESS =
            Row.address("first address of the range", "AddressBeginRange").flag("SetBeginRange");
    private static final Row<InetAddress> LAST_ADDRESS =
            Row.address("last address of the range", "AddressEndRange").flag("SetEndRange");
    private static final Row<Integer> PRIORITY = Row.number("priority", "Priority");
    private static final Row<Integer> SHARE_LEVEL = Row.number("share level", "iShareLevel").flag("SetShareLevel");
    private static final Row<String> SERVICE =
            new Row<>("type of service", "ServiceTOS", "SetServiceTOS", RuleSettings::serviceBits);
    private static final Row<String> PATTERN = Row.text("pattern", "Pattern", 99);
    private static final Row<Integer> EVALUATE =
            Row.number("evaluate", "bEvaluate", Byte.MIN_VALUE, Byte.MAX_VALUE).flag("SetEvaluate");
    private static final Row<Integer> AFFINITY = Row.number("affinity", "WhatAffinity");
    private static final Row<Duration> STICKY_TIME = Row.seconds("sticky time", "StickyTime");
    private static final Row<String> COOKIE_NAME = Row.text("cookie name", "CookieName", 99);
    private static final Row<Integer> CONFIG_SOURCE =
            Row.number("configuration source", "_iConfigSource").flag("SetConfigSource");
    private static final Row<String> HASH_ID = Row.text("hash identifier", "sHashID", 39).flag(null);

    private static final RuleSettings NONE = new RuleSettings(Changes.NONE);

    private final Changes changes;

    private RuleSettings(Changes changes) {
        this.changes = changes;
    }

    /** {@return no settings: all stay as they are, or as the executor has them for what is new} */
    public static RuleSettings none() {
        return NONE;
    }

    /**
     * Begins with what a new rule needs most: its type, which tells the other settings that it goes by.
     *
     * @param type 0 to 9; the executor gives the numbers their meaning, {@link #ADDRESSES} and {@link #TYPE_OF_SERVICE}
     *             apart
     * @return the setting of the type
     * @throws IllegalArgumentException when it is outside -128 to 127
     */
    public static RuleSettings ofType(int type) {
        return NONE.with(TYPE, type);
    }

    /**
     * Begins a rule that looks at the client's address.
     *
     * @param first the first address that it fires for, an IPv4 address
     * @param last  the last one
     * @return the settings of type and range
     * @throws IllegalArgumentException when one is no IPv4 address
     */
    public static RuleSettings ofAddresses(InetAddress first, InetAddress last) {
        return ofType(ADDRESSES).range(first, last);
    }

    /**
     * Sets the priority: rules are tried from the lowest number on.
     *
     * @param priority the number, which no other rule of the port has
     * @return these settings and this one
     */
    public RuleSettings priority(int priority) {
        return with(PRIORITY, priority);
    }

    /**
     * Sets the share level.
     *
     * @param level the level
     * @return these settings and this one
     */
    public RuleSettings shareLevel(int level) {
        return with(SHARE_LEVEL, level);
    }

    /**
     * Sets the bits that the type-of-service byte of a packet has to have, for a rule of type {@link #TYPE_OF_SERVICE}.
     *
     * @param bits eight characters for the bits of the byte, highest first: {@code 0}, {@code 1}, or {@code x} for
     *             either
     * @return these settings and this one
     * @throws IllegalArgumentException when it is anything else
     */
    public RuleSettings typeOfService(String bits) {
        return with(SERVICE, bits);
    }

    /**
     * Sets the pattern that a rule on contents looks for.
     *
     * @param pattern at most 99 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public RuleSettings pattern(String pattern) {
        return with(PATTERN, pattern);
    }

    /**
     * Sets what the rule is evaluated on.
     *
     * @param what the executor gives the numbers their meaning; 8 bits travel
     * @return these settings and this one
     * @throws IllegalArgumentException when it is outside -128 to 127
     */
    public RuleSettings evaluate(int what) {
        return with(EVALUATE, what);
    }

    /**
     * Sets the kind of affinity.
     *
     * @param kind the executor gives the numbers their meaning
     * @return these settings and this one
     */
    public RuleSettings affinity(int kind) {
        return with(AFFINITY, kind);
    }

    /**
     * Sets how long a client stays with its server.
     *
     * @param time whole seconds; zero for not at all
     * @return these settings and this one
     * @throws IllegalArgumentException when it is no number of seconds that an int holds
     */
    public RuleSettings stickyTime(Duration time) {
        return with(STICKY_TIME, time);
    }

    /**
     * Sets the name of the cookie for affinity.
     *
     * @param name at most 99 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public RuleSettings cookieName(String name) {
        return with(COOKIE_NAME, name);
    }

    /**
     * Sets where the rule comes from.
     *
     * @param source the executor gives the numbers their meaning
     * @return these settings and this one
     */
    public RuleSettings configSource(int source) {
        return with(CONFIG_SOURCE, source);
    }

    /**
     * Sets the hash identifier. It travels with every change: one that does not give it clears it. It cannot be read
     * back.
     *
     * @param identifier at most 39 bytes
     * @return these settings and this one
     * @throws IllegalArgumentException when it is longer
     */
    public RuleSettings hashId(String identifier) {
        return with(HASH_ID, identifier);
    }

    /**
     * Sets the range of a rule whose type does not want addresses.
     *
     * @param begin its first number
     * @param end   its last number
     * @return these settings and the range
     */
    public RuleSettings range(int begin, int end) {
        return with(BEGIN, begin).with(END, end);
    }

    /**
     * Sets the range of a rule of type {@link #ADDRESSES}.
     *
     * @param first its first address, an IPv4 address
     * @param last  its last address, an IPv4 address
     * @return these settings and the range
     * @throws IllegalArgumentException when one is no IPv4 address
     */
    public RuleSettings range(InetAddress first, InetAddress last) {
        return with(FIRST_ADDRESS, first).with(LAST_ADDRESS, last);
    }

    /** {@return what was given} */
    @Override
    public String toString() {
        return changes.toString();
    }

    /** {@return an object for the native methods, with these settings and their flags} */
    CMNRule toNative() {
        return changes.putInto(new CMNRule());
    }

    boolean hasType() {
        return changes.has(TYPE);
    }

    /** {@return whether the rule's type has to be known before these settings can be sent} */
    boolean needsType() {
        return !hasType() && (changes.has(BEGIN) || changes.has(FIRST_ADDRESS) || changes.has(CONFIG_SOURCE));
    }

    /** {@return these settings with the type that the rule has already} */
    RuleSettings ofPresentType(int type) {
        return with(TYPE, type);
    }

    /**
     * Goes on only when a rule of a type would take the range that is given: it takes the one it does not want for
     * none.
     *
     * @throws IllegalArgumentException when it would not
     */
    void checkRange(int type) {
        if (changes.has(type == ADDRESSES ? BEGIN : FIRST_ADDRESS)) {
            throw new IllegalArgumentException("the range of a rule of type " + type + " is one of "
                    + (type == ADDRESSES ? "addresses, not of numbers" : "numbers, not of addresses"));
        }
    }

    private static String serviceBits(String bits, String what) {
        if (!SERVICE_BITS.matcher(bits).matches()) {
            throw new IllegalArgumentException(what + ": '" + bits + "' is not eight of 0, 1 and x");
        }
        return bits;
    }

    private <V> RuleSettings with(Row<V> row, V value) {
        return new RuleSettings(changes.and(row, value));
    }
}
