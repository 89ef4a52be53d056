package com.kelo.kmhash.spark;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.fs.Path;
import org.apache.spark.sql.SparkSession;

/** A command line of options, each with a value but for the switches. What is wrong is a Misuse. */
final class Arguments {
    private static final int MISUSE = 2;

    private final Map<String, List<String>> values = new HashMap<>();

    /** Takes {@code arguments} apart. {@code options} and {@code switches} are names that blanks divide. */
    Arguments(String[] arguments, String options, String switches) {
        List<String> valued = Arrays.asList(options.split(" "));
        List<String> bare = Arrays.asList(switches.split(" "));
        for (int i = 0; i < arguments.length; i++) {
            String name = arguments[i];
            if (bare.contains(name)) {
                values.computeIfAbsent(name, key -> new ArrayList<>());
            } else if (!valued.contains(name)) {
                throw new Misuse("no such option: " + name);
            } else if (i + 1 == arguments.length) {
                throw new Misuse(name + " wants a value");
            } else {
                values.computeIfAbsent(name, key -> new ArrayList<>()).add(arguments[++i]);
            }
        }
    }

    /** What the user has to put right; the message says what. */
    static final class Misuse extends RuntimeException {
        private static final long serialVersionUID = 1L;

        Misuse(String message) {
            super(message);
        }
    }

    /** What a command line asks for. */
    interface Job {
        void run(SparkSession spark) throws IOException;
    }

    /** How a command line becomes a job. What cannot be done is a Misuse. */
    interface Reader {
        Job read(String[] arguments);
    }

    /**
     * Runs a program in the session that there is, or a new one, and returns its exit status: 0, or 2 for a misuse, of
     * which a line on standard error tells, or the usage when there are no arguments at all.
     */
    static int run(String name, String usage, String[] arguments, Reader reader) throws IOException {
        if (arguments.length == 0) {
            System.err.println(usage);
            return MISUSE;
        }
        try {
            Job job = reader.read(arguments);
            job.run(SparkSession.builder().appName(name).getOrCreate()); // spark-submit ends the session
            return 0;
        } catch (Misuse e) {
            System.err.println(name + ": " + e.getMessage());
            return MISUSE;
        }
    }

    /** Ends the program where its exit status is not 0; else Spark may have something left to do. */
    static void exit(int status) {
        if (status != 0) {
            System.exit(status);
        }
    }

    boolean has(String name) {
        return values.containsKey(name);
    }

    /** Every value of an option that must be given at least once. */
    List<String> all(String name) {
        if (!has(name)) {
            throw new Misuse(name + " is missing");
        }
        return values.get(name);
    }

    /** The last value of an option that must be given. */
    String one(String name) {
        List<String> all = all(name);
        return all.get(all.size() - 1);
    }

    /** The last value of an option that must be given, a file or directory of a store, or a pattern of them. */
    Path path(String name) {
        return path(name, one(name));
    }

    /** {@code value}, which {@code name} was given, as a path; of a store alone it is that of all it has. */
    static Path path(String name, String value) {
        try {
            Path path = new Path(value);
            return path.toUri().getPath().isEmpty() ? new Path(path, "/") : path;
        } catch (IllegalArgumentException e) {
            throw new Misuse(name + " is no path: " + value);
        }
    }

    /** The last value of an option, which is one of {@code choices}; the first of them when it is not given. */
    String choice(String name, String... choices) {
        String value = has(name) ? one(name) : choices[0];
        if (!Arrays.asList(choices).contains(value)) {
            throw new Misuse(name + " is one of " + String.join(", ", choices));
        }
        return value;
    }

    /** The last value of an option, a number from 0 to {@code most}; 0 when it is not given. */
    int number(String name, int most) {
        String value = has(name) ? one(name) : "0";
        if (!value.matches("[0-9]{1,10}") || Long.parseLong(value) > most) {
            throw new Misuse(name + " is a number from 0 to " + most);
        }
        return Integer.parseInt(value);
    }
}
