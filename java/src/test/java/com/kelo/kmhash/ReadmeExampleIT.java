package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import java.nio.file.*;
import java.util.regex.*;
import org.junit.jupiter.api.Test;

class ReadmeExampleIT {
    @Test
    void withTheJarAloneItPrintsWhatTheReadmeShows() throws Exception {
        String readme = Files.readString(Path.of("../README.md"));
        String fence = "```java\n(.*?)```.*?```text\n\\$ java -cp \\S+ (\\S+) (\\S+)\n(.*?)```";
        Matcher example = Pattern.compile(fence, Pattern.DOTALL).matcher(readme);
        assertTrue(example.find());
        Path source = Files.writeString(Path.of("target", example.group(2)), example.group(1));
        Process process = new ProcessBuilder(System.getProperty("java.home") + "/bin/java", "-cp",
                System.getProperty("jar"), source.toAbsolutePath().toString(), example.group(3))
                .directory(Path.of("..").toFile()).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        assertEquals(example.group(4), new String(process.getInputStream().readAllBytes()));
    }
}
