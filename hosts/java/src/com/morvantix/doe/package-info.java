/**
 * Optimal Latin hypercube designs: {@link com.morvantix.doe.LatinHypercube} says what is asked for,
 * {@link com.morvantix.doe.LatinHypercubeDesign} is what comes of it or what a file holds, and
 * {@link com.morvantix.doe.Scores} tell how good a design is.
 *
 * <pre>{@code
 * LatinHypercubeDesign design = LatinHypercube.of(50)
 *     .factor("Temp", 20, 80, "C").factor("Flow", 1, 5, "l/h")
 *     .criterion(Criterion.centeredL2()).time(Duration.ofSeconds(10)).seed(5)
 *     .run(progress -> System.err.println(progress.best()));
 * int[][] levels = design.levels();
 * double[][] physical = design.physical();
 * }</pre>
 *
 * <p><b>Values.</b> Objects of this package do not change, but for {@link com.morvantix.doe.CancellationToken}, and may
 * be used by any number of threads at once. Arrays that go in and come out are copies. Tables have a row for each run
 * and a column for each factor. No method returns null.
 *
 * <p><b>Errors.</b> A value out of its range is an {@link java.lang.IllegalArgumentException} where it is set; its
 * message names the setting, the value and the range. Settings that contradict each other are one when the request is
 * checked or run, before anything is searched or written. A null argument is a {@link java.lang.NullPointerException}.
 * What a file, the data or the machine refuses, and a fault of the library, are a
 * {@link com.morvantix.doe.DesignException}; exhausted memory is an {@link java.lang.OutOfMemoryError}.
 *
 * <p><b>The native library.</b> The first use of this package loads a library that is bundled in the jar, for Linux on
 * x86-64 with glibc. Its file is extracted into a directory of its owner's only, and is gone when it is loaded. The
 * directory is made in the temporary directory; where nothing can be loaded from there (it may be mounted noexec), in
 * the user's cache directory ({@code $XDG_CACHE_HOME} or {@code ~/.cache}), then beside the jar. The system property
 * {@code optdoe.directory} names another place, {@code optdoe.library} the library's file itself; either is then the
 * only attempt. Failure is an {@link java.lang.UnsatisfiedLinkError} that names the platform, its C library and every
 * place that was tried. A program on the module path allows it with {@code --enable-native-access=com.morvantix.doe},
 * one on the class path with {@code --enable-native-access=ALL-UNNAMED} or {@code Enable-Native-Access: ALL-UNNAMED} in
 * the manifest of its jar; up to JDK 23 neither is needed, later versions print a warning without it.
 *
 * <p><b>Processes.</b> Searches run on threads of the native library and have ended them when they return. Nothing is
 * left to a finalizer: what a call takes outside the heap is freed when it returns. File names go to the native library
 * in UTF-8.
 */
package com.morvantix.doe;
