/**
 * The native methods, all on {@link com.qel.internet.rk.common.CMNExecutorInterface}, and the objects that they take. One
 * call at a time in the whole process, on whatever threads.
 */
package com.qel.internet.rk.common;
