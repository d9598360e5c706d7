package com.qel.internet.rk.console;

/**
 * One command on the way from one configuration to another.
 *
 * @param words what it does, for people
 * @param send  does it
 * @param undo  undoes it
 */
record ConfigStep(String words, Runnable send, Runnable undo) {
}
