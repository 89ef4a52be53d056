package com.kelo.kmhash.spark;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.EOFException;
import java.io.IOException;
import java.io.InterruptedIOException;
import java.io.UncheckedIOException;
import java.net.SocketTimeoutException;
import java.nio.channels.ClosedByInterruptException;
import java.util.concurrent.ExecutionException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocalFileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.spark.sql.Row;

/** Hashes files of a store, one after the other. A file that cannot be hashed is an answer, not an exception. */
final class FileHasher {
    static final int UNREADABLE = KeloMediaHashException.HASHCREATE_FILE_NOTFOUND;

    /** Requests sent and bytes read so far. */
    long requests;
    long bytes;

    private final Configuration configuration;
    private final HashOptions options;
    private final int readAhead;
    private byte[] ahead = new byte[0];

    /** Files of up to {@code readAhead} bytes are read whole in one request. */
    FileHasher(Configuration configuration, HashOptions options, int readAhead) {
        this.configuration = configuration;
        this.options = options;
        this.readAhead = readAhead;
    }

    /** The row of the file that the store has under {@code source}; {@code modified} is in nanoseconds since 1970. */
    Row row(String source, long length, long modified) {
        String path = Table.shown(source);
        try {
            return Table.row(path, length, modified, KeloMediaHashException.HASHCREATE_SUCCESS, hash(source, length));
        } catch (KeloMediaHashException e) {
            return Table.row(path, length, modified, e.getCode(), null);
        }
    }

    /** Throws also for what the store refuses, each with its code. */
    HashText hash(String source, long length) throws KeloMediaHashException {
        if (length == 0) { // pipes and devices too, which must not be opened
            throw failure(KeloMediaHashException.HASHCREATE_NON_SUPPORTED);
        }
        try (FSDataInputStream in = open(new Path(source), length)) {
            if (in == null) {
                throw failure(UNREADABLE);
            }
            return options.hash(length <= readAhead ? readWhole(in, (int) length) : inPieces(in, length));
        } catch (EOFException e) {
            throw failure(KeloMediaHashException.HASHCREATE_READ_ERROR);
        } catch (SocketTimeoutException e) { // an interruption by its type alone
            throw failure(KeloMediaHashException.HASHCREATE_ERROR);
        } catch (InterruptedIOException | ClosedByInterruptException e) {
            throw new UncheckedIOException(e); // the task is to end, and the file is for another one
        } catch (IOException | RuntimeException e) { // of the latter stores throw what they like
            throw failure(KeloMediaHashException.HASHCREATE_ERROR);
        }
    }

    /** Null when the store refuses. */
    private FSDataInputStream open(Path path, long length) throws IOException {
        FileSystem store = path.getFileSystem(configuration);
        if (store instanceof LocalFileSystem) {
            store = ((LocalFileSystem) store).getRaw(); // the other looks for a file of check sums beside each one
        }
        boolean whole = options.whole || length <= readAhead;
        try {
            return store.openFile(path) // what a store does not know of these it passes over
                    .opt("fs.option.openfile.read.policy", whole ? "whole-file" : "random")
                    .opt("fs.s3a.experimental.input.fadvise", whole ? "sequential" : "random")
                    .opt("fs.option.openfile.length", Long.toString(length))
                    .build()
                    .get();
        } catch (ExecutionException | SocketTimeoutException | RuntimeException e) {
            return null;
        } catch (InterruptedIOException | InterruptedException e) {
            throw new InterruptedIOException();
        } catch (IOException e) {
            return null;
        }
    }

    private BytesChannel readWhole(FSDataInputStream in, int length) throws IOException {
        if (ahead.length < length) {
            ahead = new byte[length];
        }
        in.readFully(0, ahead, 0, length);
        requests++;
        bytes += length;
        return new BytesChannel(ahead, length);
    }

    private BytesChannel inPieces(FSDataInputStream in, long length) {
        return new BytesChannel((position, target, offset, count) -> {
            int taken = in.read(position, target, offset, count);
            requests++;
            bytes += Math.max(taken, 0);
            return taken;
        }, length);
    }

    private static KeloMediaHashException failure(int code) {
        return new KeloMediaHashException(code, "");
    }
}
