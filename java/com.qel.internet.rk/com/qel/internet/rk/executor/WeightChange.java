package com.qel.internet.rk.executor;

import com.qel.internet.rk.common.CMNServerWeights;
import java.util.Objects;

/**
 * What the weight of a server is to be. The three values change together.
 *
 * @param server the server
 * @param weight its weight, 0 to the port's weight bound; 16 bits travel
 * @param fixed  whether the weight stays as it is when weights are computed
 * @param down   whether the server is quiesced because it is down
 */
public record WeightChange(Server server, int weight, boolean fixed, boolean down) {
    /**
     * Takes what arrives as it is given.
     *
     * @param server the server
     * @param weight its weight
     * @param fixed  whether the weight stays as it is when weights are computed
     * @param down   whether the server is quiesced because it is down
     * @throws IllegalArgumentException when the weight is outside -32768 to 32767
     */
    public WeightChange {
        Objects.requireNonNull(server, "server");
        Values.within(weight, Short.MIN_VALUE, Short.MAX_VALUE, "weight");
    }

    /**
     * A weight that is not fixed, of a server that is not down.
     *
     * @param server the server
     * @param weight its weight, 0 to the port's weight bound
     * @throws IllegalArgumentException when the weight is outside -32768 to 32767
     */
    public WeightChange(Server server, int weight) {
        this(server, weight, false, false);
    }

    /** Puts the values into new arrays, where nothing is set yet. */
    void putInto(CMNServerWeights weights, int index) {
        weights.iServerIdKey[index] = server.key();
        weights.iWeight[index] = weight;
        if (fixed) {
            weights.bFixedWeight[index] = 1;
        }
        if (down) {
            weights.ucQuiescedDown[index] = 1;
        }
    }
}
