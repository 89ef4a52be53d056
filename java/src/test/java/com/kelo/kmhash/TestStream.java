package com.kelo.kmhash;

import java.io.*;
import java.util.function.LongUnaryOperator;

/** A stream that delivers, skips and throws as a test wants. */
final class TestStream extends FilterInputStream {
    /** How many of the bytes that a call asks for it handles, or claims to. */
    LongUnaryOperator reads = count -> count;
    LongUnaryOperator skips = count -> count;

    /** Which call throws, counted from 1; 0 for none. */
    int readThatThrows, skipThatThrows, closeThatThrows;

    int readCalls, skipCalls, closeCalls;
    long leastSkip = Long.MAX_VALUE;
    final byte[] bytes;

    TestStream(byte[] bytes) {
        super(new ByteArrayInputStream(bytes));
        this.bytes = bytes;
    }

    TestStream(byte[] bytes, LongUnaryOperator amount) {
        this(bytes);
        reads = skips = amount;
    }

    @Override
    public int read(byte[] buffer, int offset, int count) throws IOException {
        if (++readCalls == readThatThrows) throw new IOException("read");
        long claimed = reads.applyAsLong(count);
        int delivered = in.read(buffer, offset, (int) Math.min(claimed, count));
        return claimed > count ? (int) claimed : delivered;
    }

    @Override
    public long skip(long count) throws IOException {
        leastSkip = Math.min(leastSkip, count);
        if (++skipCalls == skipThatThrows) throw new IOException("skip");
        long claimed = skips.applyAsLong(count);
        long skipped = in.skip(Math.min(claimed, count));
        return claimed > count || claimed < 0 ? claimed : skipped;
    }

    @Override
    public void close() throws IOException {
        if (++closeCalls == closeThatThrows) throw new IOException("close");
    }
}
