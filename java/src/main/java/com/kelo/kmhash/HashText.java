package com.kelo.kmhash;

import java.io.IOException;
import java.io.InputStream;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.EnumSet;
import java.util.Locale;
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
        /** A PNG image, in either version. */
        PNG,
        /** A BMP image. */
        BMP,
        /** A GIF image. */
        GIF,
        /** A TIFF image, and in version 4 also a camera raw file built on TIFF. */
        TIFF,
        /** A camera raw file built on TIFF, in version 3. */
        RAW,
        /** An MP4 file, in version 3. */
        MP4,
        /** An ASF file. */
        ASF,
        /** An MPEG program stream. */
        MPEG,
        /** A RIFF file, in version 3: AVI, WAVE. */
        RIFF,
        /** An MPEG-2 transport stream. */
        MPEG2TS,
        /** MP3 audio, in version 3. */
        MP3,
        /** FLAC audio, in either version. */
        FLAC,
        /** A WebP image. */
        WEBP,
        /** A HEIF image: HEIC, AVIF. */
        HEIF,
        /** A JPEG XL image. */
        JXL,
        /** A JPEG 2000 image. */
        JP2,
        /** A Matroska file, WebM too. */
        MATROSKA,
        /** An Ogg file. */
        OGG,
        /** ISO media, in version 4: MP4, MOV, CR3. */
        ISOMEDIA,
        /** AIFF audio. */
        AIFF,
        /** AAC audio in ADTS frames. */
        ADTS,
        /** MPEG audio of any layer, in version 4. */
        MPEGAUDIO,
        /** WAVE audio, in version 4. */
        WAVE,
        /** A RAF camera raw file. */
        RAF,
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

    /** How to hash a file. */
    public enum Option {
        /** In version 3, or in version 4 where that fails; what is done when no version is named. */
        PREFER_VERSION_3(0),
        /** In version 4, or in version 3 where that fails. */
        PREFER_VERSION_4(1),
        /** Over every byte of the payload, in place of samples. Never equal to a sampled hash. */
        WHOLE(2);

        private final int flag;

        Option(int flag) {
            this.flag = flag;
        }

        private static int flags(EnumSet<Option> options) {
            if (options.contains(PREFER_VERSION_3) && options.contains(PREFER_VERSION_4)) {
                throw new IllegalArgumentException("both versions are preferred");
            }
            int flags = 0;
            for (Option option : options) {
                flags |= option.flag;
            }
            return flags;
        }
    }

    private static final int MODE_NORMAL = 0;
    private static final int MODE_QUICK = 1;
    private static final int LENGTH = 128;
    private static final Pattern SHAPE = Pattern.compile("[0-9]{8}[0-9A-Fa-f]{120}");

    private final String text;

    private HashText(String text) {
        this.text = text;
    }

    // ---- Making one ----

    /**
     * Takes a hash text apart. Hex digits in lower case become upper case.
     *
     * @param text 128 characters, the first eight decimal digits and the others hex digits
     * @return the hash
     * @throws IllegalArgumentException when it is no such text
     */
    public static HashText parse(String text) {
        if (!SHAPE.matcher(text).matches()) {
            throw new IllegalArgumentException("no hash text: \"" + text + "\"");
        }
        return new HashText(text.toUpperCase(Locale.ROOT));
    }

    /**
     * Hashes a file by its media in version 3, as {@link KeloMediaHashGenerator#createHash} does.
     *
     * @param file a file that can be read
     * @return its hash
     * @throws IOException when the file cannot be opened
     * @throws KeloMediaHashException with any code of {@code createHash}, or {@code HASHCREATE_INVALID_HASH} for a file
     *     that succeeds without labels
     */
    public static HashText of(Path file) throws IOException, KeloMediaHashException {
        return of(file, MODE_NORMAL, HashText::of);
    }

    /**
     * Hashes a file by its media in the version that fits, sampled or whole.
     *
     * @param file a file that can be read
     * @param option what to do
     * @param others what to do as well
     * @return its hash
     * @throws IOException when the file cannot be opened or read
     * @throws KeloMediaHashException with the code that the preferred version gives when neither can hash the file:
     *     any of {@code createHash}, or {@code HASHCREATE_INVALID_HASH} for a file that succeeds without labels
     * @throws IllegalArgumentException when the options prefer both versions
     */
    public static HashText of(Path file, Option option, Option... others) throws IOException, KeloMediaHashException {
        int flags = Option.flags(EnumSet.of(option, others));
        byte[] text = new byte[LENGTH];
        return made(Input.byPathOrChannel(file, (path, reader) -> Natives.hash(path, reader, flags, text)), text);
    }

    /**
     * Hashes what a channel holds by its media in version 3, as {@link #of(Path)} does a file. The channel is read from
     * its first byte and stays open; one that is no {@link java.nio.channels.FileChannel} is left at any position.
     *
     * @param channel the file
     * @return its hash
     * @throws IOException what the channel throws
     * @throws KeloMediaHashException as {@link #of(Path)}
     */
    public static HashText of(SeekableByteChannel channel) throws IOException, KeloMediaHashException {
        return of(channel, MODE_NORMAL);
    }

    /**
     * Hashes what a channel holds by its media in the version that fits, as {@link #of(Path, Option, Option...)} does a
     * file. The channel is read from its first byte and stays open; one that is no {@link
     * java.nio.channels.FileChannel} is left at any position.
     *
     * @param channel the file
     * @param option what to do
     * @param others what to do as well
     * @return its hash
     * @throws IOException what the channel throws
     * @throws KeloMediaHashException as {@link #of(Path, Option, Option...)}
     * @throws IllegalArgumentException when the options prefer both versions
     */
    public static HashText of(SeekableByteChannel channel, Option option, Option... others)
            throws IOException, KeloMediaHashException {
        int flags = Option.flags(EnumSet.of(option, others));
        byte[] text = new byte[LENGTH];
        return made(Input.byChannel(channel, (path, reader) -> Natives.hash(path, reader, flags, text)), text);
    }

    /**
     * Hashes a stream by its media in version 3, as {@link KeloMediaHashGenerator#createHash} does, and closes it.
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
        return of(file, MODE_QUICK, HashText::quickOf);
    }

    /**
     * Hashes what a channel holds by its size and bytes, whatever it is, as {@link #quickOf(Path)} does a file. The
     * channel is read from its first byte and stays open; one that is no {@link java.nio.channels.FileChannel} is left
     * at any position.
     *
     * @param channel the file
     * @return its hash
     * @throws IOException what the channel throws
     * @throws KeloMediaHashException with any code of {@code createQuickFileHash}
     */
    public static HashText quickOf(SeekableByteChannel channel) throws IOException, KeloMediaHashException {
        return of(channel, MODE_QUICK);
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
     * @return {@code PHOTO}, {@code VIDEO}, {@code AUDIO}, {@code OTHER} (a few ASF files) or {@code UNKWN} (quick
     *     hashes)
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
     * Tells whether the hash covers every byte of the payload.
     *
     * @return false when it may rest on samples
     */
    public boolean isWhole() {
        return text.startsWith("F1", 116);
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
     * Hashes a file in the way in which this hash was made (version, sampled or whole, quick) and compares.
     *
     * @param file a file that can be read
     * @return what they differ in, a new set; empty for the same media
     * @throws IOException when the file cannot be opened or read
     * @throws KeloMediaHashException with any code of {@code createHash}; {@code HASHCREATE_NON_SUPPORTED} also for a
     *     hash of a version or an algorithm that this library does not know
     */
    public EnumSet<Difference> differencesTo(Path file) throws IOException, KeloMediaHashException {
        byte[] hash = NativePath.endedByNul(text);
        if (isPlain()) {
            int flags = Input.byPath(file, (path, reader) -> Natives.compareHash(path, reader, hash));
            return Input.isUnreadable(flags) ? Input.byStream(file, this::differencesTo) : differences(flags);
        }
        return differences(Input.byPathOrChannel(file, (path, reader) -> Natives.verify(path, reader, hash)));
    }

    /**
     * Hashes what a channel holds in the way in which this hash was made and compares, as {@link #differencesTo(Path)}
     * does with a file. The channel is read from its first byte and stays open; one that is no {@link
     * java.nio.channels.FileChannel} is left at any position.
     *
     * @param channel the file
     * @return what they differ in, a new set; empty for the same media
     * @throws IOException what the channel throws
     * @throws KeloMediaHashException as {@link #differencesTo(Path)}
     */
    public EnumSet<Difference> differencesTo(SeekableByteChannel channel) throws IOException, KeloMediaHashException {
        byte[] hash = NativePath.endedByNul(text);
        return differences(Input.byChannel(channel, (path, reader) ->
                isPlain() ? Natives.compareHash(path, reader, hash) : Natives.verify(path, reader, hash)));
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

    private static HashText of(Path file, int mode, Input.StreamCall<HashText> call)
            throws IOException, KeloMediaHashException {
        byte[] text = new byte[LENGTH];
        int code = Input.byPath(file, (path, reader) -> Natives.createHash(path, reader, mode, text));
        return Input.isUnreadable(code) ? Input.byStream(file, call) : made(code, text);
    }

    private static HashText of(SeekableByteChannel channel, int mode) throws IOException, KeloMediaHashException {
        byte[] text = new byte[LENGTH];
        return made(Input.byChannel(channel, (path, reader) -> Natives.createHash(path, reader, mode, text)), text);
    }

    private static HashText made(int code, byte[] text) throws KeloMediaHashException {
        if (code < 0) {
            throw failure(code);
        }
        return ofNative(new String(text, StandardCharsets.ISO_8859_1));
    }

    private static HashText ofNative(String text) throws KeloMediaHashException {
        if (!SHAPE.matcher(text).matches()) {
            throw failure(KeloMediaHashException.HASHCREATE_INVALID_HASH);
        }
        return new HashText(text);
    }

    /** Whether {@code compareHash} knows how the hash was made. */
    private boolean isPlain() {
        return getMajorVersion() <= 3 && !isWhole();
    }

    private EnumSet<Difference> differencesTo(InputStream in, long size) throws KeloMediaHashException {
        return Difference.ofFlags(KeloMediaHashGenerator.compareHash(in, size, text));
    }

    private static EnumSet<Difference> differences(int flags) throws KeloMediaHashException {
        if (flags < 0) {
            throw failure(flags);
        }
        return Difference.ofFlags(flags);
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
