#include "cli/commands.h"

#include "api/scores/evaluation.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace cli {

int run_evaluate(const options& o)
{
    evaluation_options how;
    how.overrides = o.request.run;
    how.random_designs = static_cast<std::size_t>(o.random_designs);
    std::vector<evaluation> evaluations;
    for (const std::string& name : o.files) {
        design_file file = read_design(name);
        interpret(file, o.request.factors, o.request.code);
        if (file.values.rows < 2)
            throw input_error(name + ":1:1: holds one run; measures need at least two");
        o.request.run.check_criterion(static_cast<std::int64_t>(file.values.columns));
        evaluations.push_back(evaluate(file, how));
    }
    const auto replace = nlohmann::ordered_json::error_handler_t::replace;
    write_output("-", o.json ? evaluation_json(evaluations, how.random_designs).dump(2, ' ', false, replace) + "\n"
                             : evaluation_table(evaluations, how.random_designs));
    for (const evaluation& e : evaluations)
        if (contradicts_record(e))
            std::fprintf(stderr, "optdoe: warning: %s records the objective %.17g, its numbers do not give it\n",
                         e.file.c_str(), *e.recorded);
    return exit_done;
}

} // namespace cli
