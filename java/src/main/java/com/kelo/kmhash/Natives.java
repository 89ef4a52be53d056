package com.kelo.kmhash;

/**
 * The native methods behind {@link HashText}. What can fail answers with a result code and throws nothing but what the
 * virtual machine or the caller's own object threw. Byte arrays that hold a text or a path end in a NUL.
 */
final class Natives {
    static {
        try {
            KeloMediaHashGenerator.getLibraryMajorVersion(); // loads the library
            resultName(0);
        } catch (UnsatisfiedLinkError olderLibrary) {
            KeloMediaHashGenerator.loadFromJar(olderLibrary);
        }
    }

    private Natives() {}

    /** The name of an algorithm, or null for an id that the library does not know. */
    static native String algorithmName(int id);

    /** The name of a result code, or null for a number that is none. */
    static native String resultName(int code);
}
