package com.kelo.kmhash.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.kelo.kmhash.HashText;
import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.concurrent.CompletableFuture;
import java.util.stream.Collectors;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.MethodOrderer;
import org.junit.jupiter.api.Order;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestMethodOrder;

/** The jobs on a cluster. This virtual machine is the driver, but for the one that is killed. */
@TestMethodOrder(MethodOrderer.OrderAnnotation.class)
class ClusterIT {
    private static final Path MEDIA = Path.of("../tests/media").toAbsolutePath().normalize();
    private static final Path FOLDER = Path.of("target/cluster").toAbsolutePath();
    private static final int MANY = 1200;
    private static Cluster cluster;
    private static SparkSession spark;

    @BeforeAll
    static void start() throws Exception {
        cluster = new Cluster(Files.createDirectories(FOLDER));
        spark = SparkSession.builder().master(cluster.url)
                .config("spark.jars", System.getProperty("jar"))
                .config("spark.executor.memory", "512m").config("spark.cores.max", 2)
                .config("spark.driver.host", "127.0.0.1").config("spark.ui.enabled", false)
                .config("spark.local.dir", FOLDER + "/local")
                .config("spark.sql.shuffle.partitions", 4)
                .config("spark.sql.extensions", KmHashExtensions.class.getName()).getOrCreate();
    }

    @AfterAll
    static void stop() throws Exception {
        spark.stop();
        cluster.stop();
    }

    @Test
    @Order(1)
    void goesOnWhereAKilledDriverWas() throws Exception {
        Path files = copies("killed[1]");
        String job = "--partitions 100 --output " + FOLDER + "/{a}* --input " + files;
        Process driver = cluster.submit(KmHashJob.class, job);
        waitForParts("{a}*");
        Cluster.kill(driver);
        long before = table("{a}*", "parquet").count();
        assertTrue(before > 0 && before < MANY, () -> "a run that is cut off: " + before);
        assertEquals("hashed " + (MANY - before) + ", unsupported 0, failed 0",
                run(job + " --continue"));
        for (String other : List.of("--format json", "--prefer 4", "--whole")) {
            assertEquals("status 2", run(job + " --continue " + other));
        }
        assertEquals("hashed 0, unsupported 0, failed 0", run(job + " --continue"));
        assertEquals(MANY, table("{a}*", "parquet").select("path").distinct().count());

        Files.write(files.resolve("0.jpg"), new byte[] {1, 2, 3});
        Files.copy(MEDIA.resolve("flac-plain.flac"), files.resolve("new.flac"));
        assertEquals("hashed 1, unsupported 1, failed 0", run(job + " --continue"));
        assertEquals(MANY + 2, table("{a}*", "parquet").count());
        assertEquals(MANY, Table.hashed(table("{a}*", "parquet")).count(), "0.jpg is none");
    }

    @Test
    @Order(2)
    void hashesLikeTheCommand() throws Exception {
        Path files = Files.createDirectories(FOLDER.resolve("media/a%20b#c"));
        for (File file : MEDIA.toFile().listFiles()) {
            Files.copy(file.toPath(), files.resolve(file.getName()));
        }
        Files.createFile(files.resolve("empty.jpg"));
        Files.writeString(files.resolve("text:with a colon.txt"), "no media");
        Files.copy(MEDIA.resolve("jpeg-tiny.jpg"), files.resolve("line\nend\".jpg "));
        Files.createSymbolicLink(files.resolve("link.jpg"), MEDIA.resolve("jpeg-tiny.jpg"));
        Files.createSymbolicLink(files.resolve("loop"), files);
        Path locked = Files.copy(MEDIA.resolve("png-rgb.png"), files.resolve("locked.png"));
        Path closed = Files.createDirectory(files.resolve("closed"));
        Files.setPosixFilePermissions(locked, PosixFilePermissions.fromString("---------"));
        Files.setPosixFilePermissions(closed, PosixFilePermissions.fromString("---------"));
        String job = " --input " + files + " --input " + FOLDER + "/med* --output " + FOLDER + "/";
        for (String options : List.of("--prefer 3 --format json",
                "--prefer 4 --whole --format parquet",
                "--prefer 4 --read-ahead 99999 --format csv")) {
            String format = options.substring(options.lastIndexOf(' ') + 1);
            run(options + job + format);
            Dataset<Row> table = table(format, format);
            Dataset<Row> refused = table.where("path RLIKE '/(locked.png|closed)$'");
            assertEquals(2, refused.where("result = -1 AND hash IS NULL").count());
            assertEquals(commandSays(files, options.replaceAll("--(format|read-ahead) \\w+", "")),
                    lines(table.except(refused).select("path", "status", "hash")), options);
        }
        Files.setPosixFilePermissions(locked, PosixFilePermissions.fromString("rw-------"));
        assertEquals("hashed 1, unsupported 0, failed 1",
                run("--continue --retry-failed --format json" + job + "json"));
        assertEquals(4, table("json", "json").where("result = -9").count());
        Dataset<Row> row = table("json", "json").where("path LIKE '%/flac-plain.flac'");
        HashText hash = HashText.of(MEDIA.resolve("flac-plain.flac"));
        Path flac = files.resolve("flac-plain.flac");
        assertEquals(String.format("[[%s,%d,%d000000,hashed,0,%s,14,AUDIO,FLAC,%s,%s]]", flac,
                Files.size(flac), Files.getLastModifiedTime(flac).toMillis(), hash,
                hash.getContent().toLowerCase(), hash.getMeta().toLowerCase()),
                lines(row).toString());
    }

    @Test
    @Order(3)
    void findsDuplicatesInTheTable() throws Exception {
        List<Row> rows = table("json", "json").where("hash IS NOT NULL").orderBy("path")
                .collectAsList();
        for (String match : List.of("same", "content")) {
            Map<String, List<String>> groups = new TreeMap<>();
            for (Row row : rows) { // of which no two have the same content, but another version
                String hash = row.getString(5);
                String key = hash.substring(match.equals("same") ? 18 : 98, 106);
                groups.computeIfAbsent(hash.substring(18, 58) + key, none -> new ArrayList<>())
                        .add(row.getString(0));
            }
            TreeSet<String> expected = new TreeSet<>();
            groups.values().stream().filter(paths -> paths.size() > 1).forEach(paths ->
                    expected.add("[" + paths.size() + "," + String.join("|", paths) + "]"));
            String[] job = ("--input " + FOLDER + "/json --input-format json --match " + match
                    + " --format csv --output " + FOLDER + "/" + match).split(" ");
            assertEquals(0, KmHashDuplicates.run(job));
            assertEquals(2, KmHashDuplicates.run(job), "an output that is there");
            spark.read().options(Table.options("csv")).csv(FOLDER + "/" + match)
                    .createOrReplaceTempView("found");
            assertEquals(expected, lines(spark.sql("SELECT copies, array_join(array_sort("
                    + "collect_list(path)), '|') FROM found GROUP BY group, copies")), match);
        }
    }

    @Test
    @Order(4)
    void sharesTablesWithTheCatalogue() throws Exception {
        for (String[] way : new String[][] {{"csv", "json"}, {"json", "csv"}}) {
            String catalogue = " --catalog " + FOLDER + "/" + way[0] + ".db ";
            command("import" + catalogue + FOLDER + "/" + way[0] + "/part-*", "import");
            command("export" + catalogue + "--" + way[1], "exported-" + way[0]);
            String hashable = "result <> -1"; // CSV has the same for null and for empty
            assertEquals(lines(table(way[0], way[0]).where(hashable).na().fill("")),
                    lines(table("exported-" + way[0], way[1]).where(hashable).na().fill("")));
        }
    }

    @Test
    @Order(5)
    void hashesInSql() throws Exception {
        spark.read().format("binaryFile").load(MEDIA.toString()).createOrReplaceTempView("files");
        String said = spark.sql("SELECT count(*) - count(kmhash(path)),"
                + " count_if(NOT kmhash(path) <=> kmhash(content)), count(kmhash(path || 'x')),"
                + " count_if(kmhash(path, '4 whole') LIKE '0004%F10000000000') > 50,"
                + " max(kmhash(content)) FILTER (WHERE path LIKE '%/jpeg-tiny.jpg'),"
                + " count(kmhash(NULL)) + count(kmhash(nullif(content, content)))"
                + " FROM files").head().toString();
        String hash = HashText.of(MEDIA.resolve("jpeg-tiny.jpg")).toString();
        assertEquals("[2,0,0,true," + hash + ",0]", said); // a list and a script are no media
    }

    @Test
    @Order(6)
    void losesNothingWithAWorker() throws Exception {
        String job = "--partitions 100 --output " + FOLDER + "/recomputed --input "
                + copies("killed-worker");
        CompletableFuture<String> said = CompletableFuture.supplyAsync(() -> run(job));
        waitForParts("recomputed");
        Cluster.kill(cluster.workers.get(0));
        assertFalse(said.isDone(), "killed in mid-job");
        said.get();
        Dataset<Row> table = table("recomputed", "parquet");
        assertEquals(MANY, table.where("status = 'hashed'").count());
        assertEquals(MANY, table.select("path").distinct().count());
    }

    // ---- Helpers ----

    private static Path copies(String name) throws IOException {
        Path folder = Files.createDirectories(FOLDER.resolve(name));
        for (int i = 0; i < MANY; i++) {
            Files.copy(MEDIA.resolve("jpeg-large.jpg"), folder.resolve(i + ".jpg"));
        }
        return folder;
    }

    private static void waitForParts(String table) throws Exception {
        for (int i = 0; i < 12000; i++) {
            String[] names = FOLDER.resolve(table).toFile().list();
            if (names != null && String.join(" ", names).matches(".*part-.*part-.*")) {
                return;
            }
            Thread.sleep(20);
        }
        throw new AssertionError("no part of " + table + " was written");
    }

    /** What the job says it did, without requests and bytes. */
    private static String run(String line) {
        ByteArrayOutputStream said = new ByteArrayOutputStream();
        PrintStream out = System.out;
        System.setOut(new PrintStream(said));
        try {
            int status = KmHashJob.run(line.trim().split(" +"));
            said.writeBytes(("status " + status).getBytes());
        } catch (IOException e) {
            throw new AssertionError(e);
        } finally {
            System.setOut(out);
        }
        return said.toString().replaceAll("(?s).*KmHashJob: |, requests.*", "");
    }

    private static Dataset<Row> table(String name, String format) {
        return Table.read(spark, format, List.of(hadoop(FOLDER + "/" + name)));
    }

    private static org.apache.hadoop.fs.Path hadoop(String path) {
        return new org.apache.hadoop.fs.Path(path);
    }

    /** Path, status and hash of each file that the cluster can read. */
    private static TreeSet<String> commandSays(Path folder, String options) throws Exception {
        String said = command("hash -r --json " + options + " " + folder, "command.json");
        return lines(spark.read().json(said).where("path NOT RLIKE '/(locked.png|closed/)$'")
                .selectExpr("path", "CASE status WHEN 'HASHCREATE_SUCCESS' THEN 'hashed'"
                        + " WHEN 'HASHCREATE_NON_SUPPORTED' THEN 'unsupported' ELSE 'failed' END",
                        "hash"));
    }

    /** Runs the command; its output goes to a file, whose path is returned. */
    private static String command(String arguments, String name) throws Exception {
        File said = FOLDER.resolve(name).toFile();
        new ProcessBuilder("sh", "-c", "../build/release/kmhash " + arguments).redirectOutput(said)
                .redirectError(ProcessBuilder.Redirect.DISCARD).start().waitFor();
        return said.toString();
    }

    private static TreeSet<String> lines(Dataset<Row> rows) {
        return rows.collectAsList().stream().map(Row::toString)
                .collect(Collectors.toCollection(TreeSet::new));
    }
}
