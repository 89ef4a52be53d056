package com.kelo.kmhash;

import java.io.IOException;

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

    // Of path and reader one is given, and the other null.

    /** Puts the 128 characters of a hash text into {@code text}; {@code mode} is one of {@code createHashEx}. */
    static native int createHash(byte[] path, ChannelReader reader, int mode, byte[] text) throws IOException;

    /** The sum of the difference flags, or a result code. */
    static native int compareHash(byte[] path, ChannelReader reader, byte[] hash) throws IOException;

    /** {@link #createHash} by {@code kmhashHashFile} or {@code kmhashHashSource}, whose flags it takes. */
    static native int hash(byte[] path, ChannelReader reader, int flags, byte[] text) throws IOException;

    /** {@link #compareHash} by {@code kmhashVerifyFile} or {@code kmhashVerifySource}. */
    static native int verify(byte[] path, ChannelReader reader, byte[] hash) throws IOException;
}
