package com.kelo.kmhash.spark;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.IOException;
import java.io.Serializable;
import java.nio.channels.SeekableByteChannel;

/** How to hash. Immutable. */
final class HashOptions implements Serializable {
    private static final long serialVersionUID = 1L;

    final boolean whole;
    private final HashText.Option version;

    HashOptions(String version, boolean whole) {
        this.version =
                version.equals("4") ? HashText.Option.PREFER_VERSION_4 : HashText.Option.PREFER_VERSION_3;
        this.whole = whole;
    }

    /** The options of {@link KmHashJob} that say the same. */
    @Override
    public String toString() {
        return "--prefer " + (version == HashText.Option.PREFER_VERSION_4 ? 4 : 3) + (whole ? " --whole" : "");
    }

    /** Hashes the file that a channel holds, from its first byte; throws what HashText.of does. */
    HashText hash(SeekableByteChannel file) throws IOException, KeloMediaHashException {
        return whole ? HashText.of(file, version, HashText.Option.WHOLE) : HashText.of(file, version);
    }
}
