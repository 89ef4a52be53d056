package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import com.kelo.kmhash.HashText.*;
import com.kelo.kmhash.KeloMediaHashGeneratorTest.Media;
import java.io.FileNotFoundException;
import java.lang.reflect.Field;
import java.net.URI;
import java.nio.file.*;
import java.util.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

class HashTextTest {
    private static final Media PNG = Media.named("png-palette-text.png");
    private static final String TEXT = PNG.hash();

    /** The text with others of its characters from a place on. */
    private static HashText with(int place, String characters) {
        return HashText.parse(TEXT.substring(0, place) + characters + TEXT.substring(place + characters.length()));
    }

    @Test
    void itsPartsAreThoseOfTheText() {
        HashText hash = with(0, "00120034");
        assertEquals("12.34 PHOTO PNG  3", hash.getMajorVersion() + "." + hash.getMinorVersion() + " "
                + hash.getFileType() + " " + hash.getFormatType() + " " + hash.getAlgorithmId());
        assertEquals(TEXT.substring(18, 98), hash.getContent() + hash.getMeta());
        for (String other : new String[] {"", TEXT + "0", "A" + TEXT.substring(1), TEXT.substring(1) + "\0"}) {
            assertThrows(IllegalArgumentException.class, () -> HashText.parse(other), other);
        }
    }

    /** The library has the names; the enumeration and the constants of the exception have them once more. */
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
        for (Field field : KeloMediaHashException.class.getFields()) codes.put(field.getInt(null), field.getName());
        for (int code = -300; code < 10; code++) assertEquals(Natives.resultName(code), codes.get(code));
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

    @Test
    void hashesFilesByPath() throws Exception {
        Path other = Media.named("png-large.png").path();
        assertEquals(TEXT, HashText.of(PNG.path()).toString());
        assertEquals(PNG.quick(), HashText.quickOf(PNG.path()).toString());
        assertEquals(EnumSet.noneOf(Difference.class), HashText.of(PNG.path()).differencesTo(PNG.path()));
        assertEquals(EnumSet.of(Difference.CONTENT, Difference.META), HashText.of(PNG.path()).differencesTo(other));
    }

    /** One name has every kind of byte that a path can hold and its encoding may not, the others refuse to be read. */
    @Test
    void filesAreFoundByTheBytesOfTheirNames(@TempDir Path folder) throws Exception {
        Path odd = Path.of(URI.create(folder.toUri() + "%25%20%C3%A4%FF.png"));
        Files.copy(PNG.path(), odd);
        assertEquals(TEXT, HashText.of(odd).toString());
        assertEquals(EnumSet.noneOf(Difference.class), HashText.parse(PNG.quick()).differencesTo(odd));
        for (Path path : List.of(folder, folder.resolve("none"))) {
            assertThrows(FileNotFoundException.class, () -> HashText.of(path));
            assertThrows(FileNotFoundException.class, () -> HashText.of(odd).differencesTo(path));
        }
    }

    /** An ID3 tag and nothing else succeeds without labels. */
    @Test
    void aFileWithoutLabelsHasNoHashText(@TempDir Path folder) throws Exception {
        Path file = Files.write(folder.resolve("tag.mp3"), new byte[] {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 4, 1, 2, 3, 4});
        assertEquals(-11, assertThrows(KeloMediaHashException.class, () -> HashText.of(file)).getCode());
    }
}
