package com.morvantix.plugin.doe.optimallatinhypercube;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;

/**
 * Loads the native library once for its class loader.
 *
 * <p>The library is the file that the system property {@value #PROPERTY} names and no other, or, without the
 * property, the copy bundled beside the classes. Loading does not happen in a static initialiser: the virtual machine
 * would answer every use after a failed one with a NoClassDefFoundError that no longer says why.
 */
final class NativeLibrary {
    /** System property with the path of the library's file. */
    static final String PROPERTY = "optimallatinhypercube.library";

    private static final String FILE_NAME = "libZORBEXdoe_optimallatinhypercubeC.so";

    private static boolean loaded;
    private static String failure;
    private static Throwable cause;

    private NativeLibrary() { }

    /**
     * Loads the library, unless that was done before.
     *
     * @throws UnsatisfiedLinkError if that fails, with the same message on every call
     */
    static synchronized void load() {
        if (loaded)
            return;
        if (failure == null)
            loaded = tryToLoad();
        if (!loaded)
            throw (UnsatisfiedLinkError) new UnsatisfiedLinkError(failure).initCause(cause);
    }

    private static boolean tryToLoad() {
        String named = System.getProperty(PROPERTY);
        String place = named != null ? "the file " + named + " that the property names" : null;
        try {
            if (named != null) {
                System.load(Path.of(named).toAbsolutePath().toString());
            } else {
                String resource = bundledResource(System.getProperty("os.name"), System.getProperty("os.arch"));
                place = "no bundled library for this platform";
                if (resource == null)
                    throw new IOException("bundled is META-INF/native/linux-x86_64 only");
                place = "the bundled " + resource + ", extracted into " + System.getProperty("java.io.tmpdir");
                loadBundled(resource);
            }
            return true;
        } catch (IOException | RuntimeException | LinkageError reason) {
            cause = reason;
            failure = "Cannot load the native library on " + System.getProperty("os.name") + " "
                + System.getProperty("os.arch") + ". Tried: " + place + " (" + reason + "). The system property "
                + PROPERTY + " can name the exact file to load (-D" + PROPERTY + "=/path/to/" + FILE_NAME + ").";
            return false;
        }
    }

    /** Path of the bundled library for a platform, in the spelling of os.name and os.arch; null if there is none. */
    static String bundledResource(String osName, String osArch) {
        boolean supported = osName.equals("Linux") && (osArch.equals("amd64") || osArch.equals("x86_64"));
        return supported ? "/META-INF/native/linux-x86_64/" + FILE_NAME : null;
    }

    /**
     * Loads from a directory that only the owner may enter, so that nobody can exchange the file in between. The
     * loaded library needs neither file nor directory any more: they are gone when this returns, even if the process
     * is killed later.
     */
    private static void loadBundled(String resource) throws IOException {
        try (InputStream bundled = NativeLibrary.class.getResourceAsStream(resource)) {
            if (bundled == null)
                throw new IOException("the class path holds no such resource");
            Path directory = Files.createTempDirectory("optimallatinhypercube-",
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
            Path file = directory.resolve(FILE_NAME);
            try {
                Files.copy(bundled, file);
                System.load(file.toString());
            } finally {
                Files.deleteIfExists(file);
                Files.delete(directory);
            }
        }
    }
}
