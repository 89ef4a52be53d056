package com.kelo.kmhash.spark;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Paths;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.Deque;
import java.util.Iterator;
import java.util.List;
import java.util.NoSuchElementException;
import java.util.TreeSet;
import java.util.stream.Collectors;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.spark.api.java.JavaSparkContext;
import org.apache.spark.broadcast.Broadcast;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.types.StructType;
import org.apache.spark.util.SerializableConfiguration;

/**
 * The files below some inputs, listed by all the cluster. Each directory is a task's start, and a task that has seen
 * enough hands the directories that are left on to the next round. What was found goes to a table on disk, so that no
 * machine has to hold it, and nothing is listed twice when one is lost.
 */
final class Listing {
    /**
     * {@code source} is the path as the store takes it, {@code path} as {@link Table} has it; {@code length} is in
     * bytes, {@code modified_ns} in nanoseconds since 1970 in UTC; {@code result} is below 0 for what cannot be listed.
     */
    static final StructType SCHEMA =
            StructType.fromDDL("source STRING, length BIGINT, modified_ns BIGINT, result INT, path STRING");

    private static final int FILE = 0;
    private static final int DIRECTORY = 1;
    private static final int ENTRIES_A_WALK = 10_000;
    private static final int WALKS_A_CORE = 4;
    private static final long NANOSECONDS_A_MILLISECOND = 1_000_000;

    private Listing() {}

    /**
     * Lists regular files; symbolic links below the inputs are passed over.
     *
     * @param inputs files, directories and patterns of them
     * @param without a directory that is left out
     * @param work a directory for what was found; the answer is read from there
     * @return the files, and the directories that could not be listed
     * @throws Arguments.Misuse when an input matches nothing
     */
    static Dataset<Row> of(SparkSession spark, List<String> inputs, Path without, Path work) throws IOException {
        JavaSparkContext context = JavaSparkContext.fromSparkContext(spark.sparkContext());
        Configuration configuration = spark.sessionState().newHadoopConf();
        Broadcast<SerializableConfiguration> shared = context.broadcast(new SerializableConfiguration(configuration));
        List<String> starts = starts(inputs, configuration);
        List<Path> rounds = new ArrayList<>();
        String out = without.getFileSystem(configuration).makeQualified(without).toString();
        while (!starts.isEmpty()) {
            Path round = new Path(work, "listing-" + rounds.size());
            int tasks = Math.min(starts.size(), WALKS_A_CORE * context.defaultParallelism());
            spark.createDataFrame(context.parallelize(starts, tasks)
                            .flatMap(start -> new Walk(start, out, shared.value().value())), SCHEMA)
                    .write().parquet(round.toString());
            rounds.add(round);
            starts = new ArrayList<>();
            Dataset<Row> left = read(spark, Collections.singletonList(round)).where("result = " + DIRECTORY);
            for (Row row : left.select("source").collectAsList()) {
                starts.add(row.getString(0));
            }
        }
        return read(spark, rounds).where("result <> " + DIRECTORY);
    }

    /** What was written to directories with these columns. */
    static Dataset<Row> read(SparkSession spark, List<Path> places) {
        return spark.read().schema(SCHEMA).parquet(places.stream().map(Table::literally).toArray(String[]::new));
    }

    /**
     * What has a name, or else what matches it as a pattern.
     *
     * @throws Arguments.Misuse when there is no such thing
     */
    static List<Path> matches(Path name, Configuration configuration) throws IOException {
        FileSystem store = name.getFileSystem(configuration);
        try {
            return Collections.singletonList(store.getFileStatus(name).getPath());
        } catch (FileNotFoundException e) {
            FileStatus[] found = store.globStatus(name);
            if (found == null || found.length == 0) {
                throw new Arguments.Misuse("no such file or directory: " + name);
            }
            return Arrays.stream(found).map(FileStatus::getPath).collect(Collectors.toList());
        }
    }

    /** What the inputs match, without what lies in another one of them. */
    private static List<String> starts(List<String> inputs, Configuration configuration) throws IOException {
        TreeSet<Path> matched = new TreeSet<>();
        for (String input : inputs) {
            matched.addAll(matches(Arguments.path("--input", input), configuration));
        }
        List<String> starts = new ArrayList<>();
        for (Path path : matched) {
            Path above = path.getParent();
            while (above != null && !matched.contains(above)) {
                above = above.getParent();
            }
            if (above == null) {
                starts.add(path.toString());
            }
        }
        return starts;
    }

    /** The files below one directory, or a file itself, and the directories that are left when there are too many. */
    private static final class Walk implements Iterator<Row> {
        private final String without;
        private final FileSystem store;
        private final Deque<Path> directories = new ArrayDeque<>();
        private final Deque<Row> found = new ArrayDeque<>();
        private RemoteIterator<FileStatus> entries;
        private Path listed;
        private int seen;

        Walk(String start, String without, Configuration configuration) {
            this.without = without;
            Path path = new Path(start);
            FileSystem opened = null;
            try {
                opened = path.getFileSystem(configuration);
                take(opened.getFileStatus(path));
            } catch (IOException | RuntimeException e) {
                FileHasher.endIfKilled();
                found.add(failure(path));
            }
            store = opened;
        }

        @Override
        public boolean hasNext() {
            while (found.isEmpty() && (entries != null || !directories.isEmpty())) {
                step();
            }
            return !found.isEmpty();
        }

        @Override
        public Row next() {
            if (!hasNext()) {
                throw new NoSuchElementException();
            }
            return found.remove();
        }

        private void step() {
            try {
                if (entries == null) {
                    openNext();
                } else if (entries.hasNext()) {
                    take(entries.next());
                } else {
                    entries = null;
                }
            } catch (IOException | RuntimeException e) { // the latter where Hadoop is at odds with a name, too
                FileHasher.endIfKilled();
                found.add(failure(listed));
                entries = null;
            }
        }

        private void openNext() throws IOException {
            listed = directories.remove();
            if (seen > ENTRIES_A_WALK) {
                found.add(row(listed, 0, 0, DIRECTORY));
            } else {
                entries = store.listStatusIterator(listed);
            }
        }

        private void take(FileStatus status) {
            seen++;
            Path path = status.getPath();
            boolean isStart = listed == null;
            if (!isStart && isLink(status) || path.toString().equals(without)) {
                return;
            }
            if (status.isDirectory()) {
                directories.add(path);
            } else {
                found.add(row(path, status.getLen(), status.getModificationTime() * NANOSECONDS_A_MILLISECOND, FILE));
            }
        }

        /** The local file system of Hadoop follows links without a word. */
        private static boolean isLink(FileStatus status) {
            Path path = status.getPath();
            try {
                return status.isSymlink() || "file".equals(path.toUri().getScheme())
                        && Files.isSymbolicLink(Paths.get(path.toUri().getPath()));
            } catch (InvalidPathException e) { // a name that Java cannot write in this locale
                return false;
            }
        }

        private static Row failure(Path path) {
            return row(path, 0, 0, FileHasher.UNREADABLE);
        }

        private static Row row(Path path, long length, long modified, int result) {
            String source = path.toString();
            return RowFactory.create(source, length, modified, result, Table.shown(source));
        }
    }
}
