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

    /** Puts the 128 characters of a hash text into {@code text}; {@code mode} is one of the C interface. */
    static native int createHash(byte[] path, int mode, byte[] text);

    /** The sum of the difference flags, or a result code. */
    static native int compareHash(byte[] path, byte[] hash);
}
