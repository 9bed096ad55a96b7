import com.morvantix.doe.LatinHypercube;
import java.util.Arrays;
import java.util.Locale;

/**
 * Microseconds of a default request of 10 runs and 2 factors, seed 5, from Java: prints "Java MEDIAN".
 *
 *     java -cp build/release/java/optimal-latin-hypercube.jar bench/OneCall.java [CALLS]
 */
public final class OneCall {
    private OneCall() { }

    public static void main(String[] arguments) {
        int calls = arguments.length > 0 ? Integer.parseInt(arguments[0]) : 1000;
        double[] microseconds = new double[calls];
        for (int round = 0; round < 2; ++round) // the first one compiles
            for (int call = 0; call < calls; ++call) {
                long begin = System.nanoTime();
                LatinHypercube.of(10).factors(2).seed(5).run().levels();
                microseconds[call] = (System.nanoTime() - begin) / 1e3;
            }
        Arrays.sort(microseconds);
        System.out.printf(Locale.ROOT, "Java %.1f%n", microseconds[calls / 2]);
    }
}
