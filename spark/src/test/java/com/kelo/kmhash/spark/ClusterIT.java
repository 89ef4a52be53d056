package com.kelo.kmhash.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
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
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.MethodOrderer;
import org.junit.jupiter.api.Order;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.TestMethodOrder;
import scala.collection.JavaConverters;

/** The jobs on a cluster, against the command. This virtual machine is the driver, but for a driver that is killed. */
@TestMethodOrder(MethodOrderer.OrderAnnotation.class)
class ClusterIT {
    private static final Path MEDIA = Path.of("../tests/media").toAbsolutePath().normalize();
    private static final Path FOLDER = Path.of("target/cluster").toAbsolutePath();
    private static final int MANY = 1200;
    private static Cluster cluster;
    private static SparkSession spark;

    @BeforeAll
    static void start() throws Exception {
        try (Stream<Path> old = Files.exists(FOLDER) ? Files.walk(FOLDER) : Stream.empty()) {
            old.sorted((a, b) -> b.compareTo(a)).forEach(path -> path.toFile().delete());
        }
        cluster = new Cluster(Files.createDirectories(FOLDER));
        spark = SparkSession.builder().master(cluster.url).config("spark.jars", System.getProperty("jar"))
                .config("spark.executor.memory", "512m").config("spark.cores.max", 2)
                .config("spark.driver.host", "127.0.0.1").config("spark.ui.enabled", false)
                .config("spark.local.dir", FOLDER + "/local").config("spark.sql.shuffle.partitions", 4)
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
        Path files = copies("killed-driver", MANY);
        String[] job = {"--input", files.toString(), "--output", FOLDER + "/continued", "--partitions", "100"};
        List<String> line = new ArrayList<>(List.of("--class", KmHashJob.class.getName(), System.getProperty("jar")));
        line.addAll(List.of(job));
        Process driver = cluster.submit(line.toArray(new String[0]));
        waitForParts("continued", 3);
        Cluster.kill(driver);
        long before = table("parquet", "continued").count();
        assertTrue(before > 0 && before < MANY, () -> "a run that is cut off: " + before);
        String[] goOn = Stream.concat(Stream.of(job), Stream.of("--continue")).toArray(String[]::new);
        assertEquals("hashed " + (MANY - before) + ", unsupported 0, failed 0", run(goOn));
        assertEquals("hashed 0, unsupported 0, failed 0", run(goOn));
        assertEquals(MANY, table("parquet", "continued").select("path").distinct().count());

        Files.write(files.resolve("0.jpg"), new byte[] {1, 2, 3});
        Files.copy(MEDIA.resolve("flac-plain.flac"), files.resolve("new.flac"));
        assertEquals("hashed 1, unsupported 1, failed 0", run(goOn));
        assertEquals(MANY + 2, table("parquet", "continued").count());
        assertEquals(MANY, Table.hashed(table("parquet", "continued")).count(), "a file that is no image any more");
    }

    @Test
    @Order(2)
    void hashesLikeTheCommand() throws Exception {
        Path files = Files.createDirectories(FOLDER.resolve("media/a b%20c#d"));
        for (File file : MEDIA.toFile().listFiles()) {
            Files.copy(file.toPath(), files.resolve(file.getName()));
        }
        Files.createFile(files.resolve("empty.jpg"));
        Files.writeString(files.resolve("text:with a colon.txt"), "no media");
        Files.copy(MEDIA.resolve("jpeg-tiny.jpg"), files.resolve("line\nend\".jpg"));
        Files.createSymbolicLink(files.resolve("link.jpg"), MEDIA.resolve("jpeg-tiny.jpg"));
        Files.createSymbolicLink(files.resolve("loop"), files);
        Path locked = Files.copy(MEDIA.resolve("png-rgb.png"), files.resolve("locked.png"));
        Files.setPosixFilePermissions(locked, PosixFilePermissions.fromString("---------"));
        Path closed = Files.createDirectory(files.resolve("closed"), PosixFilePermissions.asFileAttribute(
                PosixFilePermissions.fromString("---------")));
        for (String options : List.of("--prefer 3 --format parquet", "--prefer 4 --whole --format json",
                "--prefer 4 --read-ahead 1000000 --format csv")) {
            String format = options.substring(options.lastIndexOf(' ') + 1);
            List<String> line = new ArrayList<>(List.of(options.split(" ")));
            line.addAll(List.of("--output", FOLDER + "/" + format, "--input", files.toString(),
                    "--input", files.getParent().getParent() + "/med*"));
            run(line.toArray(new String[0]));
            Map<String, String> expected = commandSays(files, options.replaceAll("--(format|read-ahead) \\w+", ""));
            expected.put(locked.toString(), "failed -1 null");
            expected.put(closed.toString(), "failed -1 null");
            Map<String, String> found = new TreeMap<>();
            for (Row row : table(format, format).collectAsList()) {
                found.put(row.getString(0), row.get(3) + " " + row.get(4) + " " + row.get(5));
            }
            assertEquals(expected, found, options);
        }
        Files.setPosixFilePermissions(locked, PosixFilePermissions.fromString("rw-------"));
        assertEquals("hashed 1, unsupported 0, failed 1", run("--output", FOLDER + "/parquet", "--input",
                files.toString(), "--continue", "--retry-failed"));
        Row row = table("parquet", "parquet").where("path LIKE '%flac-plain.flac'").head();
        HashText hash = HashText.of(MEDIA.resolve("flac-plain.flac"));
        assertEquals(List.of(files + "/flac-plain.flac", Files.size(MEDIA.resolve("flac-plain.flac")),
                Files.getLastModifiedTime(files.resolve("flac-plain.flac")).toMillis() * 1_000_000, "hashed", 0,
                hash.toString(), 14, "AUDIO", "FLAC", hash.getContent().toLowerCase(), hash.getMeta().toLowerCase()),
                JavaConverters.seqAsJavaList(row.toSeq()));
    }

    @Test
    @Order(3)
    void findsDuplicatesInTheTable() throws Exception {
        List<Row> rows = table("parquet", "parquet").where("hash IS NOT NULL").collectAsList();
        for (String match : List.of("same", "content")) {
            KmHashDuplicates.main(("--input " + FOLDER + "/parquet --match " + match + " --format csv --output "
                    + FOLDER + "/" + match).split(" "));
            Map<String, List<String>> expected = new TreeMap<>();
            for (Row row : rows) {
                HashText hash = HashText.parse(row.getString(5));
                String whole = hash.getContent() + hash.toString().substring(98, 106);
                String key = match.equals("content") ? whole : whole + hash.getMeta() + hash.getMajorVersion();
                expected.computeIfAbsent(key, none -> new ArrayList<>()).add(row.getString(0));
            }
            Map<String, List<String>> found = spark.read().option("header", true).option("multiLine", true)
                    .option("escape", "\"").csv(FOLDER + "/" + match).collectAsList().stream()
                    .collect(Collectors.groupingBy(row -> row.getString(0) + row.getString(1),
                            Collectors.mapping(row -> row.getString(2), Collectors.toList())));
            assertEquals(sorted(expected), sorted(found), match);
            found.forEach((group, paths) -> assertTrue(group.endsWith(String.valueOf(paths.size())), group));
        }
    }

    @Test
    @Order(4)
    void hashesInSql() throws Exception {
        spark.read().format("binaryFile").load(MEDIA.toString()).createOrReplaceTempView("files");
        Row counts = spark.sql("SELECT count(*), count(kmhash(path)), count_if(kmhash(path) <=> kmhash(content)),"
                + " count_if(kmhash(path, '4 whole') LIKE '0004%F10000000000'), count(kmhash(concat(path, 'x'))),"
                + " count_if(kmhash(content) = '" + HashText.of(MEDIA.resolve("jpeg-tiny.jpg")) + "') FROM files").head();
        assertEquals(MEDIA.toFile().list().length, counts.getLong(0));
        assertEquals(counts.getLong(0) - 2, counts.getLong(1)); // a list and a script are no media
        assertEquals(counts.getLong(0), counts.getLong(2));
        assertTrue(counts.getLong(3) > 50 && counts.getLong(3) < counts.getLong(1), counts::toString);
        assertEquals(0, counts.getLong(4));
        assertTrue(counts.getLong(5) > 0);
    }

    @Test
    @Order(5)
    void losesNothingWithAWorker() throws Exception {
        Path files = copies("killed-worker", MANY);
        CompletableFuture<String> job = CompletableFuture.supplyAsync(() -> run("--input", files.toString(),
                "--output", FOLDER + "/recomputed", "--partitions", "100"));
        waitForParts("recomputed", 3);
        Cluster.kill(cluster.workers.get(0));
        assertTrue(!job.isDone(), "killed in mid-job");
        job.get();
        Dataset<Row> table = table("parquet", "recomputed");
        assertEquals(MANY, table.where("status = 'hashed'").count());
        assertEquals(MANY, table.select("path").distinct().count());
    }

    // ---- Helpers ----

    private static Path copies(String name, int count) throws IOException {
        Path folder = Files.createDirectories(FOLDER.resolve(name));
        for (int i = 0; i < count; i++) {
            Files.copy(MEDIA.resolve("jpeg-large.jpg"), folder.resolve(i + ".jpg"));
        }
        return folder;
    }

    private static void waitForParts(String table, int count) throws Exception {
        for (int i = 0; i < 6000; i++) {
            String[] names = FOLDER.resolve(table).toFile().list((folder, name) -> name.startsWith("part-"));
            if (names != null && names.length >= count) {
                return;
            }
            Thread.sleep(20);
        }
        throw new AssertionError("no part of " + table + " was written");
    }

    /** What the job says it did, without requests and bytes. */
    private static String run(String... arguments) {
        PrintStream out = System.out;
        ByteArrayOutputStream said = new ByteArrayOutputStream();
        try {
            System.setOut(new PrintStream(said));
            KmHashJob.main(arguments);
        } catch (IOException e) {
            throw new AssertionError(e);
        } finally {
            System.setOut(out);
        }
        return said.toString().replaceAll("(?s).*KmHashJob: |, requests.*", "");
    }

    private static Dataset<Row> table(String format, String name) {
        return Table.read(spark, format, FOLDER + "/" + name);
    }

    /** Status, result and hash of each file by its path. */
    private static Map<String, String> commandSays(Path folder, String options) throws Exception {
        List<String> line = new ArrayList<>(List.of("../build/release/kmhash", "hash", "-r", "--json"));
        line.addAll(List.of(options.trim().split(" +")));
        line.add(folder.toString());
        Process command = new ProcessBuilder(line).redirectError(ProcessBuilder.Redirect.DISCARD).start();
        Pattern shape = Pattern.compile("\\{\"path\":\"(.*)\",\"status\":\"(\\w+)\"(?:,\"hash\":\"(\\w+)\")?");
        Map<String, String> says = new TreeMap<>();
        for (String object : new String(command.getInputStream().readAllBytes()).split("\n")) {
            Matcher file = shape.matcher(object);
            assertTrue(file.find(), object);
            int result = KeloMediaHashException.class.getField(file.group(2)).getInt(null);
            String status = result == 0 ? "hashed" : result == -9 ? "unsupported" : "failed";
            says.put(file.group(1).replace("\\n", "\n").replace("\\\"", "\""), status + " " + result + " " + file.group(3));
        }
        return says;
    }

    private static TreeSet<String> sorted(Map<String, List<String>> groups) {
        return groups.values().stream().filter(paths -> paths.size() > 1)
                .map(paths -> paths.stream().sorted().collect(Collectors.joining("|")))
                .collect(Collectors.toCollection(TreeSet::new));
    }
}
