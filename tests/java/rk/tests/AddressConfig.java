package rk.tests;

/** The fields of an address configuration, and no more. */
public class AddressConfig {
    public String Address = "10.0.0.5";
    public byte ConfigInfoProvided;
    public String InterfaceName = "untouched";
    public String NetMask = "untouched";
}
