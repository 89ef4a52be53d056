package com.kelo.kmhash;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.util.function.IntUnaryOperator;

/** A channel that delivers and throws as a test wants. */
final class TestChannel implements SeekableByteChannel {
    /** How many of the bytes that a call asks for it delivers. */
    IntUnaryOperator reads = count -> count;

    /** Which read throws the failure, counted from 1; 0 for none. */
    int readThatThrows;

    int readCalls;
    final IOException failure = new IOException("read");
    private final byte[] bytes;
    private int position;

    TestChannel(byte[] bytes) {
        this.bytes = bytes;
    }

    @Override
    public int read(ByteBuffer to) throws IOException {
        if (++readCalls == readThatThrows) throw failure;
        int count = Math.min(reads.applyAsInt(to.remaining()), bytes.length - position);
        to.put(bytes, position, count);
        position += count;
        return Integer.MAX_VALUE; // is not to be believed
    }

    @Override
    public SeekableByteChannel position(long position) {
        this.position = (int) position;
        return this;
    }

    @Override
    public long size() {
        return bytes.length;
    }

    @Override public long position() { throw new AssertionError(); }

    @Override public int write(ByteBuffer from) { throw new AssertionError(); }

    @Override public SeekableByteChannel truncate(long size) { throw new AssertionError(); }

    @Override public boolean isOpen() { return true; }

    @Override public void close() { throw new AssertionError(); }
}
