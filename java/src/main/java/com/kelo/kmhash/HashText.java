package com.kelo.kmhash;

import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.EnumSet;
import java.util.regex.Pattern;

/**
 * A hash text taken apart, and the hashing of files by their path. Immutable. Two are equal when they name the same
 * media, that is when a comparison finds no difference, even if their texts are not the same.
 */
public final class HashText {
    /** What two hashes differ in. */
    public enum Difference {
        /** The content digests. */
        CONTENT(1, 18, 58),
        /** The meta digests. */
        META(2, 58, 98),
        /** The first four characters of the format types. */
        FORMAT(4, 98, 106),
        /** The algorithm versions. */
        VERSION(8, 0, 8),
        /** The algorithms. */
        ALGORITHM(16, 114, 122);

        private final int flag;
        private final int from;
        private final int to;

        Difference(int flag, int from, int to) {
            this.flag = flag;
            this.from = from;
            this.to = to;
        }

        /**
         * Takes the result of a comparison apart.
         *
         * @param flags what {@link KeloMediaHashGenerator#compareHash} or {@link
         *     KeloMediaHashGenerator#compareBetweenHash} returned
         * @return the differences, a new set
         */
        public static EnumSet<Difference> ofFlags(int flags) {
            EnumSet<Difference> differences = EnumSet.noneOf(Difference.class);
            for (Difference difference : values()) {
                if ((flags & difference.flag) != 0) {
                    differences.add(difference);
                }
            }
            return differences;
        }

        private String of(HashText hash) {
            return hash.text.substring(from, to);
        }
    }

    /** What made a hash, by the name that the library has for it. */
    public enum Algorithm {
        /** None that this version knows. */
        UNKNOWN,
        /** A JPEG image. */
        JPEG,
        /** A multi-picture JPEG. */
        MPO,
        /** A PNG image. */
        PNG,
        /** A BMP image. */
        BMP,
        /** A GIF image. */
        GIF,
        /** A TIFF image. */
        TIFF,
        /** A camera raw file built on TIFF. */
        RAW,
        /** An MP4 file. */
        MP4,
        /** An ASF file. */
        ASF,
        /** An MPEG program stream. */
        MPEG,
        /** A RIFF file: AVI, WAVE. */
        RIFF,
        /** An MPEG-2 transport stream. */
        MPEG2TS,
        /** MP3 audio. */
        MP3,
        /** FLAC audio. */
        FLAC,
        /** Any file, by its size and bytes. */
        QUICK;

        private static Algorithm ofId(int id) {
            String name = Natives.algorithmName(id);
            for (Algorithm algorithm : values()) {
                if (algorithm.name().equals(name)) {
                    return algorithm;
                }
            }
            return UNKNOWN;
        }
    }

    private static final int MODE_NORMAL = 0;
    private static final int MODE_QUICK = 1;
    private static final int UNREADABLE = KeloMediaHashException.HASHCREATE_FILE_NOTFOUND;
    private static final int LENGTH = 128;
    private static final Pattern SHAPE = Pattern.compile("[0-9]{8}[0-9A-Fa-f]{120}");

    private final String text;

    private HashText(String text) {
        this.text = text;
    }

    // ---- Making one ----

    /**
     * Takes a hash text apart.
     *
     * @param text 128 characters, the first eight decimal digits and the others hex digits
     * @return the hash
     * @throws IllegalArgumentException when it is no such text
     */
    public static HashText parse(String text) {
        if (!SHAPE.matcher(text).matches()) {
            throw new IllegalArgumentException("no hash text: \"" + text + "\"");
        }
        return new HashText(text);
    }

    /**
     * Hashes a file by its media, as {@link KeloMediaHashGenerator#createHash} does.
     *
     * @param file a file that can be read
     * @return its hash
     * @throws IOException when the file cannot be opened
     * @throws KeloMediaHashException with any code of {@code createHash}, or {@code HASHCREATE_INVALID_HASH} for a file
     *     that succeeds without labels
     */
    public static HashText of(Path file) throws IOException, KeloMediaHashException {
        return hash(file, MODE_NORMAL, HashText::of);
    }

    /**
     * Hashes a stream by its media, as {@link KeloMediaHashGenerator#createHash} does, and closes it.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @return its hash
     * @throws KeloMediaHashException with any code of {@code createHash}, or {@code HASHCREATE_INVALID_HASH} for a
     *     file that succeeds without labels
     */
    public static HashText of(InputStream in, long size) throws KeloMediaHashException {
        return ofNative(KeloMediaHashGenerator.createHash(in, size));
    }

    /**
     * Hashes a file of any kind by its size and bytes, as {@link KeloMediaHashGenerator#createQuickFileHash} does.
     *
     * @param file a file that can be read
     * @return its hash
     * @throws IOException when the file cannot be opened
     * @throws KeloMediaHashException with any code of {@code createQuickFileHash}
     */
    public static HashText quickOf(Path file) throws IOException, KeloMediaHashException {
        return hash(file, MODE_QUICK, HashText::quickOf);
    }

    /**
     * Hashes a stream of any kind by its size and bytes, as {@link KeloMediaHashGenerator#createQuickFileHash} does,
     * and closes it.
     *
     * @param in the file, from its first byte
     * @param size the file's exact size in bytes
     * @return its hash
     * @throws KeloMediaHashException with any code of {@code createQuickFileHash}
     */
    public static HashText quickOf(InputStream in, long size) throws KeloMediaHashException {
        return ofNative(KeloMediaHashGenerator.createQuickFileHash(in, size));
    }

    // ---- Its parts ----

    /**
     * Returns the digest of the media.
     *
     * @return 40 hex digits
     */
    public String getContent() {
        return Difference.CONTENT.of(this);
    }

    /**
     * Returns the digest of the properties that describe the media.
     *
     * @return 40 hex digits
     */
    public String getMeta() {
        return Difference.META.of(this);
    }

    /**
     * Returns the kind of file.
     *
     * @return {@code PHOTO}, {@code VIDEO}, {@code AUDIO}, {@code OTHER} (a few ASF files) or {@code UNKWN} (quick hashes)
     */
    public String getFileType() {
        return label(8, 18);
    }

    /**
     * Returns the label of the format, up to eight characters.
     *
     * @return such as {@code JPEG}, or {@code "PNG "} with its blank
     */
    public String getFormatType() {
        return label(98, 114);
    }

    /**
     * Returns the algorithm that made the hash.
     *
     * @return the algorithm, {@link Algorithm#UNKNOWN} for an id that this version does not know
     */
    public Algorithm getAlgorithm() {
        return Algorithm.ofId(getAlgorithmId());
    }

    /**
     * Returns the id of the algorithm that made the hash.
     *
     * @return the id, 0 to 255
     */
    public int getAlgorithmId() {
        return Integer.parseInt(text.substring(114, 116), 16);
    }

    /**
     * Returns the major version of the algorithm.
     *
     * @return the version, 0 to 9999
     */
    public int getMajorVersion() {
        return Integer.parseInt(text.substring(0, 4));
    }

    /**
     * Returns the minor version of the algorithm.
     *
     * @return the version, 0 to 9999
     */
    public int getMinorVersion() {
        return Integer.parseInt(text.substring(4, 8));
    }

    /**
     * Returns the text itself, to be stored.
     *
     * @return 128 characters
     */
    @Override
    public String toString() {
        return text;
    }

    // ---- Comparing ----

    /**
     * Compares with another hash.
     *
     * @param other the other hash
     * @return what they differ in, a new set; empty for the same media
     */
    public EnumSet<Difference> differencesTo(HashText other) {
        EnumSet<Difference> differences = EnumSet.noneOf(Difference.class);
        for (Difference difference : Difference.values()) {
            if (!difference.of(this).equals(difference.of(other))) {
                differences.add(difference);
            }
        }
        return differences;
    }

    /**
     * Hashes a file in the way in which this hash was made and compares, as {@link KeloMediaHashGenerator#compareHash}
     * does.
     *
     * @param file a file that can be read
     * @return what they differ in, a new set; empty for the same media
     * @throws IOException when the file cannot be opened
     * @throws KeloMediaHashException with any code of {@code createHash}
     */
    public EnumSet<Difference> differencesTo(Path file) throws IOException, KeloMediaHashException {
        byte[] path = NativePath.of(file);
        int flags = path == null ? UNREADABLE : Natives.compareHash(path, NativePath.endedByNul(text));
        if (isUnreadable(flags)) {
            flags = with(file, (in, size) -> KeloMediaHashGenerator.compareHash(in, size, text));
        } else if (flags < 0) {
            throw failure(flags);
        }
        return Difference.ofFlags(flags);
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof HashText && differencesTo((HashText) other).isEmpty();
    }

    @Override
    public int hashCode() {
        return 31 * getContent().hashCode() + getMeta().hashCode();
    }

    // ---- Helpers ----

    private static HashText hash(Path file, int mode, Use<HashText> byStream) throws IOException, KeloMediaHashException {
        byte[] path = NativePath.of(file);
        byte[] text = new byte[LENGTH];
        int code = path == null ? UNREADABLE : Natives.createHash(path, mode, text);
        if (isUnreadable(code)) {
            return with(file, byStream);
        }
        if (code < 0) {
            throw failure(code);
        }
        return ofNative(new String(text, StandardCharsets.ISO_8859_1));
    }

    /** Whether the system may have refused to open or read a file, which only Java says in words. */
    private static boolean isUnreadable(int code) {
        return code == UNREADABLE || code == KeloMediaHashException.HASHCREATE_ERROR;
    }

    private interface Use<T> {
        T use(InputStream in, long size) throws IOException, KeloMediaHashException;
    }

    private static <T> T with(Path file, Use<T> use) throws IOException, KeloMediaHashException {
        try (InputStream in = open(file)) {
            return use.use(in, Files.size(file));
        }
    }

    /** A FileInputStream skips by seeking; what Files opens reads all that it skips on older systems. */
    private static InputStream open(Path file) throws IOException {
        boolean plain = file.getFileSystem() == FileSystems.getDefault();
        return plain ? new FileInputStream(file.toFile()) : Files.newInputStream(file);
    }

    private static HashText ofNative(String text) throws KeloMediaHashException {
        if (!SHAPE.matcher(text).matches()) {
            throw failure(KeloMediaHashException.HASHCREATE_INVALID_HASH);
        }
        return new HashText(text);
    }

    private static KeloMediaHashException failure(int code) {
        return new KeloMediaHashException(code, Natives.resultName(code));
    }

    private String label(int from, int to) {
        byte[] bytes = new byte[(to - from) / 2];
        int length = 0;
        for (int i = 0; i < bytes.length; i++) {
            bytes[i] = (byte) Integer.parseInt(text.substring(from + 2 * i, from + 2 * i + 2), 16);
            length = bytes[i] == 0 ? length : i + 1;
        }
        return new String(bytes, 0, length, StandardCharsets.ISO_8859_1);
    }
}
