package com.morvantix.doe;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.morvantix.plugin.doe.optimallatinhypercube.Jvm;
import java.io.File;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.jar.JarFile;
import java.util.stream.Collectors;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/** What others make of the jars, each in processes of its own. */
@Tag("command_line")
@Timeout(180)
class InstalledTest {
    private static final String EXAMPLE = "import com.morvantix.doe.LatinHypercube;\n"
        + "public class App {\n"
        + "    public static void main(String[] arguments) {\n"
        + "        System.out.println(LatinHypercube.of(10).factors(2).seed(5).run().runs() + \" runs\");\n"
        + "    }\n"
        + "}\n";

    @TempDir
    Path directory;

    private Path jar;

    @BeforeEach
    void find_the_jar() {
        jar = Path.of(Jvm.jar());
    }

    private Jvm.Result run(String... command) throws Exception {
        return Jvm.start(directory, List.of(command)).await();
    }

    private static String tool(String name) {
        return System.getProperty("java.home") + "/bin/" + name;
    }

    private static List<String> entries(Path archive) throws Exception {
        try (JarFile file = new JarFile(archive.toFile())) {
            return file.stream().map(entry -> entry.getName()).collect(Collectors.toList());
        }
    }

    @Test
    void the_example_of_the_page_runs() throws Exception {
        String page = Files.readString(Path.of(System.getProperty("tests.docs"), "java.md"));
        String code = page.substring(page.indexOf("```java\n") + 8, page.indexOf("```", page.indexOf("```java\n") + 8));
        Path source = Files.writeString(directory.resolve("Example.java"), code);
        Jvm.Result result = run("bash", "-c", "cd '" + directory + "' && exec '" + tool("java") + "' -cp '" + jar + "' "
            + source);
        assertEquals(0, result.code, result::toString);
        assertTrue(result.out.matches("(?s)\\d+ is [0-9.]+ C\n.*60 runs\n"), result::toString);
        assertEquals(50, LatinHypercubeDesign.read(directory.resolve("design.csv")).runs());
        assertTrue(Files.size(directory.resolve("design.html")) > 1000);
    }

    @Test
    void a_module_uses_the_library() throws Exception {
        Files.writeString(directory.resolve("module-info.java"), "module app { requires com.morvantix.doe; }\n");
        Files.createDirectories(directory.resolve("app"));
        Path source = Files.writeString(directory.resolve("app/App.java"), "package app;\n" + EXAMPLE);
        Path classes = directory.resolve("classes");
        Jvm.Result compiled = run(tool("javac"), "--release", "11", "-p", jar.toString(), "-d", classes.toString(),
            directory.resolve("module-info.java").toString(), source.toString());
        assertEquals(0, compiled.code, compiled::toString);
        Jvm.Result result = run(tool("java"), "-p", jar + File.pathSeparator + classes, "-m", "app/app.App");
        assertEquals("10 runs\n", result.out, result::toString);
    }

    @Test
    void the_internal_package_is_not_exported() throws Exception {
        Jvm.Result result = run(tool("jar"), "--describe-module", "--file", jar.toString());
        assertTrue(result.out.contains("exports com.morvantix.doe\n"), result::toString);
        assertTrue(result.out.contains("exports com.morvantix.plugin.doe.optimallatinhypercube\n"), result::toString);
        assertFalse(result.out.contains("exports com.morvantix.doe.internal"), result::toString);
    }

    @Test
    void the_jars_hold_what_belongs_to_them() throws Exception {
        String name = jar.toString().replace(".jar", "");
        List<String> library = entries(jar);
        assertTrue(library.contains("META-INF/native/linux-x86_64/liboptdoe_java.so"), library.toString());
        assertTrue(library.stream().noneMatch(entry -> entry.contains("picocli") || entry.contains("/cli/")));
        assertTrue(entries(Path.of(name + "-cli.jar")).stream().anyMatch(entry -> entry.startsWith("picocli/")));
        assertTrue(entries(Path.of(name + "-sources.jar")).contains("com/morvantix/doe/LatinHypercube.java"));
        assertTrue(entries(Path.of(name + "-javadoc.jar")).stream()
            .anyMatch(entry -> entry.endsWith("com/morvantix/doe/LatinHypercube.html")));
    }

    @Test
    void the_bridge_needs_no_library_but_the_systems_and_exports_its_methods_only() throws Exception {
        assumeTrue(!System.getProperty("tests.sanitized").equals("true"), "sanitizers have libraries of their own");
        Jvm.Result extracted = run("bash", "-c", "cd '" + directory + "' && '" + tool("jar") + "' -xf '" + jar
            + "' META-INF/native && cd META-INF/native/* && "
            + "objdump -p liboptdoe_java.so | sed -n 's/ *NEEDED *//p' && nm -D --defined-only liboptdoe_java.so");
        assertEquals(0, extracted.code, extracted::toString);
        for (String line : extracted.out.split("\n"))
            assertTrue(line.matches("lib[cm]\\.so\\.6|ld-linux-x86-64\\.so\\.2")
                || line.matches(".* T (JNI_OnLoad|Java_com_morvantix_doe_Native_\\w+)"), line);
    }

    @Test
    void a_maven_project_builds_from_the_installed_files() throws Exception {
        Path debian = Path.of("/usr/share/maven-repo");
        assumeTrue(run("bash", "-c", "command -v mvn cmake").code == 0, "maven or cmake is not installed");
        for (String plugin : List.of("compiler", "resources"))
            assumeTrue(Files.exists(debian.resolve("org/apache/maven/plugins/maven-" + plugin + "-plugin")),
                "libmaven-" + plugin + "-plugin-java is not installed");
        Path repository = directory.resolve("repository");
        Jvm.Result installed = run("bash", "-ec", "cd '" + directory + "'; cp -as " + debian + " repository;"
            + "rm -rf repository/com/morvantix; "
            + "cmake --install '" + System.getProperty("tests.build") + "' --component java --prefix usr; "
            + "cp -RL usr/share/maven-repo/com/morvantix repository/com/");
        assertEquals(0, installed.code, installed::toString);

        Path project = Files.createDirectories(directory.resolve("project"));
        Files.createDirectories(project.resolve("src/main/java"));
        Files.writeString(project.resolve("src/main/java/App.java"), EXAMPLE);
        Files.writeString(project.resolve("pom.xml"), "<project xmlns=\"http://maven.apache.org/POM/4.0.0\">\n"
            + "<modelVersion>4.0.0</modelVersion>\n"
            + "<groupId>example</groupId><artifactId>app</artifactId><version>1</version>\n"
            + "<properties><maven.compiler.release>11</maven.compiler.release>\n"
            + "<project.build.sourceEncoding>UTF-8</project.build.sourceEncoding></properties>\n"
            + "<dependencies><dependency>\n"
            + "<groupId>com.morvantix.doe</groupId><artifactId>optimal-latin-hypercube</artifactId>\n"
            + "<version>" + System.getProperty("tests.version") + "</version>\n"
            + "</dependency></dependencies></project>\n");
        Jvm.Result built =
            run("mvn", "-o", "-B", "-Dmaven.repo.local=" + repository, "-f", project.toString(), "compile");
        assertEquals(0, built.code, built::toString);
        String version = System.getProperty("tests.version");
        Path library = repository.resolve("com/morvantix/doe/optimal-latin-hypercube/" + version
            + "/optimal-latin-hypercube-" + version + ".jar");
        Jvm.Result result =
            run(tool("java"), "-cp", project.resolve("target/classes") + File.pathSeparator + library, "App");
        assertEquals("10 runs\n", result.out, result::toString);
    }
}
