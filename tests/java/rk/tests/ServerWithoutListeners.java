package rk.tests;

import com.qel.internet.rk.common.CMNListener;

/** A server that counts listeners and does not hand them out. */
public class ServerWithoutListeners {
    public String sServerID = "s1";
    public int iServerIdKey = 0x1B3;
    public String ClusterId = "web";
    public int Port = 80;
    public int _iNumListeners = 2;
    public byte SetListeners = 1;
    /** How often it was asked. */
    public int asked;

    public CMNListener getListener(int index) {
        ++asked;
        throw new IllegalStateException("no listener " + index);
    }
}
