import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.BufferedReader;
import java.io.FileInputStream;
import java.io.InputStreamReader;
import java.lang.management.ManagementFactory;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * What hashing costs from Java: java -cp JAR bench/BenchFiles.java path|channel|stream ROUNDS [BEFORE] &lt; LIST
 * prints minimum and median over the rounds of the microseconds a file: of processor time, or with a command to run
 * before each round of time that passed. As many rounds come first and do not count.
 */
class BenchFiles {
    public static void main(String[] arguments) throws Exception {
        List<Path> files = new ArrayList<>();
        BufferedReader list = new BufferedReader(new InputStreamReader(System.in));
        for (String line = list.readLine(); line != null; line = list.readLine()) {
            files.add(Paths.get(line));
        }
        double[] rounds = new double[2 * Integer.parseInt(arguments[1])];
        String before = arguments.length > 2 ? arguments[2] : null;
        for (int i = 0; i < rounds.length; i++) {
            if (before != null && new ProcessBuilder("sh", "-c", before).start().waitFor() != 0) {
                throw new IllegalStateException(before);
            }
            long begin = nanoseconds(before != null);
            for (Path file : files) {
                hash(file, arguments[0]);
            }
            rounds[i] = (nanoseconds(before != null) - begin) / 1e3 / files.size();
        }
        double[] counted = Arrays.copyOfRange(rounds, rounds.length / 2, rounds.length);
        Arrays.sort(counted);
        System.out.printf("%.1f %.1f%n", counted[0], counted[counted.length / 2]);
    }

    private static long nanoseconds(boolean passed) {
        return passed ? System.nanoTime() : ManagementFactory.getThreadMXBean().getCurrentThreadCpuTime();
    }

    private static void hash(Path file, String way) throws Exception {
        try {
            if (way.equals("path")) {
                HashText.of(file);
            } else if (way.equals("channel")) {
                try (FileChannel channel = FileChannel.open(file)) {
                    HashText.of(channel);
                }
            } else {
                HashText.of(new FileInputStream(file.toFile()), Files.size(file));
            }
        } catch (KeloMediaHashException notSupported) {
            // costs its time too
        }
    }
}
