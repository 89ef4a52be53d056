package com.kelo.kmhash.spark;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.NonWritableChannelException;
import java.nio.channels.SeekableByteChannel;

/** Bytes that can be read at any position, as a channel of the kind that hashing takes. It has nothing to close. */
final class BytesChannel implements SeekableByteChannel {
    private final Source source;
    private final long size;
    private long position;

    BytesChannel(Source source, long size) {
        this.source = source;
        this.size = size;
    }

    /** The first {@code size} of {@code bytes}. */
    BytesChannel(byte[] bytes, int size) {
        this((position, target, offset, count) -> {
            int taken = (int) Math.max(0, Math.min(count, size - position));
            System.arraycopy(bytes, taken == 0 ? 0 : (int) position, target, offset, taken);
            return taken;
        }, size);
    }

    /** Where the bytes come from. */
    interface Source {
        /** Reads up to {@code count} bytes at {@code position} and returns how many it read, 0 or less at the end. */
        int read(long position, byte[] target, int offset, int count) throws IOException;
    }

    /** {@code target} has an array, as all buffers have that hashing hands in. */
    @Override
    public int read(ByteBuffer target) throws IOException {
        int from = target.arrayOffset() + target.position();
        int count = source.read(position, target.array(), from, target.remaining());
        target.position(target.position() + Math.max(count, 0));
        position += Math.max(count, 0);
        return count;
    }

    @Override
    public long position() {
        return position;
    }

    @Override
    public SeekableByteChannel position(long newPosition) {
        position = newPosition;
        return this;
    }

    @Override
    public long size() {
        return size;
    }

    @Override
    public boolean isOpen() {
        return true;
    }

    @Override
    public void close() {}

    @Override
    public int write(ByteBuffer source) {
        throw new NonWritableChannelException();
    }

    @Override
    public SeekableByteChannel truncate(long newSize) {
        throw new NonWritableChannelException();
    }
}
