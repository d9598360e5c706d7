/**
 * The executor of the load balancer, for programs: typed, and without what is easily done wrong with the native methods
 * alone. {@link com.qel.internet.rk.executor.Executor} is where everything begins.
 *
 * <h2>What there is</h2>
 * {@link com.qel.internet.rk.executor.Cluster}, {@link com.qel.internet.rk.executor.Port},
 * {@link com.qel.internet.rk.executor.Server} and {@link com.qel.internet.rk.executor.Rule} name what the executor
 * has, or is to have; they hold nothing of it, and may be kept and shared by threads. What is to be set is an object
 * of settings, such as {@link com.qel.internet.rk.executor.ClusterSettings}; what is read is a record, such as
 * {@link com.qel.internet.rk.executor.ClusterStatus}. None of them ever changes.
 *
 * <h2>What is checked here</h2>
 * A value that would not arrive at the executor as it was given, or could not come back, is refused with
 * {@link java.lang.IllegalArgumentException} as soon as it is given: a port number above 65535, a time of half a
 * second, an IPv6 address where four bytes travel, a text that is longer than its place. <b>Everything that can
 * arrive is sent, and the executor decides:</b> it alone knows its limits. Its refusal, and every other failure, is
 * an {@link com.qel.internet.rk.executor.ExecutorException} with the status, its name, and what to do.
 *
 * <h2>Names</h2>
 * The executor knows clusters and servers by keys of their names, and takes one of two names with the same key for the
 * other. Here it does not come to that: before something is done with a cluster or server, the executor's list tells
 * whether it has that one. What was listed is kept, so this costs nothing the next time. A program beside this one that
 * removes a cluster and adds one whose name has the same key is not noticed.
 *
 * <h2>Threads</h2>
 * A process has one open {@link com.qel.internet.rk.executor.Executor}, and all its threads share it: calls take
 * turns. A call waits for those before it, and one of them may take hours: {@link com.qel.internet.rk.executor.Wait}
 * says which and why, {@link com.qel.internet.rk.executor.Executor#waiting} whether one is under way, and
 * {@link com.qel.internet.rk.executor.Executor#askBeforeWaiting} asks before one is entered.
 *
 * <h2>What is left out</h2>
 * All is done by the methods of {@link com.qel.internet.rk.common.CMNExecutorInterface}. Left out are those that do
 * nothing
 * or always answer the same: {@code loadUserExecutorNative}, {@code solarisUpNative}, {@code HPUpNative},
 * {@code ScriptPrefixNative}, {@code updateKernelNative}, the three {@code checkMax...Native}, {@code setHostUpNative},
 * {@code setHostDownNative}, {@code removeHostNative}, {@code getInterfaceListNative}, {@code setKeyIsIpAddrNative};
 * and
 * {@code linuxUpNative}, as opening tells. {@link com.qel.internet.rk.executor.Executor#natives} gives the object to
 * call
 * them on.
 */
package com.qel.internet.rk.executor;
