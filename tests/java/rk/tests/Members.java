package rk.tests;

/** Members of every kind that the library reads, writes and calls by name. */
public class Members {
    public int intField = 11;
    public long longField = 12;
    public char charField = 13;
    public byte byteField = 14;
    public String stringField = "fifteen";
    public int[] intArray = {1, 2, 3, 4};
    public byte[] byteArray = {5, 6, 7, 8};
    public int called;
    public int calledIndex;

    public int number() {
        return 4711;
    }

    public int numberAt(int index) {
        return index * 10;
    }

    public void takeNumber(int value) {
        called = value;
    }

    public void takeNumberAt(int index, int value) {
        calledIndex = index;
        called = value;
    }

    public String textAt(int index) {
        return "text " + index;
    }

    public Members self() {
        return this;
    }

    public Members selfAt(int index) {
        calledIndex = index;
        return this;
    }

    public int fails() {
        throw new IllegalStateException("it fails");
    }
}
