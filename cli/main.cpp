// optdoe, the native command line.
#include "api/reports/plot.h"
#include "api/text/errors.h"
#include "cli/commands.h"
#include "cli/progress.h"
#include "cli/signals.h"

#include <cstdio>
#include <new>

namespace cli {

int run_plot(const options& o)
{
    design_file file = read_design(o.files.front());
    interpret(file, o.factors, o.code);
    plot(file, o.history.empty() ? std::vector<search_trace>{} : read_history(o.history), o.output);
    return exit_done;
}

static int run(const options& o)
{
    switch (o.command) {
    case command::augment: catch_signals(); return run_augment(o, searched_here);
    case command::evaluate: return run_evaluate(o);
    case command::plot: return run_plot(o);
    case command::merge: return run_merge(o);
    default: catch_signals(); return run_make(o, searched_here);
    }
}

} // namespace cli

int main(int count, char** arguments)
{
    try {
        const cli::parsed parsed = cli::parse_command_line(count, arguments);
        return parsed.exit_code ? *parsed.exit_code : cli::run(parsed.what);
    } catch (const cli::usage_error& error) {
        std::fprintf(stderr, "optdoe: %s\n", error.what());
        return cli::exit_usage;
    } catch (const std::bad_alloc&) {
        std::fputs("optdoe: memory exhausted\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "optdoe: %s\n", error.what());
    }
    return cli::exit_failed;
}
