package com.kelo.kmhash.spark;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import org.apache.spark.launcher.JavaModuleOptions;

/** A master and two workers, processes on the loopback, in a folder with Spark's jars and logs. */
final class Cluster {
    final String url;
    final List<Process> workers = new ArrayList<>();
    private final Path folder;
    private final Process master;

    Cluster(Path folder) throws Exception {
        this.folder = folder;
        Path jars = Files.createDirectories(folder.resolve("jars"));
        for (String entry : System.getProperty("java.class.path").split(File.pathSeparator)) {
            Path jar = Path.of(entry);
            if (entry.endsWith(".jar") && !jar.getFileName().toString().startsWith("kmhash")) {
                Files.createSymbolicLink(jars.resolve(jar.getFileName()), jar);
            }
        }
        String common = " --host 127.0.0.1 --webui-port 0 ";
        master = java("master", "org.apache.spark.deploy.master.Master" + common + "--port 0");
        url = waitFor("master", Pattern.compile("spark://[0-9.:]+"));
        for (String name : List.of("worker1", "worker2")) {
            workers.add(java(name, "org.apache.spark.deploy.worker.Worker" + common
                    + "--cores 2 --memory 1g --work-dir " + folder.resolve(name) + " " + url));
            waitFor(name, Pattern.compile("Successfully registered"));
        }
    }

    /** Starts a job by spark-submit's class, which runs as its driver. */
    Process submit(Class<?> job, String arguments) throws IOException {
        return java("submit", "org.apache.spark.deploy.SparkSubmit --master " + url
                + " --executor-memory 512m --conf spark.ui.enabled=false --conf spark.cores.max=2"
                + " --class " + job.getName() + " " + System.getProperty("jar") + " " + arguments);
    }

    static void kill(Process process) throws InterruptedException {
        List<ProcessHandle> children = process.descendants().toList();
        process.destroyForcibly().waitFor();
        children.forEach(ProcessHandle::destroyForcibly);
    }

    void stop() throws InterruptedException {
        for (Process worker : workers) {
            kill(worker);
        }
        kill(master);
    }

    /** As root too, these processes find files that they must not read. */
    private Process java(String log, String line) throws IOException {
        boolean isRoot = Files.getAttribute(folder, "unix:uid").equals(0);
        String command = (isRoot ? "setpriv --bounding-set=-dac_override,-dac_read_search " : "")
                + "java -Xmx512m -cp " + folder + "/jars/* "
                + JavaModuleOptions.defaultModuleOptions() + " " + line;
        ProcessBuilder process = new ProcessBuilder(command.split(" +")).redirectErrorStream(true);
        process.environment().put("SPARK_HOME", folder.toString());
        process.environment().put("SPARK_SCALA_VERSION", "2.12");
        process.environment().put("SPARK_LOCAL_IP", "127.0.0.1");
        process.environment().put("SPARK_LOCAL_DIRS", folder.resolve("local").toString());
        Process started = process.redirectOutput(folder.resolve(log + ".log").toFile()).start();
        Runtime.getRuntime().addShutdownHook(new Thread(started::destroyForcibly)); // a test that failed stops nothing
        return started;
    }

    private String waitFor(String log, Pattern pattern) throws Exception {
        for (int i = 0; i < 1200; i++) {
            Matcher found = pattern.matcher(Files.readString(folder.resolve(log + ".log")));
            if (found.find()) {
                return found.group();
            }
            Thread.sleep(100);
        }
        throw new IllegalStateException("nothing like " + pattern + " in " + log + ".log");
    }
}
