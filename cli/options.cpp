// The only source that includes CLI11, which takes seconds to compile.
#include "cli/options.h"

#include "api/settings/setting_texts.h"
#include "api/text/csv_reader.h"
#include "api/text/errors.h"
#include "api/text/json_text.h"
#include "api/text/text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <map>
#include <set>

namespace cli {

namespace {

const std::array<std::pair<std::string, command>, 5> commands{{{"make", command::make},
                                                               {"augment", command::augment},
                                                               {"evaluate", command::evaluate},
                                                               {"plot", command::plot},
                                                               {"merge", command::merge}}};

/// What options deliver as text; turned into `options` after parsing.
struct raw_options {
    std::string time, minutes, seed, shard, theta, weights, shares, levels, balanced, coding, placement, format,
        bounds, config;
    std::vector<std::string> factors;
};

/// Help in the order of use, without CLI11's type notes for options that name their own form.
struct help_formatter : CLI::Formatter {
    std::string make_usage(const CLI::App* app, std::string) const override
    {
        const std::string own =
            app->get_parent() != nullptr ? app->get_parent()->get_name() + " " + app->get_name() : app->get_name();
        const std::map<std::string, std::string> forms{{"make", "N K [OPTIONS]"},
                                                       {"augment", "OLD --add M [OPTIONS]"},
                                                       {"evaluate", "FILE... [OPTIONS]"},
                                                       {"plot", "FILE --output PICTURE [OPTIONS]"},
                                                       {"merge", "RESULTS... [OPTIONS]"}};
        const auto form = forms.find(app->get_name());
        return form == forms.end() ? "Usage: " + own + " N K [OPTIONS]\n       " + own + " COMMAND ...\n"
                                   : "Usage: " + own + " " + form->second + "\n";
    }
};

/// Checks whose ranges stand in the help texts, so that they add no notes of their own.
CLI::Validator one_of(const std::vector<std::string>& names) { return CLI::IsMember(names).description(""); }

CLI::Validator at_least(std::int64_t least) { return CLI::Range(least, std::int64_t{1} << 30).description(""); }

/// The option of a row of the table of settings, with the row's help; `form` names its value.
template <class T>
CLI::Option* add_setting(CLI::App& app, setting_id id, T& value, const char* form, const char* group)
{
    CLI::Option* option = app.add_option(option_name(id), value, help_text(id))->type_name(form)->group(group);
    if (setting_of(id).kind == setting_kind::choice)
        option->check(one_of(choices_of(setting_of(id))));
    return option;
}

void add_flag(CLI::App& app, setting_id id, bool& value, const char* group)
{
    app.add_flag(option_name(id), value, help_text(id))->group(group);
}

void add_criterion_options(CLI::App& app, options& o, raw_options& raw, bool choose)
{
    const char* group = "Criterion";
    if (choose)
        add_setting(app, setting_id::criterion, o.run.criterion, "NAME", group);
    add_setting(app, setting_id::exponent, o.run.p, "P", group);
    add_setting(app, setting_id::distance, o.run.distance, "NAME", group);
    add_setting(app, setting_id::theta, raw.theta, "LIST", group);
    add_setting(app, setting_id::weights, raw.weights, "LIST", group);
}

void add_scaling(CLI::App& app, options& o)
{
    add_setting(app, setting_id::scaling, o.run.scaling, "NAME", "Criterion");
}

void add_search_options(CLI::App& app, options& o, raw_options& raw)
{
    const char* group = "Search";
    add_setting(app, setting_id::target, o.run.target, "VALUE", "Criterion");
    add_flag(app, setting_id::negate_target, o.run.negate_target, "Criterion");
    add_setting(app, setting_id::method, o.run.method, "NAME", group);
    add_setting(app, setting_id::time, raw.time, "TIME", group);
    app.add_option("--minutes", raw.minutes, "the same in minutes, as the Java host takes it")
        ->type_name("NUMBER")
        ->excludes(option_name(setting_id::time))
        ->group(group);
    add_setting(app, setting_id::iterations, o.run.iterations, "COUNT", group);
    add_setting(app, setting_id::moves, o.run.moves, "COUNT", group);
    add_setting(app, setting_id::pairs, o.run.pairs, "COUNT", group);
    add_flag(app, setting_id::all_pairs, o.run.all_pairs, group);
    add_setting(app, setting_id::restarts, o.run.restarts, "COUNT", group);
    add_setting(app, setting_id::threshold, o.run.threshold, "VALUE", group);
    add_setting(app, setting_id::cooling, o.run.cooling, "VALUE", group);
    add_setting(app, setting_id::tolerance, o.run.tolerance, "VALUE", group);
    add_setting(app, setting_id::shares, raw.shares, "LIST", group);
    add_flag(app, setting_id::weighted_choice, o.run.weighted_choice, group);
    add_setting(app, setting_id::levels, raw.levels, "LIST", group);
    add_flag(app, setting_id::no_pre_improvement, o.run.no_pre_improvement, group);
    add_setting(app, setting_id::auxiliary, o.run.auxiliary, "MODE", group);
    add_setting(app, setting_id::seed, raw.seed, "SEED", group);
}

/// How many searches, on how many cores and machines.
void add_campaign_options(CLI::App& app, options& o, raw_options& raw)
{
    const char* group = "Campaign";
    app.add_option("--starts", o.starts, "searches from that many seeds, SEED, SEED + 1, ...; the best one counts")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{1} << 32).description(""))
        ->type_name("COUNT")
        ->group(group);
    app.add_option("-j,--jobs", o.jobs, "searches at the same time (default: the cores this process may use)")
        ->check(CLI::Range(1, 4096).description(""))
        ->type_name("COUNT")
        ->group(group);
    app.add_option("--effort", o.effort, "rounds of a search that chooses its methods; --time plans them itself")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{1} << 40).description(""))
        ->type_name("ROUNDS")
        ->group(group);
    app.add_option("--stop-after", o.stop_after, "end the search after this round, as a stop does; 0: its start")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1} << 40).description(""))
        ->type_name("ROUNDS")
        ->group(group);
    app.add_option("--results", o.results, "write a JSON line for each finished search")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--resume", o.resume, "go on from a file of --results, and write it further")
        ->type_name("FILE")
        ->excludes("--results")
        ->group(group);
    app.add_option("--shard", raw.shard, "make the I-th of M parts of the starts, as I/M; see merge")
        ->type_name("I/M")
        ->group(group);
}

void add_factor_options(CLI::App& app, raw_options& raw)
{
    app.add_option("--factor", raw.factors, "a factor with its range, NAME=LOW:HIGH[:UNIT]; once for each factor")
        ->type_name("FACTOR")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(1)
        ->allow_extra_args(false)
        ->group("Factors");
    app.add_option("--bounds", raw.bounds, "factors from a CSV file name,low,high[,unit]")
        ->type_name("FILE")
        ->group("Factors");
}

void add_coding(CLI::App& app, raw_options& raw, const std::string& text)
{
    app.add_option("--coding", raw.coding, text)
        ->check(one_of({"levels", "unit", "physical"}))
        ->type_name("NAME")
        ->group("Factors");
}

void add_output_options(CLI::App& app, options& o, raw_options& raw)
{
    const std::string group = "Output";
    app.add_option("-o,--output", o.output, "where the design goes; - is standard output (default)")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--format", raw.format, "csv or json (default: by the name of --output, else csv)")
        ->check(one_of({"csv", "json"}))
        ->type_name("NAME")
        ->group(group);
    app.add_option("--history", o.history, "write the objective of every round, with seconds, as CSV")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--report", o.report, "write a page about the design, as HTML")->type_name("FILE")->group(group);
    app.add_flag("-q,--quiet", o.quiet, "no progress and no summary")->group(group);
}

void define_make(CLI::App& app, options& o, raw_options& raw)
{
    app.add_option("N", o.rows, "runs, at least 2")->check(at_least(2))->type_name("")->group("Design");
    app.add_option("K", o.factor_count, "factors, at least 1")->check(at_least(1))->type_name("")->group("Design");
    app.add_option("--start", o.start, "improve this design instead of a random one")
        ->type_name("FILE")
        ->group("Design");
    app.add_option("--balanced", raw.balanced, "random start with these level counts, each dividing N")
        ->type_name("LIST")
        ->group("Design");
    add_flag(app, setting_id::symmetric, o.run.symmetric, "Design");
    add_criterion_options(app, o, raw, true);
    add_scaling(app, o);
    add_search_options(app, o, raw);
    add_campaign_options(app, o, raw);
    add_factor_options(app, raw);
    add_coding(app, raw, "levels, unit or physical (default: physical with ranges, else levels)");
    app.add_option("--placement", raw.placement, "a level's place in the range: centres of cells (default) or ends")
        ->check(one_of({"centres", "ends"}))
        ->type_name("NAME")
        ->group("Factors");
    app.add_flag("--entry-levels", o.entry_levels, "levels as the Java method returns them: truncated, not rounded")
        ->group("Factors");
    add_output_options(app, o, raw);
    app.add_option("--config", raw.config, "take settings from a file of --print-config; options given here win")
        ->type_name("FILE")
        ->group("Output");
    app.add_flag("--print-config", o.print_config, "print the settings in force as JSON and end")->group("Output");
    app.footer("\nExamples:\n  optdoe 50 5 --time 20s --output design.csv\n  optdoe make 30 --factor Temp=20:80:C "
               "--factor Flow=1:5 --criterion cd2");
}

void define_augment(CLI::App& app, options& o, raw_options& raw)
{
    app.add_option("OLD", o.files, "design whose runs stay as they are")
        ->required()
        ->expected(1)
        ->type_name("")
        ->group("Design");
    app.add_option("--add", o.added, "runs to add, at least 1")
        ->required()
        ->check(at_least(1))
        ->type_name("M")
        ->group("Design");
    add_criterion_options(app, o, raw, true);
    add_search_options(app, o, raw);
    add_campaign_options(app, o, raw);
    add_factor_options(app, raw);
    add_coding(app, raw, "what the numbers of OLD mean, where the file does not tell");
    add_output_options(app, o, raw);
    app.footer("\nExamples:\n  optdoe augment old.csv --add 10 --output all.csv\n  optdoe augment old.csv --add 5 "
               "--bounds ranges.csv --time 1m");
}

void define_evaluate(CLI::App& app, options& o, raw_options& raw)
{
    app.add_option("FILE", o.files, "designs, CSV or JSON; - is standard input")
        ->required()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("")
        ->group("Design");
    add_criterion_options(app, o, raw, false);
    add_scaling(app, o);
    add_factor_options(app, raw);
    add_coding(app, raw, "what the numbers mean, where the file does not tell");
    app.add_option("--random", o.random_designs, "random Latin hypercubes to compare with, 0 .. 100000 (default 200)")
        ->check(CLI::Range(0, 100000).description(""))
        ->type_name("COUNT")
        ->group("Output");
    app.add_flag("--json", o.json, "JSON instead of a table")->group("Output");
    app.footer(
        "\nExamples:\n  optdoe evaluate design.csv colleague.csv\n  optdoe evaluate design.csv --random 0 --json");
}

void define_plot(CLI::App& app, options& o, raw_options& raw)
{
    app.add_option("FILE", o.files, "design, CSV or JSON; - is standard input")
        ->required()
        ->expected(1)
        ->type_name("")
        ->group("Design");
    add_factor_options(app, raw);
    add_coding(app, raw, "what the numbers mean, where the file does not tell");
    app.add_option("-o,--output", o.output, "the picture; its name ends in .svg, .png or .pdf")
        ->required()
        ->type_name("PICTURE")
        ->group("Output");
    app.add_option("--history", o.history, "also draw the objective against time, from a file of make --history")
        ->type_name("FILE")
        ->group("Output");
    app.footer("\nExamples:\n  optdoe plot design.csv --output design.svg\n  optdoe plot design.csv --history "
               "history.csv --output design.pdf");
}

void define_merge(CLI::App& app, options& o, raw_options& raw)
{
    app.add_option("RESULTS", o.files, "results files of one problem")
        ->required()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("")
        ->group("Design");
    app.add_flag("--incomplete", o.incomplete, "take the best there is where starts are missing")->group("Campaign");
    add_output_options(app, o, raw);
    app.footer("\nExamples:\n  optdoe merge part1.jsonl part2.jsonl --output design.csv\n  optdoe merge *.jsonl "
               "--incomplete");
}

/// Options that say how a problem is worked on and where the result goes, not what the problem is.
const std::set<std::string> not_of_the_problem{
    "--seed",  "--time",   "--minutes", "--starts", "--jobs",  "--effort", "--results", "--stop-after",   "--resume",
    "--shard", "--output", "--history", "--report", "--quiet", "--config", "--help",    "--print-config", "--format"};

/// One form for all ways to type the same problem.
std::vector<std::string> problem_words(const CLI::App& app)
{
    std::vector<std::string> words{app.get_name()};
    if (words.front() == "make")
        words.clear();
    for (const CLI::Option* option : app.get_options()) {
        const std::string name = option->get_name(false, true);
        const std::string last = name.substr(name.find_last_of(',') + 1);
        if (option->count() == 0 || not_of_the_problem.contains(last))
            continue;
        for (const std::string& value : option->reduced_results()) {
            if (!option->nonpositional())
                words.push_back(value);
            else if (option->get_items_expected_max() == 0)
                words.push_back(last);
            else
                words.push_back(last + "=" + value);
        }
    }
    return words;
}

/// The value of one setting as option text.
std::string option_text(const nlohmann::ordered_json& value)
{
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_number_float())
        return number_text(value.get<double>());
    if (!value.is_array())
        return value.dump();
    std::string text;
    for (const auto& element : value)
        text += (text.empty() ? "" : ",") + option_text(element);
    return text;
}

/// The options that a file of --print-config stands for.
std::vector<std::string> config_arguments(const std::string& file, const CLI::App& app)
{
    const std::string content = read_file(file);
    const nlohmann::ordered_json document = parse_json(file, content);
    if (!document.is_object())
        throw input_error(at_place(file, 1, 1, "expected an object of settings, as --print-config writes it"));
    std::vector<std::string> arguments;
    for (const auto& [key, value] : document.items()) {
        const std::string option = "--" + key;
        if (app.get_option_no_throw(option) == nullptr || key == "config" || key == "print-config") {
            throw input_error(
                at_byte(file, content, content.find('"' + key + '"'), fmt::format("unknown setting \"{}\"", key)));
        }
        // Version 1.0 wrote the limit of the library where no time was given.
        if (key == "time" && value == setting_of(setting_id::time).fallback)
            continue;
        if (value.is_null() || (value.is_boolean() && !value.get<bool>()))
            continue;
        if (value.is_boolean())
            arguments.push_back(option);
        else if (key == "factor" && value.is_array())
            for (const auto& element : value)
                arguments.push_back(option + "=" + option_text(element));
        else
            arguments.push_back(option + "=" + option_text(value));
    }
    return arguments;
}

void interpret_texts(options& o, const raw_options& raw)
{
    const auto list = [](const std::string& option, const std::string& text) {
        return text.empty() ? std::vector<double>{} : parse_list(option, text);
    };
    o.run.theta = list(option_name(setting_id::theta), raw.theta);
    o.run.weights = list(option_name(setting_id::weights), raw.weights);
    o.run.shares = list(option_name(setting_id::shares), raw.shares);
    o.run.level_groups = list(option_name(setting_id::levels), raw.levels);
    o.balanced = list("--balanced", raw.balanced);
    if (!raw.time.empty()) {
        o.run.seconds = parse_duration(raw.time);
        if (!o.run.seconds)
            throw usage_error(
                fmt::format("--time: \"{}\" is no time; expected a number with s, m or h, as in 30s", raw.time));
    }
    if (!raw.minutes.empty()) {
        const std::optional<double> minutes = parse_number(raw.minutes);
        if (!minutes)
            throw usage_error(fmt::format("--minutes: \"{}\" is not a number", raw.minutes));
        o.run.seconds = *minutes * 60.0;
    }
    if (!raw.seed.empty()) {
        const setting& row = setting_of(setting_id::seed);
        const auto seed = parse_integer(raw.seed);
        if (!seed || static_cast<double>(*seed) < row.low || static_cast<double>(*seed) > row.high)
            throw usage_error(
                fmt::format("{}: {} is not in {}", option_name(setting_id::seed), raw.seed, range_text(row)));
        o.seed = static_cast<std::uint32_t>(*seed);
    }
    if (!raw.shard.empty()) {
        const std::size_t slash = raw.shard.find('/');
        const auto part = parse_integer(raw.shard.substr(0, slash));
        const auto parts = slash == std::string::npos ? std::nullopt : parse_integer(raw.shard.substr(slash + 1));
        if (!part || !parts || *part < 1 || *parts < *part)
            throw usage_error(fmt::format("--shard: \"{}\" is no part; expected I/M with 1 <= I <= M", raw.shard));
        o.shard = *part;
        o.shards = *parts;
    }
    o.code = coding_named(raw.coding);
    o.place = placement_named(raw.placement);
    if (!raw.format.empty())
        o.format = raw.format == "json" ? file_format::json : file_format::csv;
    if (!raw.bounds.empty())
        o.factors = read_bounds(raw.bounds);
    for (const std::string& text : raw.factors)
        o.factors.push_back(parse_factor(text));
    check_factor_names(o.factors);
}

/// Puts in what a person may leave out: the command `make` and, right after it, the options of the file of --config.
/// Those of the command line come later and win.
void complete_words(std::vector<std::string>& words, const CLI::App& make)
{
    const bool named = !words.empty() && std::any_of(commands.begin(), commands.end(),
                                                     [&](const auto& c) { return c.first == words[0]; });
    const bool about = words.empty() || words[0] == "-h" || words[0] == "--help" || words[0] == "--version";
    if (!named && !about)
        words.insert(words.begin(), "make");
    for (std::size_t i = 1; i < words.size() && words[0] == "make"; ++i) {
        const bool joined = words[i].starts_with("--config=");
        if (!joined && (words[i] != "--config" || i + 1 == words.size()))
            continue;
        const std::vector<std::string> from_file = config_arguments(joined ? words[i].substr(9) : words[i + 1], make);
        words.insert(words.begin() + 1, from_file.begin(), from_file.end());
        break;
    }
}

} // namespace

std::string shell_text(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + shell_quoted(word);
    return text;
}

parsed parse_command_line(int count, const char* const* arguments, const char* program)
{
    std::vector<std::string> words(arguments + 1, arguments + count);
    parsed result;
    options& o = result.what;
    o.command_text = "optdoe " + shell_text(words);

    raw_options raw;
    CLI::App app("Optimal Latin hypercube designs.", program);
    app.formatter(std::make_shared<help_formatter>());
    app.get_formatter()->column_width(30);
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "print this help and end");
    app.set_version_flag("--version", "optdoe " OPTDOE_VERSION, "print the version and end");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const std::array<std::pair<const char*, std::function<void(CLI::App&)>>, 5> definitions{
        {{"make a design of N runs and K factors (the default command)",
          [&](CLI::App& a) { define_make(a, o, raw); }},
         {"add runs to a design", [&](CLI::App& a) { define_augment(a, o, raw); }},
         {"score designs", [&](CLI::App& a) { define_evaluate(a, o, raw); }},
         {"draw a design", [&](CLI::App& a) { define_plot(a, o, raw); }},
         {"take the best of several results files", [&](CLI::App& a) { define_merge(a, o, raw); }}}};
    for (std::size_t c = 0; c < commands.size(); ++c) {
        CLI::App* sub = app.add_subcommand(commands[c].first, definitions[c].first);
        definitions[c].second(*sub);
    }
    app.footer("\nExamples:\n  optdoe 50 5 --time 20s --output design.csv\n  optdoe evaluate design.csv\n\n"
               "`optdoe COMMAND --help` lists the options of a command; `man optdoe` explains them.");

    try {
        complete_words(words, *app.get_subcommand("make"));
        std::reverse(words.begin(), words.end()); // CLI11 takes them from the back
        app.parse(words);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            result.exit_code = exit_done;
        } else {
            const std::vector<CLI::App*> used = app.get_subcommands();
            std::fprintf(stderr, "%s: %s\nTry `%s%s --help`.\n", program, error.what(), program,
                         used.empty() ? "" : (" " + used[0]->get_name()).c_str());
            result.exit_code = exit_usage;
        }
        return result;
    }
    for (const auto& [name, id] : commands)
        if (app.got_subcommand(name))
            o.command = id;
    o.problem_words = problem_words(*app.get_subcommands().front());
    interpret_texts(o, raw);
    return result;
}

} // namespace cli
