// optdoe, the native command line.
#include "api/reports/plot.h"
#include "cli/commands.h"
#include "cli/program.h"
#include "cli/signals.h"

namespace cli {

int run_plot(const options& o)
{
    design_file file = read_design(o.files.front());
    interpret(file, o.request.factors, o.request.code);
    plot(file, o.history.empty() ? std::vector<search_trace>{} : read_history(o.history), o.output);
    return exit_done;
}

static int run(const options& o)
{
    switch (o.command) {
    case command::evaluate: return run_evaluate(o);
    case command::plot: return run_plot(o);
    case command::merge: return run_merge(o);
    default: catch_signals(); return run_search(o, searched_here);
    }
}

} // namespace cli

int main(int count, char** arguments)
{
    return cli::run_program("optdoe", [&] {
        const cli::parsed parsed = cli::parse_command_line(count, arguments);
        return parsed.exit_code ? *parsed.exit_code : cli::run(parsed.what);
    });
}
