package com.kelo.kmhash.spark;

import com.kelo.kmhash.KeloMediaHashException;
import java.io.BufferedReader;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.Collections;
import java.util.Iterator;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.spark.api.java.JavaRDD;
import org.apache.spark.api.java.JavaSparkContext;
import org.apache.spark.broadcast.Broadcast;
import org.apache.spark.sql.Column;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.functions;
import org.apache.spark.util.SerializableConfiguration;

/** Hashes the files of a store into a table: a row for each file, also for those that cannot be hashed. */
public final class KmHashJob {
    private static final String USAGE = "Usage: spark-submit --class com.kelo.kmhash.spark.KmHashJob JAR OPTION...\n"
            + "\n"
            + "  --input PATH       a file, a directory or a pattern of them; may be given again and again\n"
            + "  --output PATH      the directory for the table\n"
            + "  --format FORMAT    parquet (the default), json or csv\n"
            + "  --prefer VERSION   take the algorithms of version 3 (the default) or 4 first\n"
            + "  --whole            hash every byte of the media in place of samples\n"
            + "  --read-ahead N     read files of up to N bytes whole; 0 by default\n"
            + "  --partitions N     divide the files into N tasks; by default as many as suit them\n"
            + "  --continue         add to a table what it does not have, by path, length and time\n"
            + "  --retry-failed     with --continue, hash those that failed again";
    private static final int MOST_READ_AHEAD = 1 << 30;
    private static final int MOST_PARTITIONS = 1_000_000;

    private final Arguments arguments;
    private final Path output;
    private final Path work;
    private final Path record;
    private final String format;
    private final HashOptions options;
    private final int readAhead;
    private final int partitions;

    private KmHashJob(Arguments arguments) {
        this.arguments = arguments;
        arguments.all("--input");
        output = arguments.path("--output");
        work = new Path(output, "_kmhash"); // Spark takes nothing for a part of a table that begins like this
        record = new Path(output, "_kmhash_options");
        format = arguments.choice("--format", "parquet", "json", "csv");
        options = new HashOptions(arguments.choice("--prefer", "3", "4"), arguments.has("--whole"));
        readAhead = arguments.number("--read-ahead", MOST_READ_AHEAD);
        partitions = arguments.number("--partitions", MOST_PARTITIONS);
        if (arguments.has("--retry-failed") && !arguments.has("--continue")) {
            throw new Arguments.Misuse("--retry-failed wants --continue");
        }
    }

    /**
     * Runs the job, and exits with status 2 when it is told what cannot be. A file that cannot be hashed is no failure.
     *
     * @param args the options; without any it says which there are
     * @throws IOException when a store cannot be reached
     */
    public static void main(String[] args) throws IOException {
        Arguments.exit(run(args));
    }

    /** What {@link #main} does, and the exit status. */
    static int run(String... args) throws IOException {
        return Arguments.run("KmHashJob", USAGE, args, given -> new KmHashJob(new Arguments(given,
                "--input --output --format --prefer --read-ahead --partitions",
                "--whole --continue --retry-failed"))::run);
    }

    private void run(SparkSession spark) throws IOException {
        FileSystem store = output.getFileSystem(spark.sessionState().newHadoopConf());
        boolean isThere = Table.isThere(store, output);
        if (isThere) {
            refuseUnlessAlike(store);
        }
        store.delete(work, true);
        Dataset<Row> files = Listing.of(spark, arguments.all("--input"), output, work);
        if (isThere) {
            files = missing(spark, files);
        } else {
            try (FSDataOutputStream out = store.create(record)) {
                out.write(made().getBytes(StandardCharsets.UTF_8));
            }
        }
        hash(spark, files);
        store.delete(work, true);
    }

    /** The options that all rows of a table share. */
    private String made() {
        return "--format " + format + " " + options;
    }

    private void refuseUnlessAlike(FileSystem store) throws IOException {
        if (!arguments.has("--continue")) {
            throw new Arguments.Misuse(output + " is not empty; --continue adds to the table there");
        }
        String before;
        try (BufferedReader in = new BufferedReader(
                new InputStreamReader(store.open(record), StandardCharsets.UTF_8))) {
            before = in.readLine();
        } catch (FileNotFoundException e) {
            throw new Arguments.Misuse(record + " is missing, which says how the table was made");
        }
        if (!made().equals(before)) {
            throw new Arguments.Misuse(output + " was made with " + before + ", not " + made());
        }
    }

    /** The files that the table does not have, written down first: what a join gives has no order to rely on. */
    private Dataset<Row> missing(SparkSession spark, Dataset<Row> files) {
        Dataset<Row> table = Table.read(spark, format, Collections.singletonList(output));
        if (arguments.has("--retry-failed")) {
            table = table.where("status <> 'failed'");
        }
        Column isSame = functions.lit(true);
        for (String name : new String[] {"path", "length", "modified_ns"}) {
            isSame = isSame.and(files.col(name).equalTo(table.col(name)));
        }
        Path place = new Path(work, "missing");
        files.join(table, isSame, "left_anti").write().parquet(place.toString());
        return Listing.read(spark, Collections.singletonList(place));
    }

    private void hash(SparkSession spark, Dataset<Row> files) {
        JavaSparkContext context = JavaSparkContext.fromSparkContext(spark.sparkContext());
        Broadcast<SerializableConfiguration> configuration =
                context.broadcast(new SerializableConfiguration(spark.sessionState().newHadoopConf()));
        Summary summary = new Summary(spark.sparkContext());
        HashOptions how = options;
        int ahead = readAhead;
        JavaRDD<Row> pieces = new Balance(options.whole, readAhead).divide(files.javaRDD(), partitions);
        JavaRDD<Row> rows = pieces.mapPartitions(piece ->
                new Rows(piece, new FileHasher(configuration.value().value(), how, ahead), summary));
        Table.append(spark.createDataFrame(rows, Table.SCHEMA), format, output);
        System.out.println(summary);
    }

    /** The rows of files, each hashed when it is asked for. */
    private static final class Rows implements Iterator<Row> {
        private final Iterator<Row> files;
        private final FileHasher hasher;
        private final Summary summary;

        Rows(Iterator<Row> files, FileHasher hasher, Summary summary) {
            this.files = files;
            this.hasher = hasher;
            this.summary = summary;
        }

        @Override
        public boolean hasNext() {
            return files.hasNext();
        }

        @Override
        public Row next() {
            Row file = files.next();
            int listed = file.getInt(3);
            Row row = listed == KeloMediaHashException.HASHCREATE_SUCCESS
                    ? hasher.row(file.getString(0), file.getLong(1), file.getLong(2))
                    : Table.row(file.getString(4), 0, 0, listed, null);
            summary.add(row.getString(3), hasher);
            return row;
        }
    }
}
