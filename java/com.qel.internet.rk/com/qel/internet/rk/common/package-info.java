/**
 * The native methods, all on {@link com.qel.internet.rk.common.CMNExecutorInterface}, and the objects that they take.
 * All threads of a process share one object of that class, and its methods take turns.
 */
package com.qel.internet.rk.common;
