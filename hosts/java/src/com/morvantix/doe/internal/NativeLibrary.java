package com.morvantix.doe.internal;

import java.io.IOException;
import java.io.InputStream;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.CodeSource;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * A native library that is bundled beside the classes, loaded once for their class loader.
 *
 * <p>A system property may name the file to load, and then there is no other attempt. Without it the bundled copy is
 * extracted into the directory that {@value #DIRECTORY_PROPERTY} names, or else into the first of these that it can be
 * loaded from: the temporary directory, the user's cache directory, the jar's own. Loading does not happen in a static
 * initialiser: the virtual machine would answer every use after a failed one with a NoClassDefFoundError that no longer
 * says why.
 */
public final class NativeLibrary {
    /** The library with the native method of OptimalLatinHypercube. */
    public static final NativeLibrary ENTRY =
        new NativeLibrary("libZORBEXdoe_optimallatinhypercubeC.so", "optimallatinhypercube.library");

    /** The library behind com.morvantix.doe. */
    public static final NativeLibrary INTERFACE = new NativeLibrary("liboptdoe_java.so", "optdoe.library");

    /** System property with the directory that bundled libraries are extracted into. */
    public static final String DIRECTORY_PROPERTY = "optdoe.directory";

    private final String fileName;
    private final String fileProperty;
    private boolean loaded;
    private UnsatisfiedLinkError failure;

    private NativeLibrary(String fileName, String fileProperty) {
        this.fileName = fileName;
        this.fileProperty = fileProperty;
    }

    /**
     * Loads the library, unless that was done before.
     *
     * @throws UnsatisfiedLinkError if that fails, with the same message on every call
     */
    public synchronized void load() {
        if (loaded)
            return;
        if (failure == null)
            failure = tryToLoad();
        if (failure != null)
            throw (UnsatisfiedLinkError) new UnsatisfiedLinkError(failure.getMessage()).initCause(failure);
        loaded = true;
    }

    /** Loads; what failed in each place is in the message and among the suppressed. Null: it is loaded. */
    private UnsatisfiedLinkError tryToLoad() {
        List<String> tried = new ArrayList<>();
        List<Throwable> reasons = new ArrayList<>();
        String named = System.getProperty(fileProperty);
        String resource = bundledResource(System.getProperty("os.name"), System.getProperty("os.arch"));
        if (named != null) {
            try {
                System.load(Path.of(named).toAbsolutePath().toString());
                return null;
            } catch (RuntimeException | LinkageError reason) {
                tried.add("the file " + named + " that the property names (" + reason + ")");
                reasons.add(reason);
            }
        } else if (resource == null) {
            tried.add("no bundled library for this platform (bundled is META-INF/native/linux-x86_64 only)");
        } else {
            for (Path place : places()) {
                try {
                    loadBundled(resource, place);
                    return null;
                } catch (IOException | RuntimeException | LinkageError reason) {
                    tried.add("the bundled " + resource + ", extracted into " + place
                        + (isMountedNoexec(place) ? ", which is mounted noexec" : "") + " (" + reason + ")");
                    reasons.add(reason);
                }
            }
        }
        UnsatisfiedLinkError error = new UnsatisfiedLinkError("Cannot load the native library on "
            + System.getProperty("os.name") + " " + System.getProperty("os.arch") + " with " + libc() + ". Tried: "
            + String.join("; ", tried) + ". The system property " + fileProperty
            + " can name the exact file to load (-D" + fileProperty + "=/path/to/" + fileName + "), "
            + DIRECTORY_PROPERTY + " a directory to extract into that programs may be loaded from.");
        reasons.forEach(error::addSuppressed);
        return error;
    }

    /**
     * Path of the bundled library for a platform.
     *
     * @param osName the platform as os.name spells it
     * @param osArch its processor as os.arch spells it
     * @return null if there is none
     */
    public String bundledResource(String osName, String osArch) {
        boolean supported = osName.equals("Linux") && (osArch.equals("amd64") || osArch.equals("x86_64"));
        return supported ? "/META-INF/native/linux-x86_64/" + fileName : null;
    }

    private static List<Path> places() {
        String directory = System.getProperty(DIRECTORY_PROPERTY);
        if (directory != null)
            return List.of(Path.of(directory));
        List<Path> places = new ArrayList<>();
        places.add(Path.of(System.getProperty("java.io.tmpdir")));
        places.add(cache());
        CodeSource source = NativeLibrary.class.getProtectionDomain().getCodeSource();
        try {
            if (source != null && source.getLocation() != null)
                places.add(Path.of(source.getLocation().toURI()).toAbsolutePath().getParent());
        } catch (URISyntaxException | RuntimeException notAFile) {
            // Classes that come from elsewhere than a file have no folder.
        }
        return places;
    }

    /** The directory for a user's caches: that of XDG_CACHE_HOME where it is absolute, else .cache in the home. */
    private static Path cache() {
        String named = System.getenv("XDG_CACHE_HOME");
        return named != null && named.startsWith("/") ? Path.of(named)
            : Path.of(System.getProperty("user.home"), ".cache");
    }

    /**
     * Loads from a new directory that only the owner may enter, so that nobody can exchange the file in between. The
     * loaded library needs neither file nor directory any more: they are gone when this returns, even if the process
     * is killed later.
     */
    private void loadBundled(String resource, Path place) throws IOException {
        try (InputStream bundled = NativeLibrary.class.getResourceAsStream(resource)) {
            if (bundled == null)
                throw new IOException("the class path holds no such resource");
            if (place.equals(cache()))
                Files.createDirectories(place);
            Path directory = Files.createTempDirectory(place, "optimallatinhypercube-",
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------")));
            Path file = directory.resolve(fileName);
            try {
                Files.copy(bundled, file);
                System.load(file.toAbsolutePath().toString());
            } finally {
                Files.deleteIfExists(file);
                Files.delete(directory);
            }
        }
    }

    /** Whether the file system of a directory is mounted so that no program may be loaded from it. */
    private static boolean isMountedNoexec(Path directory) {
        try {
            Path real = directory.toRealPath();
            Path nearest = null;
            boolean noexec = false;
            for (String line : Files.readAllLines(Path.of("/proc/self/mounts"), StandardCharsets.ISO_8859_1)) {
                String[] fields = line.split(" ");
                Path mounted = Path.of(fields[1].replace("\\040", " "));
                // Of several file systems at one place the last is on top.
                if (real.startsWith(mounted) && (nearest == null || mounted.startsWith(nearest))) {
                    nearest = mounted;
                    noexec = Arrays.asList(fields[3].split(",")).contains("noexec");
                }
            }
            return noexec;
        } catch (IOException | RuntimeException unknown) {
            return false;
        }
    }

    /** The C library of this process. */
    private static String libc() {
        try {
            String mapped = Files.readString(Path.of("/proc/self/maps"), StandardCharsets.ISO_8859_1);
            return mapped.contains("/ld-musl-") ? "musl" : mapped.matches("(?s).*/libc(-[0-9.]+\\.so|\\.so\\.6)\n.*")
                ? "glibc" : "an unknown C library";
        } catch (IOException | RuntimeException unknown) {
            return "an unknown C library";
        }
    }
}
