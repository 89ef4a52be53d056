package com.kelo.kmhash;

import static org.junit.jupiter.api.Assertions.*;

import java.io.*;
import java.lang.reflect.*;
import java.net.*;
import java.nio.file.*;
import javax.tools.ToolProvider;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Loads the classes, or others of their names, in class loaders of their own. */
class LoadingTest {
    /** Hands itself over as a stream, which only the native side can refuse. */
    private static final String GENERATOR = """
            package com.kelo.kmhash;
            class KeloMediaHashGenerator {
                public int available() { return 1; }
                public int read(byte[] bytes, int from, int count) { return count; }
                public long skip(long count) { return count; }
                public void close() {}
                native String createHash(Object in, long size);
                static String hash(String library) {
                    System.load(library);
                    return new KeloMediaHashGenerator().createHash(new KeloMediaHashGenerator(), 1);
                }
            }
            """;

    /** With the type of its constructor's first argument. */
    private static final String EXCEPTION = """
            class KeloMediaHashException extends RuntimeException {
                KeloMediaHashException(%s code, String name) { super(name + " " + code); }
            }
            """;

    @TempDir
    Path folder;

    private Class<?> load() throws Exception {
        URLClassLoader loader = new URLClassLoader(new URL[] {folder.toUri().toURL()}, null);
        return Class.forName("com.kelo.kmhash.KeloMediaHashGenerator", true, loader);
    }

    private String hash(String classes) throws Exception {
        Path source = Files.writeString(folder.resolve("Classes.java"), classes);
        String[] arguments = {"-d", folder.toString(), source.toString()};
        assertEquals(0, ToolProvider.getSystemJavaCompiler().run(null, null, null, arguments));
        URI natives = KeloMediaHashGenerator.class.getResource("native").toURI();
        File library = new File(natives).listFiles()[0].listFiles()[0];
        Path copy = Files.copy(library.toPath(), folder.resolve("library").toAbsolutePath());
        Method hash = load().getDeclaredMethod("hash", String.class);
        hash.setAccessible(true);
        return (String) hash.invoke(null, copy.toString());
    }

    @Test
    void whatOnlyLooksLikeAStreamCannotBeOpened() {
        var failure = assertThrows(InvocationTargetException.class,
                () -> hash(GENERATOR + EXCEPTION.formatted("int")));
        assertEquals("HASHCREATE_FILE_NOTFOUND -1", failure.getCause().getMessage());
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "char"})
    void nothingIsThrownWithoutTheExceptionOrItsConstructor(String argument) throws Exception {
        assertNull(hash(GENERATOR + (argument.isEmpty() ? "" : EXCEPTION.formatted(argument))));
    }

    @Test
    void aMissingLibraryIsNamedWithItsPlaces() throws Exception {
        String name = "KeloMediaHashGenerator.class";
        Path generator = Path.of(KeloMediaHashGenerator.class.getResource(name).toURI());
        Path classes = Files.createDirectories(folder.resolve("com/kelo/kmhash"));
        Files.copy(generator, classes.resolve(generator.getFileName()));
        String message = assertThrows(UnsatisfiedLinkError.class, this::load).getMessage();
        String wanted = ".* system (\\w+-\\w+): .*java.library.path: /.*"
                + " native/\\1/\\S+ beside .* does not exist";
        assertTrue(message.matches(wanted), message);
    }

    @Test
    void noCopyOfTheLibraryStays() {
        KeloMediaHashGenerator.getLibraryMajorVersion();
        File copies = new File(System.getProperty("java.io.tmpdir"));
        assertEquals(0, copies.list((folder, name) -> name.contains("KMHashGenerator")).length);
    }
}
