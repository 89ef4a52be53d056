package com.kelo.kmhash;

import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;

/**
 * Identity hashes of media files, from any {@link InputStream}. A hash names the media inside a file: tags, captions
 * and covers can be edited without changing it. {@link HashText} takes such a text apart, hashes files by their
 * path, and knows version 4; the methods here make hashes of version 3.
 *
 * <p><b>Streams.</b> A stream is read forwards from where it stands, with {@code read(byte[], int, int)}, 512 bytes at
 * most a call, and {@code skip}; payloads of 16384 bytes and more are as a rule sampled, so a stream that skips cheaply
 * is hashed cheaply. Reads and skips may fall short by any number of bytes, but one of 0 bytes counts as the stream's
 * end. In the end the rest of the stated size is skipped, also when the analysis failed, unless the stream threw from
 * {@code read} or {@code skip}. The stream is closed before the method returns or throws, unless it could not be used
 * at all ({@code HASHCREATE_FILE_NOTFOUND}) or another argument is refused first (see {@link #compareHash}).
 *
 * <p><b>Size.</b> The size is the number of bytes that the stream holds from where it stands. It must be exact: it
 * decides where the file ends, whatever the stream holds, and it takes part in some hashes. {@code available()} is not
 * asked. A negative size is not looked for: -255 gives {@code HASHCREATE_INVALID_PARAM}, any other is taken as
 * unsigned.
 *
 * <p><b>Failures.</b> A method either returns or throws a {@link KeloMediaHashException} with one of the codes that it
 * lists. A stream's own exception never comes through: the code tells how far the analysis got. A stream that threw
 * where the analysis did without what it withheld (an optional part of the file, or {@code close}) gives {@code
 * HASHCREATE_SUCCESS}, or the positive number that would have been returned. Only what {@code skip} throws counts as no
 * more than a skip that failed, and a few of those do no harm.
 *
 * <p><b>Threads.</b> Every method may run on any number of threads at once. A stream is used on the calling thread only
 * and must not be used by others meanwhile.
 *
 * <p><b>Loading.</b> The first use of this class loads the native library {@code KMHashGenerator}: the system's own, if
 * {@link System#loadLibrary} finds one with this class's methods, else the one that the jar holds for this system, by
 * way of a temporary file that is removed at once. It throws {@link UnsatisfiedLinkError} when there is neither.
 */
public final class KeloMediaHashGenerator {
    private static final String LIBRARY = "KMHashGenerator";

    static {
        try {
            System.loadLibrary(LIBRARY);
            getLibraryMajorVersion(); // fails in a library that was built without a JDK
        } catch (UnsatisfiedLinkError notInstalled) {
            loadFromJar(notInstalled);
        }
    }

    private KeloMediaHashGenerator() {}

    // ---- Hashing ----

    /**
     * Hashes a file by its media. Reads the headers of its format and samples of its payload, and closes the stream.
     *
     * <p>A few degenerate files (an ID3 tag with nothing after it, a TIFF without a directory) succeed without labels;
     * what is returned for them is no hash text but an empty string. {@link #getAlgorithmId} fails for them. A camera
     * raw file whose preview the stream did not deliver gives its version alone, which must not be compared.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @return the hash text, 128 characters but for the files that are told of above
     * @throws KeloMediaHashException with the code
     *     <ul>
     *       <li>{@code HASHCREATE_SUCCESS} when the stream threw and the analysis did without;
     *       <li>{@code HASHCREATE_FILE_NOTFOUND} when the stream cannot be used, or a directory of TIFF entries is
     *           out of place;
     *       <li>{@code HASHCREATE_FORMAT_ERROR} when the file's structure is damaged, or of a kind that is not
     *           supported;
     *       <li>{@code HASHCREATE_READ_ERROR} when it ends too early or {@code read} threw;
     *       <li>{@code HASHCREATE_SEEK_ERROR} when it points outside itself, or {@code skip} threw or skipped nothing;
     *       <li>{@code HASHCREATE_SHA1_ERROR} when a digest could not be finished;
     *       <li>{@code HASHCREATE_NON_SUPPORTED} when it is empty or of no supported format;
     *       <li>{@code HASHCREATE_INVALID_PARAM} when {@code in} is null, {@code size} is -255, or a multi-picture file
     *           has too many images;
     *       <li>{@code HASHCREATE_REACH_EOF} when it ends where its structure goes on;
     *       <li>{@code HASHCREATE_BROKEN_CONTENT} when a part of it is broken;
     *       <li>{@code HASHCREATE_MEM_ALLOC_ERROR} when memory ran out or it states an impossible size;
     *       <li>{@code HASHCREATE_ERROR} for any other failure.
     *     </ul>
     */
    public static native String createHash(InputStream in, long size) throws KeloMediaHashException;

    /**
     * Hashes a file of any kind by its size and (sampled) bytes, without looking at its format. Closes the stream.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @return the hash text, 128 characters
     * @throws KeloMediaHashException with the code {@code HASHCREATE_SUCCESS}, {@code HASHCREATE_FILE_NOTFOUND}, {@code
     *     HASHCREATE_READ_ERROR}, {@code HASHCREATE_SEEK_ERROR}, {@code HASHCREATE_SHA1_ERROR}, {@code
     *     HASHCREATE_NON_SUPPORTED} (an empty file), {@code HASHCREATE_INVALID_PARAM} or {@code HASHCREATE_ERROR}, each
     *     as at {@link #createHash}
     */
    public static native String createQuickFileHash(InputStream in, long size) throws KeloMediaHashException;

    /**
     * Recognises a file's format without hashing its payload: reads its headers, skips the rest and closes the stream.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @return the algorithm id that the file's hash has, 1 to 14; see {@link HashText.Algorithm}
     * @throws KeloMediaHashException with any code of {@link #createHash}, {@code HASHCREATE_INVALID_HASH} for a file
     *     that succeeds without labels, or the id as its code when the stream threw and the analysis did without
     */
    public static native int getAlgorithmId(InputStream in, long size) throws KeloMediaHashException;

    // ---- Comparing ----

    /**
     * Hashes a file again, in the way in which a stored hash was made, and compares the two. Reads what
     * {@link #createHash} or, for a quick hash, {@link #createQuickFileHash} reads, and closes the stream.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @param hash the stored hash text
     * @return the sum of the difference flags, 0 for the same media; see {@link HashText.Difference#ofFlags}
     * @throws KeloMediaHashException with any code of {@link #createHash} ({@code HASHCREATE_INVALID_PARAM} also when
     *     {@code hash} is null, and then the stream is not closed), or {@code HASHCREATE_INVALID_HASH} when
     *     {@code hash} is no hash text, in which case the stream is neither read nor closed, or the sum of the flags as
     *     its code when the stream threw and the analysis did without
     */
    public static native int compareHash(InputStream in, long size, String hash) throws KeloMediaHashException;

    /**
     * Compares two hash texts. The file types, and all but the first four characters of the format types, do not count.
     *
     * @param hash1 a hash text
     * @param hash2 another
     * @return the sum of the difference flags, 0 for the same media; see {@link HashText.Difference#ofFlags}
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} when a text is null, {@code
     *     HASHCREATE_INVALID_HASH} when one is no hash text
     */
    public static native int compareBetweenHash(String hash1, String hash2) throws KeloMediaHashException;

    // ---- Reading a hash text ----

    /**
     * Returns the algorithm id of a hash text. A text counts as a hash when its first eight characters are decimal
     * digits; nothing else is checked, and a digit that is no hex digit counts as 0.
     *
     * @param hash a hash text
     * @return the id, 0 to 255
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} when {@code hash} is null, {@code
     *     HASHCREATE_INVALID_HASH} when it is no hash text
     */
    public static native int getAlgorithmIdFromHash(String hash) throws KeloMediaHashException;

    /**
     * Returns the major version of the algorithm that made a hash text, which is checked as at {@link
     * #getAlgorithmIdFromHash}.
     *
     * @param hash a hash text
     * @return the version, 0 to 9999
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} when {@code hash} is null, {@code
     *     HASHCREATE_INVALID_HASH} when it is no hash text
     */
    public static native int getAlgorithmMajorVersionFromHash(String hash) throws KeloMediaHashException;

    /**
     * Returns the minor version of the algorithm that made a hash text, which is checked as at {@link
     * #getAlgorithmIdFromHash}.
     *
     * @param hash a hash text
     * @return the version, 0 to 9999
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} when {@code hash} is null, {@code
     *     HASHCREATE_INVALID_HASH} when it is no hash text
     */
    public static native int getAlgorithmMinorVersionFromHash(String hash) throws KeloMediaHashException;

    // ---- Versions ----

    /**
     * Returns the major version that new hashes of an algorithm carry.
     *
     * @param algorithmId the algorithm's id, 1 to 14
     * @return the version
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} for any other id, 255 (quick
     *     hashes) included
     */
    public static native int getAlgorithmMajorVersion(int algorithmId) throws KeloMediaHashException;

    /**
     * Returns the minor version that new hashes of an algorithm carry.
     *
     * @param algorithmId the algorithm's id, 1 to 14
     * @return the version
     * @throws KeloMediaHashException with the code {@code HASHCREATE_INVALID_PARAM} for any other id, 255 (quick
     *     hashes) included
     */
    public static native int getAlgorithmMinorVersion(int algorithmId) throws KeloMediaHashException;

    /**
     * Returns the major version of the interface's edition, which is the same in every release; it does not tell the
     * release. Throws nothing.
     *
     * @return 5
     */
    public static native int getLibraryMajorVersion();

    /**
     * Returns the minor version of the interface's edition, which is the same in every release; it does not tell the
     * release. Throws nothing.
     *
     * @return 3
     */
    public static native int getLibraryMinorVersion();

    // ---- Loading ----

    static void loadFromJar(UnsatisfiedLinkError notInstalled) {
        String system = systemName();
        String resource = "native/" + system + "/" + System.mapLibraryName(LIBRARY);
        String failure;
        try (InputStream library = KeloMediaHashGenerator.class.getResourceAsStream(resource)) {
            if (library != null) {
                loadCopy(library);
                return;
            }
            failure = "does not exist";
        } catch (IOException | LinkageError e) {
            failure = "cannot be loaded: " + e;
        }
        throw new UnsatisfiedLinkError("no library " + LIBRARY + " for the system " + system + ": "
                + notInstalled.getMessage() + ", and the resource " + resource + " beside the class "
                + KeloMediaHashGenerator.class.getName() + " " + failure);
    }

    private static void loadCopy(InputStream library) throws IOException {
        Path copy = Files.createTempFile(null, System.mapLibraryName(LIBRARY)); // for this user alone
        try {
            try (OutputStream out = Files.newOutputStream(copy)) {
                byte[] buffer = new byte[8192];
                for (int count = library.read(buffer); count > 0; count = library.read(buffer)) {
                    out.write(buffer, 0, count);
                }
            }
            System.load(copy.toAbsolutePath().toString());
        } finally {
            // A library in use needs no name, except on systems that refuse to take it away.
            if (!copy.toFile().delete()) {
                copy.toFile().deleteOnExit();
            }
        }
    }

    /** The name of this system's folder in the jar, such as linux-x86_64; pom.xml forms it in the same way. */
    private static String systemName() {
        String os = System.getProperty("os.name").toLowerCase(Locale.ROOT);
        String architecture = System.getProperty("os.arch").toLowerCase(Locale.ROOT);
        return (os.startsWith("mac") ? "macos" : os) + "-" + (architecture.equals("amd64") ? "x86_64" : architecture);
    }
}
