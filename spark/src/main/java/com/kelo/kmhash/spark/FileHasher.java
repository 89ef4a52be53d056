package com.kelo.kmhash.spark;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.EOFException;
import java.io.IOException;
import java.util.concurrent.ExecutionException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocalFileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.spark.TaskContext;
import org.apache.spark.TaskKilledException;
import org.apache.spark.sql.Row;

/**
 * Hashes files of stores, one after the other, on one thread. A file that cannot be hashed is an answer, not an
 * exception; only a task that is being killed ends with a {@link TaskKilledException}.
 */
final class FileHasher {
    static final int UNREADABLE = KeloMediaHashException.HASHCREATE_FILE_NOTFOUND;

    /** Reads asked of the stores and bytes read, since whoever takes them over has set them to 0. */
    long requests;
    long bytes;

    private final Configuration configuration;
    private final HashOptions options;
    private final int readAhead;
    private byte[] ahead = new byte[0];

    /** Files of up to {@code readAhead} bytes are read whole in one request, and held on the heap meanwhile. */
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

    /** As {@link #hash(String, long)}, of a file whose length the store has to tell. */
    HashText hash(String source) throws KeloMediaHashException {
        try {
            Path path = new Path(source);
            return hash(source, path.getFileSystem(configuration).getFileStatus(path).getLen());
        } catch (IOException | RuntimeException e) {
            throw failure(UNREADABLE);
        }
    }

    /** Throws also for what the store refuses, each with its code; {@code length} is in bytes. */
    HashText hash(String source, long length) throws KeloMediaHashException {
        if (length == 0) { // pipes and devices too, which must not be opened
            throw failure(KeloMediaHashException.HASHCREATE_NON_SUPPORTED);
        }
        try (FSDataInputStream in = open(source, length)) {
            return options.hash(length <= readAhead ? readWhole(in, (int) length) : inPieces(in, length));
        } catch (EOFException e) {
            throw failure(KeloMediaHashException.HASHCREATE_READ_ERROR);
        } catch (IOException | RuntimeException e) { // of the latter stores throw what they like
            throw failure(KeloMediaHashException.HASHCREATE_ERROR);
        }
    }

    private FSDataInputStream open(String source, long length) throws KeloMediaHashException {
        boolean whole = options.whole || length <= readAhead;
        try {
            Path path = new Path(source);
            FileSystem store = path.getFileSystem(configuration);
            if (store instanceof LocalFileSystem) {
                store = ((LocalFileSystem) store).getRaw(); // the other looks for a file of check sums beside each one
            }
            return store.openFile(path) // what a store does not know of these it passes over
                    .opt("fs.option.openfile.read.policy", whole ? "whole-file" : "random")
                    .opt("fs.s3a.experimental.input.fadvise", whole ? "sequential" : "random")
                    .opt("fs.option.openfile.length", Long.toString(length))
                    .build()
                    .get();
        } catch (IOException | ExecutionException | InterruptedException | RuntimeException e) {
            throw failure(UNREADABLE);
        }
    }

    /**
     * Ends a task that is being killed. Of what fails in such a one it may be the interruption that made it fail, in
     * whatever a store wraps that, and the file is for another task.
     */
    static void endIfKilled() {
        TaskContext task = TaskContext.get();
        if (task != null && task.isInterrupted()) {
            throw new TaskKilledException("in the middle of a file");
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

    /** What is thrown for a file, unless it is the task that has come to its end. */
    private static KeloMediaHashException failure(int code) {
        endIfKilled();
        return new KeloMediaHashException(code, "");
    }
}
