// The only source that includes CLI11, which takes seconds to compile.
#include "cli/options.h"

#include "api/requests/request_options.h"
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

namespace cli {

namespace {

const std::array<std::pair<std::string, command>, 5> commands{{{"make", command::make},
                                                               {"augment", command::augment},
                                                               {"evaluate", command::evaluate},
                                                               {"plot", command::plot},
                                                               {"merge", command::merge}}};

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

/// An option of the request, with the help of its row; `form` names its value.
CLI::Option* add_text(CLI::App& app, options& o, const std::string& spelling, const std::string& name,
                      const char* form, const char* group)
{
    return app
        .add_option_function<std::string>(
            spelling, [&o, name](const std::string& text) { set_option(o.request, name, text); }, help_of(name))
        ->type_name(form)
        ->group(group);
}

CLI::Option* add_text(CLI::App& app, options& o, const std::string& name, const char* form, const char* group)
{
    return add_text(app, o, "--" + name, name, form, group);
}

CLI::Option* add_setting(CLI::App& app, options& o, setting_id id, const char* form, const char* group)
{
    const setting& row = setting_of(id);
    CLI::Option* option = add_text(app, o, row.name, form, group);
    if (row.kind == setting_kind::choice)
        option->check(one_of(choices_of(row)));
    return option;
}

CLI::Option* add_flag(CLI::App& app, options& o, const std::string& name, const char* group)
{
    return app
        .add_flag_callback(
            "--" + name, [&o, name] { set_option(o.request, name, "true"); }, help_of(name))
        ->group(group);
}

CLI::Option* add_flag(CLI::App& app, options& o, setting_id id, const char* group)
{
    return add_flag(app, o, setting_of(id).name, group);
}

void add_criterion_options(CLI::App& app, options& o, bool choose)
{
    const char* group = "Criterion";
    if (choose)
        add_setting(app, o, setting_id::criterion, "NAME", group);
    add_setting(app, o, setting_id::exponent, "P", group);
    add_setting(app, o, setting_id::distance, "NAME", group);
    add_setting(app, o, setting_id::theta, "LIST", group);
    add_setting(app, o, setting_id::weights, "LIST", group);
}

void add_scaling(CLI::App& app, options& o) { add_setting(app, o, setting_id::scaling, "NAME", "Criterion"); }

void add_minutes(CLI::App& app, options& o, const char* group)
{
    const auto take = [&o](const std::string& text) {
        const std::optional<double> minutes = parse_number(text);
        if (!minutes)
            throw usage_error(fmt::format("--minutes: \"{}\" is not a number", text));
        o.request.run.seconds = *minutes * 60.0;
    };
    app.add_option_function<std::string>("--minutes", take, "the same in minutes, as the Java host takes it")
        ->type_name("NUMBER")
        ->excludes(option_name(setting_id::time))
        ->group(group);
}

void add_search_options(CLI::App& app, options& o)
{
    const char* group = "Search";
    add_setting(app, o, setting_id::target, "VALUE", "Criterion");
    add_flag(app, o, setting_id::negate_target, "Criterion");
    add_setting(app, o, setting_id::method, "NAME", group);
    add_setting(app, o, setting_id::time, "TIME", group);
    add_minutes(app, o, group);
    add_setting(app, o, setting_id::iterations, "COUNT", group);
    add_setting(app, o, setting_id::moves, "COUNT", group);
    add_setting(app, o, setting_id::pairs, "COUNT", group);
    add_flag(app, o, setting_id::all_pairs, group);
    add_setting(app, o, setting_id::restarts, "COUNT", group);
    add_setting(app, o, setting_id::threshold, "VALUE", group);
    add_setting(app, o, setting_id::cooling, "VALUE", group);
    add_setting(app, o, setting_id::tolerance, "VALUE", group);
    add_setting(app, o, setting_id::shares, "LIST", group);
    add_flag(app, o, setting_id::weighted_choice, group);
    add_setting(app, o, setting_id::levels, "LIST", group);
    add_flag(app, o, setting_id::no_pre_improvement, group);
    add_setting(app, o, setting_id::auxiliary, "MODE", group);
    add_setting(app, o, setting_id::seed, "SEED", group);
}

/// How many searches, on how many cores and machines.
void add_campaign_options(CLI::App& app, options& o)
{
    const char* group = "Campaign";
    add_text(app, o, "starts", "COUNT", group);
    add_text(app, o, "-j,--jobs", "jobs", "COUNT", group);
    add_text(app, o, "effort", "ROUNDS", group);
    add_text(app, o, "stop-after", "ROUNDS", group);
    add_text(app, o, "results", "FILE", group);
    add_text(app, o, "resume", "FILE", group)->excludes("--results");
    add_text(app, o, "shard", "I/M", group);
}

void add_factor_options(CLI::App& app, options& o)
{
    const auto add = [&o](const std::vector<std::string>& factors) {
        for (const std::string& factor : factors)
            set_option(o.request, "factor", factor);
    };
    app.add_option_function<std::vector<std::string>>("--factor", add, help_of("factor"))
        ->type_name("FACTOR")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(1)
        ->allow_extra_args(false)
        ->group("Factors");
    const auto read_factors = [&o](const std::string& file) {
        set_option(o.request, "bounds", file);
        o.inputs.push_back(file);
    };
    app.add_option_function<std::string>("--bounds", read_factors, help_of("bounds"))
        ->type_name("FILE")
        ->group("Factors");
}

CLI::Option* add_coding(CLI::App& app, options& o)
{
    return add_text(app, o, "coding", "NAME", "Factors")->check(one_of({"levels", "unit", "physical"}));
}

/// For a design that is read.
void add_coding_of_file(CLI::App& app, options& o, const std::string& file)
{
    add_coding(app, o)->description("what the numbers of " + file + " mean, where the file does not tell");
}

void add_output_options(CLI::App& app, options& o)
{
    const std::string group = "Output";
    const auto take_format = [&o](const std::string& name) {
        o.format = name == "json" ? file_format::json : file_format::csv;
    };
    app.add_option("-o,--output", o.output, "where the design goes; - is standard output (default)")
        ->type_name("FILE")
        ->group(group);
    app.add_option_function<std::string>("--format", take_format,
                                         "csv or json (default: by the name of --output, else csv)")
        ->check(one_of({"csv", "json"}))
        ->type_name("NAME")
        ->group(group);
    app.add_option("--history", o.history, "write the objective of every round, with seconds, as CSV")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--report", o.report, "write a page about the design, as HTML")->type_name("FILE")->group(group);
    app.add_flag("-q,--quiet", o.quiet, "no progress and no summary")->group(group);
}

void define_make(CLI::App& app, options& o)
{
    const char* group = "Design";
    add_text(app, o, "N", "runs", "", group)->check(at_least(2));
    add_text(app, o, "K", "factors", "", group)->check(at_least(1));
    add_text(app, o, "start", "FILE", group);
    add_text(app, o, "balanced", "LIST", group);
    add_flag(app, o, setting_id::symmetric, group);
    add_criterion_options(app, o, true);
    add_scaling(app, o);
    add_search_options(app, o);
    add_campaign_options(app, o);
    add_factor_options(app, o);
    add_coding(app, o);
    add_text(app, o, "placement", "NAME", "Factors")->check(one_of({"centres", "ends"}));
    add_flag(app, o, "entry-levels", "Factors");
    add_output_options(app, o);
    app.add_option_function<std::string>(
           "--config", [&o](const std::string& file) { o.inputs.push_back(file); }, // see complete_words
           "take settings from a file of --print-config; options given here win")
        ->type_name("FILE")
        ->group("Output");
    app.add_flag("--print-config", o.print_config, "print the settings in force as JSON and end")->group("Output");
    app.footer("\nExamples:\n  optdoe 50 5 --time 20s --output design.csv\n  optdoe make 30 --factor Temp=20:80:C "
               "--factor Flow=1:5 --criterion cd2");
}

void define_augment(CLI::App& app, options& o)
{
    app.add_option("OLD", o.request.old.name, "design whose runs stay as they are")
        ->required()
        ->type_name("")
        ->group("Design");
    add_text(app, o, "add", "M", "Design")->required()->check(at_least(1));
    add_criterion_options(app, o, true);
    add_search_options(app, o);
    add_campaign_options(app, o);
    add_factor_options(app, o);
    add_coding_of_file(app, o, "OLD");
    add_output_options(app, o);
    app.footer("\nExamples:\n  optdoe augment old.csv --add 10 --output all.csv\n  optdoe augment old.csv --add 5 "
               "--bounds ranges.csv --time 1m");
}

void define_evaluate(CLI::App& app, options& o)
{
    app.add_option("FILE", o.files, "designs, CSV or JSON; - is standard input")
        ->required()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("")
        ->group("Design");
    add_criterion_options(app, o, false);
    add_scaling(app, o);
    add_factor_options(app, o);
    add_coding_of_file(app, o, "FILE");
    app.add_option("--random", o.random_designs, "random Latin hypercubes to compare with, 0 .. 100000 (default 200)")
        ->check(CLI::Range(0, 100000).description(""))
        ->type_name("COUNT")
        ->group("Output");
    app.add_flag("--json", o.json, "JSON instead of a table")->group("Output");
    app.footer(
        "\nExamples:\n  optdoe evaluate design.csv colleague.csv\n  optdoe evaluate design.csv --random 0 --json");
}

void define_plot(CLI::App& app, options& o)
{
    app.add_option("FILE", o.files, "design, CSV or JSON; - is standard input")
        ->required()
        ->expected(1)
        ->type_name("")
        ->group("Design");
    add_factor_options(app, o);
    add_coding_of_file(app, o, "FILE");
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

void define_merge(CLI::App& app, options& o)
{
    app.add_option("RESULTS", o.files, "results files of one problem")
        ->required()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("")
        ->group("Design");
    app.add_flag("--incomplete", o.incomplete, "take the best there is where starts are missing")->group("Campaign");
    add_output_options(app, o);
    app.footer("\nExamples:\n  optdoe merge part1.jsonl part2.jsonl --output design.csv\n  optdoe merge *.jsonl "
               "--incomplete");
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

file_format resolved_format(const options& o, file_format otherwise)
{
    if (o.format)
        return *o.format;
    if (o.output.ends_with(".json"))
        return file_format::json;
    return o.output.ends_with(".csv") ? file_format::csv : otherwise;
}

parsed parse_command_line(int count, const char* const* arguments, const char* program)
{
    std::vector<std::string> words(arguments + 1, arguments + count);
    parsed result;
    options& o = result.what;
    o.request.typed_command = "optdoe " + shell_text(words);

    CLI::App app("Optimal Latin hypercube designs.", program);
    app.formatter(std::make_shared<help_formatter>());
    app.get_formatter()->column_width(30);
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "print this help and end");
    app.set_version_flag("--version", "optdoe " OPTDOE_VERSION, "print the version and end");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const std::array<std::pair<const char*, std::function<void(CLI::App&)>>, 5> definitions{
        {{"make a design of N runs and K factors (the default command)", [&](CLI::App& a) { define_make(a, o); }},
         {"add runs to a design", [&](CLI::App& a) { define_augment(a, o); }},
         {"score designs", [&](CLI::App& a) { define_evaluate(a, o); }},
         {"draw a design", [&](CLI::App& a) { define_plot(a, o); }},
         {"take the best of several results files", [&](CLI::App& a) { define_merge(a, o); }}}};
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
    check_factors(o.request.factors);
    if (resolved_format(o, file_format::csv) == file_format::json)
        o.request.output_words = {"--format=json"};
    return result;
}

} // namespace cli
