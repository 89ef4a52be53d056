package com.kelo.kmhash.spark;

import java.io.Serializable;
import java.util.LinkedHashMap;
import java.util.stream.Collectors;
import org.apache.spark.SparkContext;
import org.apache.spark.util.LongAccumulator;

/** What a run did, summed up over all machines. */
final class Summary implements Serializable {
    private static final long serialVersionUID = 1L;

    private final LinkedHashMap<String, LongAccumulator> sums = new LinkedHashMap<>();

    Summary(SparkContext context) {
        for (String name : new String[] {"hashed", "unsupported", "failed", "requests", "bytes"}) {
            sums.put(name, context.longAccumulator(name));
        }
    }

    /** Adds a file of a status, and takes over what its hasher counted. */
    void add(String status, FileHasher hasher) {
        sums.get(status).add(1);
        sums.get("requests").add(hasher.requests);
        sums.get("bytes").add(hasher.bytes);
        hasher.requests = 0;
        hasher.bytes = 0;
    }

    /** One line, such as {@code KmHashJob: hashed 2, unsupported 0, failed 0, requests 208, bytes 40960}. */
    @Override
    public String toString() {
        return "KmHashJob: " + sums.entrySet().stream()
                .map(sum -> sum.getKey() + " " + sum.getValue().value())
                .collect(Collectors.joining(", "));
    }
}
