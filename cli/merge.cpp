#include "cli/commands.h"

#include "api/campaign/results_file.h"
#include "api/text/errors.h"

#include <fmt/format.h>

namespace cli {

namespace {

/// The options of the campaign that a file is of, with what merge was given for the output.
options options_of(const recorded_campaign& recorded, const options& given)
{
    std::vector<const char*> words{"optdoe"};
    for (const std::string& word : recorded.identity.command)
        words.push_back(word.c_str());
    parsed of_file = parse_command_line(static_cast<int>(words.size()), words.data());
    if (of_file.exit_code)
        throw input_error(fmt::format("{}:1:1: its command is none of this version", recorded.file));
    options o = of_file.what;
    o.seed = recorded.identity.first_seed;
    o.output = given.output;
    o.format = given.format;
    o.history = given.history;
    o.report = given.report;
    o.quiet = given.quiet;
    o.results = recorded.file; // the design is one of a campaign
    return o;
}

/// The best of the files in place of a search.
design_source source_of(const std::vector<recorded_campaign>& files, bool incomplete)
{
    return [&files, incomplete](const options& o, const search_problem& problem, std::uint32_t) {
        finished_campaign f;
        f.best = merge_results(files, incomplete);
        arrange_levels(f.best, static_cast<std::size_t>(problem.factors), o.results);
        for (const recorded_campaign& file : files)
            f.searches += static_cast<std::int64_t>(file.seeds.size());
        f.single = false;
        return std::optional(f);
    };
}

} // namespace

int run_merge(const options& given)
{
    std::vector<recorded_campaign> files;
    for (const std::string& name : given.files)
        files.push_back(read_results(name));
    const options o = options_of(files.front(), given);
    const design_source source = source_of(files, given.incomplete);
    return o.command == command::augment ? run_augment(o, source) : run_make(o, source);
}

} // namespace cli
