package com.kelo.kmhash.spark;

import static org.apache.spark.sql.functions.col;
import static org.apache.spark.sql.functions.max;
import static org.apache.spark.sql.functions.struct;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.IOException;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.spark.sql.DataFrameWriter;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.SaveMode;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.types.StructType;

/** The table of hashes, with the columns that {@code kmhash export} has too, and how tables are read and written. */
final class Table {
    static final StructType SCHEMA = StructType.fromDDL("path STRING, length BIGINT, modified_ns BIGINT, status STRING,"
            + " result INT, hash STRING, algorithm INT, file_type STRING, format_type STRING, content STRING,"
            + " meta STRING");

    private Table() {}

    /**
     * The row of a file; {@code length} is in bytes, {@code modified} in nanoseconds since 1970 in UTC, {@code hash} is
     * null unless {@code result} is 0.
     */
    static Row row(String path, long length, long modified, int result, HashText hash) {
        if (hash == null) {
            boolean unsupported = result == KeloMediaHashException.HASHCREATE_NON_SUPPORTED;
            return RowFactory.create(path, length, modified, unsupported ? "unsupported" : "failed", result, null, null,
                    null, null, null, null);
        }
        return RowFactory.create(path, length, modified, "hashed", result, hash.toString(), hash.getAlgorithmId(),
                hash.getFileType(), hash.getFormatType(), hash.getContent().toLowerCase(Locale.ROOT),
                hash.getMeta().toLowerCase(Locale.ROOT));
    }

    /** A path as the table has it: of the local file system as other programs write it, else with its scheme. */
    static String shown(String path) {
        return path.startsWith("file:/") ? path.substring("file:".length()) : path;
    }

    /** Whether a directory has anything that Spark would read as a part of a table. */
    static boolean isThere(FileSystem store, Path directory) throws IOException {
        if (!store.exists(directory)) {
            return false;
        }
        for (FileStatus status : store.listStatus(directory)) {
            if (!status.getPath().getName().startsWith("_") && !status.getPath().getName().startsWith(".")) {
                return true;
            }
        }
        return false;
    }

    /** A path for Spark's readers, which take it for a pattern. */
    static String literally(Path path) {
        return path.toString().replaceAll("[{}\\[\\]*?\\\\]", "\\\\$0");
    }

    static Dataset<Row> read(SparkSession spark, String format, List<Path> places) {
        return spark.read().schema(SCHEMA).format(format).options(options(format))
                .load(places.stream().map(Table::literally).toArray(String[]::new));
    }

    /**
     * Adds rows to a table. Each task's file is there as soon as the task is done, so that a run that was killed leaves
     * what it had. A task that is done again writes the same file.
     */
    static void append(Dataset<Row> rows, String format, Path directory) {
        DataFrameWriter<Row> writer = rows.write().mode(SaveMode.Append).format(format).options(options(format));
        writer.option("mapreduce.fileoutputcommitter.algorithm.version", "2").save(directory.toString());
    }

    /**
     * What is known of each hashed file now: path, length, modified_ns, hash. A file that was changed or tried again
     * has a row for each time; the one of the latest modification counts, and of two such rows the one with a hash.
     */
    static Dataset<Row> hashed(Dataset<Row> table) {
        return table.groupBy("path")
                .agg(max(struct("modified_ns", "hash", "length")).as("last"))
                .select("path", "last.length", "last.modified_ns", "last.hash")
                .where(col("hash").isNotNull());
    }

    /** In CSV a path may have quotes and line ends in it, and blanks at its ends, as labels have. */
    static Map<String, String> options(String format) {
        Map<String, String> options = new HashMap<>();
        if (format.equals("csv")) {
            options.put("header", "true");
            options.put("escape", "\"");
            options.put("multiLine", "true");
            options.put("ignoreLeadingWhiteSpace", "false");
            options.put("ignoreTrailingWhiteSpace", "false");
        }
        return options;
    }
}
