package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNRule;
import java.net.InetAddress;
import java.time.Duration;

/**
 * The settings of a rule. The hash identifier is not among them: it cannot be read.
 *
 * @param name          name
 * @param type          type, 0 to 9
 * @param begin         begin of the range; 0 for a rule whose range is of addresses
 * @param end           end of the range; 0 for a rule whose range is of addresses
 * @param firstAddress  first address of the range; null for a rule whose range is of numbers
 * @param lastAddress   last address of the range; null for a rule whose range is of numbers
 * @param priority      priority; rules are tried from the lowest number on
 * @param servers       number of servers of the rule
 * @param shareLevel    share level
 * @param typeOfService bits of the type of service, as {@link RuleSettings#typeOfService} takes them; empty for other
 *                      types
 * @param pattern       pattern that a rule on contents looks for
 * @param evaluate      what the rule is evaluated on
 * @param affinity      kind of affinity
 * @param stickyTime    how long a client stays with its server; zero for not at all
 * @param cookieName    name of the cookie for affinity
 * @param configSource  where the rule comes from
 */
public record RuleStatus(String name, int type, int begin, int end, InetAddress firstAddress, InetAddress lastAddress,
        int priority, int servers, int shareLevel, String typeOfService, String pattern, int evaluate, int affinity,
        Duration stickyTime, String cookieName, int configSource) {
    static RuleStatus of(CMNRule from) {
        return new RuleStatus(from.RuleName, from.RuleType,
                from.RuleType == RuleSettings.ADDRESSES ? 0 : from.BeginRange,
                from.RuleType == RuleSettings.ADDRESSES ? 0 : from.EndRange,
                from.RuleType == RuleSettings.ADDRESSES ? Values.address(from.AddressBeginRange) : null,
                from.RuleType == RuleSettings.ADDRESSES ? Values.address(from.AddressEndRange) : null, from.Priority,
                from.NumServers, from.iShareLevel, from.ServiceTOS == null ? "" : from.ServiceTOS, from.Pattern,
                from.bEvaluate, from.WhatAffinity, Duration.ofSeconds(from.StickyTime), from.CookieName,
                from._iConfigSource);
    }
}
