package com.kelo.kmhash;

import static com.kelo.kmhash.KeloMediaHashGenerator.*;
import static org.junit.jupiter.api.Assertions.*;

import java.io.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.function.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.*;

class KeloMediaHashGeneratorTest {
    /** A real file; its recorded answers are a text, a number or the code of a failure. */
    record Media(Path path, byte[] bytes, String hash, String quick, String id, String hash4,
            String whole4) {
        static List<Media> all() throws IOException {
            List<Media> all = new ArrayList<>();
            for (String row : Files.readAllLines(Path.of("../tests/media/hashes.tsv"))) {
                if (row.startsWith("#")) continue;
                String[] cells = row.split("\t");
                Path path = Path.of("../tests/media", cells[0]);
                byte[] bytes = Files.readAllBytes(path);
                all.add(new Media(path, bytes, cells[1], cells[2], cells[3], cells[4], cells[5]));
            }
            return all;
        }

        static Media named(String name) {
            List<Media> all = assertDoesNotThrow(Media::all);
            return all.stream().filter(media -> media.path.endsWith(name)).findFirst().get();
        }
    }

    private static final Media SMALL = Media.named("png-palette-text.png");
    private static final Media LARGE = Media.named("png-large.png"); // sampled

    private static String answer(Callable<?> call) throws Exception {
        try {
            return call.call().toString();
        } catch (KeloMediaHashException e) {
            return Integer.toString(e.getCode());
        }
    }

    private static String hash(TestStream stream) throws Exception {
        return answer(() -> createHash(stream, stream.bytes.length));
    }

    // ---- Streams that behave ----

    @Test
    void answersDoNotDependOnHowMuchACallHandles() throws Exception {
        for (LongUnaryOperator amount : List.<LongUnaryOperator>of(n -> n,
                n -> Math.min(n, 1), n -> Math.min(n, 511),
                n -> n == 0 ? 0 : ThreadLocalRandom.current().nextLong(n) + 1)) {
            for (Media media : Media.all()) {
                int size = media.bytes.length;
                Supplier<TestStream> in = () -> new TestStream(media.bytes, amount);
                assertEquals(media.hash, hash(in.get()), media.path.toString());
                assertEquals(media.quick, answer(() -> createQuickFileHash(in.get(), size)));
                assertEquals(media.id, answer(() -> getAlgorithmId(in.get(), size)));
            }
        }
    }

    @Test
    void theStatedSizeDecidesWhereTheFileEnds() throws Exception {
        int size = LARGE.bytes.length;
        TestStream stream = new TestStream(Arrays.copyOf(LARGE.bytes, size + 1000));
        assertEquals(LARGE.hash, createHash(stream, size));
        assertEquals("1000 1", stream.available() + " " + stream.closeCalls);
        int tooMuch = SMALL.bytes.length + 100;
        assertEquals("-5", answer(() -> createHash(new TestStream(SMALL.bytes), tooMuch)));
        assertEquals("-6", answer(() -> createHash(new TestStream(LARGE.bytes), size + 10_000)));
        assertEquals("-6", answer(() -> createHash(new TestStream(LARGE.bytes), -1)));
        assertEquals("-9", answer(() -> createHash(new TestStream(LARGE.bytes), 0)));
        assertEquals("-10", answer(() -> createHash(new TestStream(LARGE.bytes), -255)));
    }

    @Test
    void storedHashesAreComparedInTheirOwnWay() throws Exception {
        for (String[] row : new String[][] {{LARGE.hash, "0"}, {LARGE.quick, "0"},
            {SMALL.hash, "3"}, {"0003000X", "-11"}, {null, "-10"}}) {
            TestStream stream = new TestStream(LARGE.bytes);
            assertEquals(row[1], answer(() -> compareHash(stream, LARGE.bytes.length, row[0])));
        }
        TestStream stream = new TestStream(LARGE.bytes);
        stream.closeThatThrows = 1;
        var e = assertThrows(KeloMediaHashException.class,
                () -> compareHash(stream, stream.bytes.length, SMALL.hash));
        assertEquals("HASHCREATE_ERROR 3", e.getMessage() + " " + e.getCode());
    }

    // ---- Streams that fail ----

    private record Fault(String what, int code, Consumer<TestStream> setUp) {}

    @Test
    void aFaultOfTheStreamIsAFailureOfTheCall() throws Exception {
        File failingSystemCall = new File("/no/such/file");
        for (Fault fault : List.of(
                new Fault("close throws", 0, stream -> stream.closeThatThrows = 1),
                new Fault("read and close throw", -5,
                        stream -> stream.readThatThrows = ++stream.closeThatThrows),
                new Fault("skip throws", -6, stream -> stream.skipThatThrows = 1),
                new Fault("skips nothing", -6,
                        stream -> stream.skips = n -> failingSystemCall.length()),
                new Fault("skips backwards", -6, stream -> stream.skips = n -> -1),
                new Fault("claims to have skipped too much", -6,
                        stream -> stream.skips = n -> Long.MAX_VALUE),
                new Fault("delivers nothing", -5,
                        stream -> stream.reads = n -> failingSystemCall.length()),
                new Fault("claims to have read too much", -5,
                        stream -> stream.reads = n -> n + 1))) {
            TestStream stream = new TestStream(LARGE.bytes);
            fault.setUp.accept(stream);
            assertEquals(fault.code + " 1", hash(stream) + " " + stream.closeCalls, fault.what);
            assertTrue(stream.skipThatThrows == 0 || stream.skipThatThrows == stream.skipCalls);
            assertTrue(stream.leastSkip > 0, fault.what);
        }
        TestStream stream = new TestStream(SMALL.bytes);
        stream.skipThatThrows = 1; // behind all that is read
        assertEquals(SMALL.hash, hash(stream));
        assertEquals("1 1", stream.skipCalls + " " + stream.closeCalls);
    }

    /** Some analyses get by without what was not read: the call fails, the stream is left alone. */
    @Test
    void whateverReadThrowsTheCallFails() throws Exception {
        Set<String> codes = new HashSet<>();
        for (Media media : Media.all()) {
            for (int n = 1;; n += 1 + n / 20) {
                TestStream stream = new TestStream(media.bytes);
                stream.readThatThrows = n;
                String answer = hash(stream);
                if (stream.readCalls < n) break;
                assertEquals(n + " 1", stream.readCalls + " " + stream.closeCalls, media.path + "");
                codes.add(answer);
            }
        }
        assertEquals(Set.of("0", "-3", "-5", "-9"), codes);
    }

    // ---- Arguments ----

    @Test
    void badArguments() throws Exception {
        for (Callable<?> call : List.<Callable<?>>of(() -> createHash(null, 1),
                () -> createQuickFileHash(null, 1), () -> getAlgorithmId(null, 1),
                () -> compareHash(null, 1, SMALL.hash), () -> compareBetweenHash(null, SMALL.hash),
                () -> compareBetweenHash(SMALL.hash, null),
                () -> getAlgorithmIdFromHash(null), () -> getAlgorithmMajorVersionFromHash(null),
                () -> getAlgorithmMinorVersionFromHash(null), () -> getAlgorithmMajorVersion(255),
                () -> getAlgorithmMinorVersion(-1))) {
            assertEquals("-10", answer(call));
        }
        assertEquals("-11", answer(() -> getAlgorithmIdFromHash("\0\u00e4\ud83d")));
    }

    @Test
    void everyNumberComesFromItsOwnPlace() throws Exception {
        String text = "12345678";
        assertEquals(List.of(5, 3, 3, 0, 1234, 5678, 255), List.of(getLibraryMajorVersion(),
                getLibraryMinorVersion(), getAlgorithmMajorVersion(14),
                getAlgorithmMinorVersion(14),
                getAlgorithmMajorVersionFromHash(text), getAlgorithmMinorVersionFromHash(text),
                getAlgorithmIdFromHash(LARGE.quick)));
    }

    // ---- Many calls ----

    @Test
    void threadsDoNotDisturbEachOther() throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(16);
        List<Media> all = Media.all();
        Callable<Object> task = () -> {
            for (int n = 0; n < 20 * all.size(); n++) {
                Media media = all.get((int) (n + Thread.currentThread().getId()) % all.size());
                assertEquals(media.hash, hash(new TestStream(media.bytes)), media.path.toString());
            }
            return null;
        };
        for (Future<Object> done : threads.invokeAll(Collections.nCopies(16, task))) {
            done.get();
        }
        threads.shutdown();
    }

    /** The heap is of fixed size and touched (pom.xml): what grows is native, a leak every time. */
    @Test
    @EnabledOnOs(OS.LINUX)
    void manyCallsLeaveNothingBehind() throws Exception {
        long growth = Long.MAX_VALUE;
        for (int round = 0; round < 4 && growth > 3_000_000; round++) {
            growth = -residentBytesAfter(0) + residentBytesAfter(200_000);
        }
        assertTrue(growth <= 3_000_000, "bytes: " + growth);
    }

    private static long residentBytesAfter(int calls) throws Exception {
        for (int i = 0; i < calls; i += 6) {
            TestStream broken = new TestStream(SMALL.bytes);
            broken.readThatThrows = 1;
            assertEquals("-5", hash(broken));
            assertEquals(SMALL.hash, hash(new TestStream(SMALL.bytes)));
            TestStream whole = new TestStream(SMALL.bytes);
            assertEquals(0, compareHash(whole, whole.bytes.length, SMALL.hash));
            assertEquals(0, compareBetweenHash(SMALL.hash, SMALL.hash));
            assertEquals(SMALL.hash, HashText.of(SMALL.path).toString());
            assertEquals(SMALL.hash, HashText.of(new TestChannel(SMALL.bytes)).toString());
        }
        return 4096 * Long.parseLong(Files.readString(Path.of("/proc/self/statm")).split(" ")[1]);
    }
}
