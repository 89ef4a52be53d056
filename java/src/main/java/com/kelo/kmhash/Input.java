package com.kelo.kmhash;

import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;

/** The ways to a file's bytes. The native side reads a path by itself, and a channel or a stream call by call. */
final class Input {
    static final int UNREADABLE = KeloMediaHashException.HASHCREATE_FILE_NOTFOUND;

    private Input() {}

    interface Call {
        int of(byte[] path, ChannelReader reader) throws IOException;
    }

    interface StreamCall<T> {
        T of(InputStream in, long size) throws IOException, KeloMediaHashException;
    }

    /** {@link #UNREADABLE} also for a path of another file system than the default one. */
    static int byPath(Path file, Call call) throws IOException {
        byte[] path = NativePath.of(file);
        return path == null ? UNREADABLE : call.of(path, null);
    }

    static int byChannel(SeekableByteChannel channel, Call call) throws IOException {
        return call.of(null, new ChannelReader(channel));
    }

    /** By path, and by a channel where that does not do: it tells why the system refuses a file. */
    static int byPathOrChannel(Path file, Call call) throws IOException {
        int result = byPath(file, call);
        if (!isUnreadable(result)) {
            return result;
        }
        try (SeekableByteChannel channel = Files.newByteChannel(file)) {
            return byChannel(channel, call);
        }
    }

    static <T> T byStream(Path file, StreamCall<T> call) throws IOException, KeloMediaHashException {
        try (InputStream in = open(file)) {
            return call.of(in, Files.size(file));
        }
    }

    /** Whether the system may have refused to open or read a file. */
    static boolean isUnreadable(int result) {
        return result == UNREADABLE || result == KeloMediaHashException.HASHCREATE_ERROR;
    }

    /** A FileInputStream skips by seeking; what Files opens reads all that it skips on older systems. */
    private static InputStream open(Path file) throws IOException {
        boolean plain = file.getFileSystem() == FileSystems.getDefault();
        return plain ? new FileInputStream(file.toFile()) : Files.newInputStream(file);
    }
}
