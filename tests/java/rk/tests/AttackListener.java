package rk.tests;

/** Keeps what it is told about half-open connections and attacking addresses, as text. */
public class AttackListener {
    private final StringBuilder calls = new StringBuilder();

    public void setNumHalfOpenRecs(int count) {
        calls.append("half-open: ").append(count).append('\n');
    }

    public void addHalfOpenRec(int index, int address, int port, boolean flag) {
        calls.append(index).append(' ').append(Integer.toHexString(address)).append(' ').append(port).append(' ')
                .append(flag).append('\n');
    }

    public void reportAttackingAddrsResults(int count, int summary) {
        calls.append("attacking: ").append(count).append(' ').append(summary).append('\n');
    }

    public void reportAttackingAddr(int address, int value) {
        calls.append(Integer.toHexString(address)).append(' ').append(value).append('\n');
    }

    @Override
    public String toString() {
        return calls.toString();
    }
}
