package com.kelo.kmhash;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.channels.SeekableByteChannel;

/** A channel as the native side reads it, which looks its members up by their names. */
final class ChannelReader {
    final long size;
    private final SeekableByteChannel channel;

    ChannelReader(SeekableByteChannel channel) throws IOException {
        this.channel = channel;
        size = channel.size();
    }

    /** How many of {@code count} bytes at {@code offset} are now in {@code bytes}, 0 at the end. */
    int readAt(long offset, byte[] bytes, int count) throws IOException {
        ByteBuffer buffer = ByteBuffer.wrap(bytes, 0, count);
        if (channel instanceof FileChannel) {
            ((FileChannel) channel).read(buffer, offset);
        } else {
            channel.position(offset);
            channel.read(buffer);
        }
        return buffer.position(); // whatever the channel says
    }
}
