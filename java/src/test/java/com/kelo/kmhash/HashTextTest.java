package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import com.kelo.kmhash.HashText.*;
import com.kelo.kmhash.KeloMediaHashGeneratorTest.Media;
import java.io.*;
import java.lang.reflect.Field;
import java.net.URI;
import java.nio.channels.*;
import java.nio.file.*;
import java.util.*;
import java.util.function.Function;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class HashTextTest {
    private static final Media PNG = Media.named("png-palette-text.png");
    private static final String TEXT = PNG.hash();

    /** The text with others of its characters from a place on. */
    private static HashText with(int place, String characters) {
        int rest = place + characters.length();
        return HashText.parse(TEXT.substring(0, place) + characters + TEXT.substring(rest));
    }

    private static String version(HashText hash) {
        return hash.getMajorVersion() + "." + hash.getMinorVersion();
    }

    @Test
    void itsPartsAreThoseOfTheText() {
        HashText hash = with(0, "00120034");
        assertEquals("12.34 PHOTO PNG  3", version(hash) + " " + hash.getFileType() + " "
                + hash.getFormatType() + " " + hash.getAlgorithmId());
        assertEquals(TEXT.substring(18, 98), hash.getContent() + hash.getMeta());
        assertEquals(TEXT, HashText.parse(TEXT.toLowerCase(Locale.ROOT)).toString());
        String tail = TEXT.substring(1);
        for (String other : List.of("", TEXT + "0", "A" + tail, tail + "\0")) {
            assertThrows(IllegalArgumentException.class, () -> HashText.parse(other), other);
        }
    }

    /** The enumeration and the constants of the exception repeat what the library knows. */
    @Test
    void namesAreTheLibrarys() throws Exception {
        Set<String> names = new TreeSet<>(Set.of("UNKNOWN"));
        for (int id = 0; id < 256; id++) {
            String name = Natives.algorithmName(id);
            Algorithm algorithm = with(114, String.format("%02x", id)).getAlgorithm();
            assertEquals(name == null ? "UNKNOWN" : name, algorithm.name());
            names.add(algorithm.name());
        }
        assertEquals(Algorithm.values().length, names.size());
        Map<Integer, String> codes = new TreeMap<>();
        for (Field field : KeloMediaHashException.class.getFields()) {
            codes.put(field.getInt(null), field.getName());
        }
        for (int code = -300; code < 10; code++) {
            assertEquals(Natives.resultName(code), codes.get(code));
        }
    }

    @Test
    void comparesAsTheLibraryDoes() throws Exception {
        HashText hash = HashText.parse(TEXT);
        for (int i = 0; i < TEXT.length(); i++) {
            HashText other = with(i, TEXT.charAt(i) == '9' ? "8" : "9");
            int flags = KeloMediaHashGenerator.compareBetweenHash(TEXT, other.toString());
            assertEquals(Difference.ofFlags(flags), hash.differencesTo(other), "character " + i);
            assertEquals(flags == 0, hash.equals(other), "character " + i);
            assertTrue(flags != 0 || hash.hashCode() == other.hashCode());
        }
    }

    // ---- Options and channels ----

    private interface Maker {
        HashText make() throws Exception;
    }

    /** The text, the code of a failure, or -11 for a file without labels. */
    private static String answer(Maker maker) throws Exception {
        try {
            return maker.make().toString();
        } catch (KeloMediaHashException e) {
            return Integer.toString(e.getCode());
        }
    }

    private static HashText make(SeekableByteChannel channel, Option[] options) throws Exception {
        boolean plain = options.length == 0;
        return plain ? HashText.of(channel) : HashText.of(channel, options[0], options);
    }

    private static HashText make(Path path, Option[] options) throws Exception {
        return options.length == 0 ? HashText.of(path) : HashText.of(path, options[0], options);
    }

    private record Way(Function<Media, String> recorded, Option... options) {}

    @Test
    void pathsAndChannelsAnswerAlike() throws Exception {
        for (Way way : List.of(new Way(Media::hash), new Way(Media::hash4, Option.PREFER_VERSION_4),
                new Way(Media::whole4, Option.WHOLE, Option.PREFER_VERSION_4))) {
            Option[] options = way.options;
            for (Media media : Media.all()) {
                Path path = media.path();
                String text = way.recorded.apply(media);
                assertEquals(text, answer(() -> make(path, options)), path + "");
                TestChannel small = new TestChannel(media.bytes());
                small.reads = count -> Math.min(count, 100);
                assertEquals(text, answer(() -> make(small, options)), path + "");
                try (FileChannel file = FileChannel.open(path)) {
                    assertEquals(text, answer(() -> make(file, options)), path + "");
                    assertEquals(0, file.position());
                    if (text.length() < 128) continue;
                    HashText hash = HashText.parse(text);
                    assertEquals(options.length > 1, hash.isWhole());
                    assertTrue(hash.differencesTo(path).isEmpty(), path + "");
                    assertTrue(hash.differencesTo(file).isEmpty(), path + "");
                }
            }
        }
        assertEquals(PNG.quick(), HashText.quickOf(PNG.path()).toString());
        assertEquals(PNG.quick(), HashText.quickOf(new TestChannel(PNG.bytes())).toString());
        assertEquals(EnumSet.of(Difference.CONTENT, Difference.META),
                HashText.parse(TEXT).differencesTo(Media.named("png-large.png").path()));
    }

    @Test
    void optionsChooseTheVersion() throws Exception {
        Path webp = Media.named("webp.webp").path();
        assertEquals("-9", answer(() -> HashText.of(webp)));
        assertEquals("4.0", version(HashText.of(webp, Option.PREFER_VERSION_3)));
        assertEquals("3.0", version(HashText.of(PNG.path(), Option.PREFER_VERSION_3)));
        HashText whole = HashText.of(PNG.path(), Option.WHOLE);
        assertEquals("3.1 []", version(whole) + " " + whole.differencesTo(PNG.path()));
        var unknown = assertThrows(KeloMediaHashException.class,
                () -> with(0, "0005").differencesTo(PNG.path()));
        assertEquals(-9, unknown.getCode());
        assertThrows(IllegalArgumentException.class,
                () -> HashText.of(webp, Option.PREFER_VERSION_3, Option.PREFER_VERSION_4));
    }

    @Test
    void whatAChannelThrowsComesThrough() throws Exception {
        for (Option[] options : new Option[][] {{}, {Option.PREFER_VERSION_4}}) {
            for (Media media : Media.all()) {
                for (int n = 1;; n += 1 + n / 10) {
                    TestChannel channel = new TestChannel(media.bytes());
                    channel.readThatThrows = n;
                    Exception thrown = null;
                    try {
                        make(channel, options);
                    } catch (IOException | KeloMediaHashException e) {
                        thrown = e;
                    }
                    if (channel.readCalls < n) break;
                    assertSame(channel.failure, thrown, media.path() + ", read " + n);
                    assertEquals(n, channel.readCalls);
                }
            }
        }
        TestChannel empty = new TestChannel(PNG.bytes());
        File failingSystemCall = new File("/no/such/file");
        empty.reads = count -> (int) failingSystemCall.length();
        assertEquals("-5", answer(() -> HashText.of(empty)));
        assertThrows(NoSuchFileException.class, () -> HashText.of(Path.of("none"), Option.WHOLE));
        assertThrows(IOException.class, () -> HashText.of(Path.of("."), Option.WHOLE));
    }

    /** One name has every kind of byte, in its encoding or not; the others refuse to be read. */
    @Test
    void filesAreFoundByTheBytesOfTheirNames(@TempDir Path folder) throws Exception {
        Path odd = Path.of(URI.create(folder.toUri() + "%25%20%C3%A4%FF.png"));
        Files.copy(PNG.path(), odd);
        assertEquals(TEXT, HashText.of(odd).toString());
        assertTrue(HashText.parse(PNG.quick()).differencesTo(odd).isEmpty());
        for (Path path : List.of(folder, folder.resolve("none"))) {
            assertThrows(FileNotFoundException.class, () -> HashText.of(path));
            assertThrows(FileNotFoundException.class, () -> HashText.of(odd).differencesTo(path));
        }
    }

    /** An ID3 tag and nothing else succeeds without labels. */
    @Test
    void aFileWithoutLabelsHasNoHashText(@TempDir Path folder) throws Exception {
        Path file = folder.resolve("tag.mp3");
        Files.write(file, new byte[] {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 4, 1, 2, 3, 4});
        assertEquals("-11", answer(() -> HashText.of(file)));
    }
}
