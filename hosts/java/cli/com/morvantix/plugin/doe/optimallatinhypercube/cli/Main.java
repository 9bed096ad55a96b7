package com.morvantix.plugin.doe.optimallatinhypercube.cli;

import com.morvantix.plugin.doe.optimallatinhypercube.OptimalLatinHypercube;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.nio.file.Path;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.IVersionProvider;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.Spec;

/** The command line: one call of optdoe, its design as CSV. */
@Command(
    name = "optimal-latin-hypercube",
    mixinStandardHelpOptions = true,
    versionProvider = Main.Version.class,
    sortOptions = false,
    usageHelpWidth = 100,
    description = "Builds an optimal Latin hypercube design and writes it as CSV: a header x1,x2,... and one run a "
        + "row. Status lines and the seed in force go to standard error. Ctrl-C ends the search; the best design so "
        + "far is still written.%n",
    exitCodeListHeading = "%nExit codes:%n",
    exitCodeList = {
        "0:the design was written",
        "1:no design: a refused argument (the status line says why), a failed search or a failed write",
        "2:wrong usage",
        "130:ended by Ctrl-C (by SIGTERM: 143) with the best design so far"
    })
final class Main implements Callable<Integer> {
    @Parameters(index = "0", paramLabel = "SAMPLES", description = "number of sample points, the rows; at least 2")
    private int samples;

    @Parameters(index = "1", paramLabel = "FACTORS", description = "number of factors, the columns; at least 1")
    private int factors;

    @Option(names = {"-m", "--minutes"}, paramLabel = "M", defaultValue = "5",
        description = "time budget in minutes (default: ${DEFAULT-VALUE}); 0 stands for 10000 seconds")
    private double minutes;

    @Option(names = {"-s", "--seed"}, paramLabel = "S",
        description = "whole number whose low 32 bits seed the random numbers (default, and for -1: from the clock); "
            + "repeats its design unless the time budget or Ctrl-C ended the search")
    private Long seed;

    @Option(names = {"-o", "--output"}, paramLabel = "FILE",
        description = "write to FILE, which appears only when complete, instead of standard output")
    private Path output;

    @Spec
    private CommandSpec spec;

    private final CountDownLatch finished;

    private Main(CountDownLatch finished) {
        this.finished = finished;
    }

    public static void main(String[] arguments) {
        CountDownLatch finished = new CountDownLatch(1);
        int code = 1;
        try {
            code = new CommandLine(new Main(finished))
                .setParameterExceptionHandler(Main::wrongUsage).execute(arguments);
        } finally {
            finished.countDown();
        }
        System.exit(code);
    }

    @Override
    public Integer call() {
        if (!Double.isFinite(minutes))
            throw new ParameterException(spec.commandLine(), "Invalid value for option '--minutes': not finite");
        DesignFile file = output != null ? openOutput() : null;
        try {
            return run(file);
        } catch (IOException reason) {
            return failed("cannot write the design: " + reason);
        } catch (LinkageError | OutOfMemoryError | RuntimeException reason) {
            return failed(reason.getMessage());
        }
    }

    /** Looks at the place of the output before the search, which may take long, and not after it. */
    private DesignFile openOutput() {
        try {
            return new DesignFile(output);
        } catch (IOException reason) {
            throw new ParameterException(spec.commandLine(),
                "Invalid value for option '--output': " + reason.getMessage());
        }
    }

    private int run(DesignFile file) throws IOException {
        OptimalLatinHypercube host = new OptimalLatinHypercube();
        host.setStatusListener(line -> System.err.println(line.strip()));
        stopOnSignal(host);

        int[] levels = host.optdoe(samples, factors, minutes, seedInForce());
        if (levels == null)
            return 1;
        Design design = new Design(samples, factors, levels);
        if (file != null)
            file.write(design);
        else
            // Not System.out: a PrintStream keeps a closed pipe or a full disk to itself.
            design.writeCsv(new FileOutputStream(FileDescriptor.out));
        design.missingLevels().forEach(System.err::println);
        return 0;
    }

    /**
     * Has a signal end the search early. The virtual machine answers SIGINT and SIGTERM by running the shutdown hooks
     * and then exits with 128 plus the signal's number; this hook holds that up until the design is written.
     */
    private void stopOnSignal(OptimalLatinHypercube host) {
        Runtime.getRuntime().addShutdownHook(new Thread(() -> {
            host.requestStop();
            try {
                finished.await();
            } catch (InterruptedException hurry) {
                Thread.currentThread().interrupt();
            }
        }));
    }

    /** The seed, printed. One from the clock is drawn here, not by the library, which would not tell it. */
    private long seedInForce() {
        boolean fromClock = seed == null || seed.intValue() == -1;
        long inForce = fromClock ? System.currentTimeMillis() & Integer.MAX_VALUE : seed;
        String source = fromClock ? " (from the clock)" : "";
        System.err.println("Seed in force                        = " + inForce + source);
        return inForce;
    }

    /** Without the whole help, which would push the message out of sight. */
    private static int wrongUsage(ParameterException error, String[] arguments) {
        String name = error.getCommandLine().getCommandName();
        System.err.println(name + ": " + error.getMessage() + "\nTry '" + name + " --help'.");
        return error.getCommandLine().getCommandSpec().exitCodeOnInvalidInput();
    }

    private int failed(String reason) {
        System.err.println(spec.name() + ": " + reason);
        return 1;
    }

    /** The version in the jar's manifest. */
    static final class Version implements IVersionProvider {
        @Override
        public String[] getVersion() {
            return new String[] {"${COMMAND-FULL-NAME} " + Main.class.getPackage().getImplementationVersion()};
        }
    }
}
