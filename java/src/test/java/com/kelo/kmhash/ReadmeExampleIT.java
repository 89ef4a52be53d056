package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import java.io.File;
import java.nio.file.*;
import java.util.jar.JarFile;
import java.util.regex.*;
import org.junit.jupiter.api.Test;

class ReadmeExampleIT {
    /** An installed library that lacks the natives, as any other does, is passed over. */
    @Test
    void withTheJarAloneItPrintsWhatTheReadmeShows() throws Exception {
        String readme = Files.readString(Path.of("../README.md"));
        String fence = "```java\n(.*?)```.*?```text\n\\$ java -cp \\S+ (\\S+) (\\S+)\n(.*?)```";
        Matcher example = Pattern.compile(fence, Pattern.DOTALL).matcher(readme);
        assertTrue(example.find());
        Path source = Files.writeString(Path.of("target", example.group(2)), example.group(1));
        String home = System.getProperty("java.home");
        Path installed = source.toAbsolutePath().resolveSibling("installed");
        Files.createDirectories(installed);
        Path other = installed.resolve(System.mapLibraryName("KMHashGenerator"));
        Files.copy(Path.of(home, "lib", System.mapLibraryName("verify")), other,
                StandardCopyOption.REPLACE_EXISTING);
        Process process = new ProcessBuilder(home + "/bin/java", "-Djava.library.path=" + installed,
                "-Djava.io.tmpdir=java/target", "-cp", System.getProperty("jar"),
                source.toAbsolutePath().toString(), example.group(3))
                .directory(new File("..")).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        assertEquals(example.group(4), new String(process.getInputStream().readAllBytes()));
    }

    @Test
    void theJarHasItsLicences() throws Exception {
        try (JarFile jar = new JarFile(System.getProperty("jar"))) {
            assertNotNull(jar.getEntry("META-INF/LICENSE"));
            assertNotNull(jar.getEntry("META-INF/NOTICE"));
        }
    }
}
