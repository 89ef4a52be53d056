package com.kelo.kmhash;

import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.Path;
import java.util.Arrays;

/** Paths as the system has them, in bytes. */
final class NativePath {
    private NativePath() {}

    /** The bytes of a path and a NUL behind them, or null when it is of another file system than the default one. */
    static byte[] of(Path file) {
        if (file.getFileSystem() != FileSystems.getDefault()) {
            return null;
        }
        String text = file.toString();
        if (isAscii(text)) {
            return endedByNul(text);
        }
        URI uri = file.toUri();
        return "file".equals(uri.getScheme()) ? unescaped(uri.getRawPath()) : null;
    }

    static byte[] endedByNul(String ascii) {
        return Arrays.copyOf(ascii.getBytes(StandardCharsets.ISO_8859_1), ascii.length() + 1);
    }

    /** Any other character may stand for a byte that the encoding of file names does not have. */
    private static boolean isAscii(String text) {
        for (int i = 0; i < text.length(); i++) {
            if (text.charAt(i) >= 0x80) {
                return false;
            }
        }
        return true;
    }

    /** A URI has every byte of a path, those that are not ASCII escaped, whatever the encoding of file names. */
    private static byte[] unescaped(String path) {
        byte[] bytes = new byte[path.length() + 1];
        int length = 0;
        for (int i = 0; i < path.length(); i++) {
            boolean escaped = path.charAt(i) == '%';
            bytes[length++] = (byte) (escaped ? Integer.parseInt(path.substring(i + 1, i + 3), 16) : path.charAt(i));
            i += escaped ? 2 : 0;
        }
        return Arrays.copyOf(bytes, length + 1);
    }
}
