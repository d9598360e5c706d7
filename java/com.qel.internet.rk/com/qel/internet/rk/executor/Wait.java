package com.qel.internet.rk.executor;

import java.time.Duration;
import java.time.Instant;

/**
 * A call that may take long. When the executor is out of memory, adding or changing a port tries again after 6789
 * seconds, and once more after another 6543; every other call of the process has to wait as long.
 *
 * @param call    what the call does, as in {@code change port 80 of cluster 'web'}
 * @param longest how long it may wait
 * @param since   when it began, or is to begin
 */
public record Wait(String call, Duration longest, Instant since) {
    /** How long adding or changing a port may wait: 3 hours, 42 minutes and 12 seconds. */
    public static final Duration LONGEST_OF_PORTS = Duration.ofSeconds(6789 + 6543);
}
