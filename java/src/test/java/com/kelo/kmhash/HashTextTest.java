package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import com.kelo.kmhash.HashText.Difference;
import com.kelo.kmhash.KeloMediaHashGeneratorTest.Media;
import java.io.FileNotFoundException;
import java.nio.file.*;
import java.util.EnumSet;
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
        assertEquals("PNG FLAC UNKNOWN QUICK", hash.getAlgorithm() + " " + with(114, "0e").getAlgorithm() + " "
                + with(114, "0F").getAlgorithm() + " " + with(114, "FF").getAlgorithm());
        for (String other : new String[] {"", TEXT + "0", "A" + TEXT.substring(1), TEXT.substring(1) + "\0"}) {
            assertThrows(IllegalArgumentException.class, () -> HashText.parse(other), other);
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

    @Test
    void hashesFilesByPath() throws Exception {
        Path other = Media.named("png-large.png").path();
        assertEquals(TEXT, HashText.of(PNG.path()).toString());
        assertEquals(PNG.quick(), HashText.quickOf(PNG.path()).toString());
        assertEquals(EnumSet.noneOf(Difference.class), HashText.of(PNG.path()).differencesTo(PNG.path()));
        assertEquals(EnumSet.of(Difference.CONTENT, Difference.META), HashText.of(PNG.path()).differencesTo(other));
        assertThrows(FileNotFoundException.class, () -> HashText.of(other.resolveSibling("none")));
    }

    /** An ID3 tag and nothing else succeeds without labels. */
    @Test
    void aFileWithoutLabelsHasNoHashText(@TempDir Path folder) throws Exception {
        Path file = Files.write(folder.resolve("tag.mp3"), new byte[] {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 4, 1, 2, 3, 4});
        assertEquals(-11, assertThrows(KeloMediaHashException.class, () -> HashText.of(file)).getCode());
    }
}
