package com.kelo.kmhash.spark;

import static org.apache.spark.sql.functions.col;
import static org.apache.spark.sql.functions.count;
import static org.apache.spark.sql.functions.expr;

import java.io.IOException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.Path;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SaveMode;
import org.apache.spark.sql.SparkSession;

/** Finds the files in a table of {@link KmHashJob} that hold the same media. */
public final class KmHashDuplicates {
    private static final String USAGE =
            "Usage: spark-submit --class com.kelo.kmhash.spark.KmHashDuplicates JAR OPTION...\n"
            + "\n"
            + "  --input PATH         the table\n"
            + "  --input-format FORM  parquet (the default), json or csv\n"
            + "  --output PATH        the directory for the groups, not there or empty\n"
            + "  --format FORMAT      parquet (the default) or csv\n"
            + "  --match MATCH        same (the default): the hashes compare as identical; content: the\n"
            + "                       digests of the content and the formats agree, other fields may differ";
    /** What of a hash a comparison looks at. */
    private static final String SAME = "concat(substr(hash, 1, 8), substr(hash, 19, 88), substr(hash, 115, 8))";
    /** The digest of the content, the format, and whether every byte counts; of quick hashes everything. */
    private static final String CONTENT = "if(substr(hash, 115, 2) = 'FF', " + SAME
            + ", concat(substr(hash, 19, 40), substr(hash, 99, 8), substr(hash, 117, 2)))";
    /** Hashes that say of no file what it holds: without labels, or of no content at all. */
    private static final String TELLS =
            "NOT contains(hash, '.') AND substr(hash, 19, 40) <> 'DA39A3EE5E6B4B0D3255BFEF95601890AFD80709'";

    private final Path input;
    private final String inputFormat;
    private final Path output;
    private final String format;
    private final String key;

    private KmHashDuplicates(Arguments arguments) {
        input = arguments.path("--input");
        inputFormat = arguments.choice("--input-format", "parquet", "json", "csv");
        output = arguments.path("--output");
        format = arguments.choice("--format", "parquet", "csv");
        key = arguments.choice("--match", "same", "content").equals("same") ? SAME : CONTENT;
    }

    /**
     * Runs the job, and exits with status 2 when it is told what cannot be.
     *
     * @param args the options; without any it says which there are
     * @throws IOException when a store cannot be reached
     */
    public static void main(String[] args) throws IOException {
        Arguments.exit(run(args));
    }

    /** What {@link #main} does, and the exit status. */
    static int run(String... args) throws IOException {
        return Arguments.run("KmHashDuplicates", USAGE, args, given -> new KmHashDuplicates(
                new Arguments(given, "--input --input-format --output --format --match", ""))::run);
    }

    private void run(SparkSession spark) throws IOException {
        Configuration configuration = spark.sessionState().newHadoopConf();
        if (Table.isThere(output.getFileSystem(configuration), output)) {
            throw new Arguments.Misuse(output + " is not empty");
        }
        write(Table.read(spark, inputFormat, Listing.matches(input, configuration)));
        System.out.println(summary(spark));
    }

    private void write(Dataset<Row> table) {
        Dataset<Row> files = Table.hashed(table)
                .withColumn("hash", expr("upper(hash)")).where(TELLS).withColumn("group", expr(key));
        Dataset<Row> groups = files.groupBy("group").agg(count("*").as("copies")).where("copies > 1");
        files.join(groups, "group")
                .select("group", "copies", "path", "length", "modified_ns", "hash")
                .repartitionByRange(col("group"))
                .sortWithinPartitions("group", "path")
                .write().mode(SaveMode.Append).format(format).options(Table.options(format))
                .save(output.toString());
    }

    /** Of what was written, which is less to read than the table. */
    private String summary(SparkSession spark) {
        Dataset<Row> written = spark.read().format(format)
                .schema("group STRING, copies BIGINT, path STRING, length BIGINT")
                .options(Table.options(format)).load(Table.literally(output));
        Row sums = written.groupBy("group").agg(count("*").as("files"), expr("sum(length) - max(length)").as("spare"))
                .selectExpr("count(*)", "coalesce(sum(files), 0)", "coalesce(sum(spare), 0)").head();
        return "KmHashDuplicates: groups " + sums.get(0) + ", files " + sums.get(1) + ", bytes to be freed "
                + sums.get(2);
    }
}
