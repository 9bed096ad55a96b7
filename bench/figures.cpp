/// Tables in markdown from what bench/measure.sh has measured.
///
///   figures DIRECTORY      reads the files below, each optional but for the first, writes to standard output
///
///   machine.txt            lines that introduce the tables, copied
///   whole_calls.md         the table of whole_calls, copied
///   criteria.json          output of criteria_bench in the format of Google Benchmark: names begin with
///                          criterion/operation/form/n, forms are plain and fast; of repetitions the least time
///                          counts
///   instructions.jsonl     lines {"call": output of one_call, "instructions": number}
///   minute.jsonl           lines of output of one_call
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using nlohmann::json;

constexpr int least_rows_of_a_fit = 100;

/// Content of a file; nothing when there is none.
std::optional<std::string> read(const std::filesystem::path& file)
{
    std::ifstream in(file);
    if (!in)
        return std::nullopt;
    std::ostringstream content;
    content << in.rdbuf();
    if (content.str().empty())
        throw std::runtime_error(fmt::format("{} is empty", file.filename().string()));
    return content.str();
}

std::vector<json> read_lines(const std::string& content)
{
    std::vector<json> lines;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);)
        lines.push_back(json::parse(line));
    return lines;
}

/// Three digits that count, without an exponent.
std::string three_digits(double x)
{
    const int places = x >= 100.0 ? 0 : x >= 10.0 ? 1 : x >= 1.0 ? 2 : 3;
    return fmt::format("{:.{}f}", x, places);
}

std::string ratio(double plain, double fast)
{
    return fmt::format("{:.{}f}", plain / fast, plain >= 10.0 * fast ? 0 : 1);
}

/// "plain / fast", with a dash for what is missing.
std::string both(const std::string& plain, const std::string& fast)
{
    return plain.empty() && fast.empty() ? "" : (plain.empty() ? "-" : plain) + " / " + (fast.empty() ? "-" : fast);
}

void print_row(const std::vector<std::string>& cells)
{
    fmt::print("|");
    for (const std::string& cell : cells)
        fmt::print(" {} |", cell);
    fmt::print("\n");
}

void print_head(const std::vector<std::string>& titles)
{
    print_row(titles);
    fmt::print("|");
    for (std::size_t i = 0; i < titles.size(); ++i)
        fmt::print("---|");
    fmt::print("\n");
}

// Operations of the criteria.

using times = std::map<int, double>; ///< microseconds by number of rows

struct operation_times {
    times plain;
    times fast;
};

/// By criterion and operation.
using measured = std::map<std::string, std::map<std::string, operation_times>>;

double microseconds(const json& entry, bool manual)
{
    const std::map<std::string, double> units{{"ns", 1e-3}, {"us", 1.0}, {"ms", 1e3}, {"s", 1e6}};
    return entry.at(manual ? "real_time" : "cpu_time").get<double>() *
           units.at(entry.at("time_unit").get<std::string>());
}

measured read_benchmarks(const std::string& content)
{
    measured all;
    const json document = json::parse(content);
    for (const json& entry : document.at("benchmarks")) {
        const std::string name = entry.at("name").get<std::string>();
        if (entry.value("error_occurred", false))
            throw std::runtime_error(fmt::format("benchmark {} failed", name));
        if (entry.value("run_type", "iteration") != "iteration")
            continue;
        std::vector<std::string> parts;
        std::istringstream in(name);
        for (std::string part; std::getline(in, part, '/');)
            parts.push_back(part);
        if (parts.size() < 4 || (parts[2] != "plain" && parts[2] != "fast"))
            throw std::runtime_error(fmt::format("benchmark {}: expected criterion/operation/form/n", name));
        operation_times& of = all[parts[0]][parts[1]];
        times& form = parts[2] == "plain" ? of.plain : of.fast;
        const double time = microseconds(entry, parts.back() == "manual_time");
        const auto [known, is_new] = form.emplace(std::stoi(parts[3]), time);
        if (!is_new)
            known->second = std::min(known->second, time);
    }
    if (all.empty())
        throw std::runtime_error("criteria.json holds no benchmark");
    return all;
}

std::string times_at(const operation_times& of, int n)
{
    const auto plain = of.plain.find(n);
    const auto fast = of.fast.find(n);
    const bool has_plain = plain != of.plain.end();
    const bool has_fast = fast != of.fast.end();
    std::string cell = both(has_plain ? three_digits(plain->second) : "", has_fast ? three_digits(fast->second) : "");
    if (has_plain && has_fast)
        cell += " = " + ratio(plain->second, fast->second);
    return cell;
}

std::string with_spaces(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

void print_operations(const measured& all)
{
    fmt::print("\n## Operations of the criteria\n\nMicroseconds, plain / fast = ratio.\n");
    for (const auto& [criterion, operations] : all) {
        std::vector<std::string> titles{"n"};
        std::set<int> sizes;
        for (const auto& [operation, of] : operations) {
            titles.push_back(with_spaces(operation));
            for (const times* form : {&of.plain, &of.fast})
                for (const auto& [n, time] : *form)
                    sizes.insert(n);
        }
        fmt::print("\n### {}\n\n", criterion);
        print_head(titles);
        for (const int n : sizes) {
            std::vector<std::string> row{std::to_string(n)};
            for (const auto& [operation, of] : operations)
                row.push_back(times_at(of, n));
            print_row(row);
        }
    }
}

/// Exponent of n, by least squares through the logarithms; empty with fewer than three sizes.
std::string growth(const times& form)
{
    double count = 0.0, sum_x = 0.0, sum_y = 0.0, sum_xx = 0.0, sum_xy = 0.0;
    for (const auto& [n, time] : form) {
        if (n < least_rows_of_a_fit)
            continue;
        const double x = std::log(n);
        const double y = std::log(time);
        count += 1.0;
        sum_x += x;
        sum_y += y;
        sum_xx += x * x;
        sum_xy += x * y;
    }
    if (count < 3.0)
        return "";
    return fmt::format("{:.2f}", (count * sum_xy - sum_x * sum_y) / (count * sum_xx - sum_x * sum_x));
}

void print_growth(const measured& all)
{
    std::set<std::string> names;
    for (const auto& [criterion, operations] : all)
        for (const auto& [operation, of] : operations)
            names.insert(operation);
    std::vector<std::string> titles{"criterion"};
    std::transform(names.begin(), names.end(), std::back_inserter(titles), with_spaces);
    fmt::print("\n## Growth with the number of rows\n\n"
               "Exponent of n, fitted over the sizes from {} rows on, plain / fast.\n\n",
               least_rows_of_a_fit);
    print_head(titles);
    for (const auto& [criterion, operations] : all) {
        std::vector<std::string> row{criterion};
        for (const std::string& name : names) {
            const auto of = operations.find(name);
            row.push_back(of == operations.end() ? "" : both(growth(of->second.plain), growth(of->second.fast)));
        }
        print_row(row);
    }
}

// Calls of one_call.

/// Empty for what was not counted.
std::string whole(double count) { return count > 0.0 ? fmt::format("{:.0f}", count) : ""; }

void print_instructions(const std::vector<json>& lines)
{
    struct counted {
        double plain = 0.0;
        double fast = 0.0;
        double moves = 0.0;
        double objective = 0.0;
        std::string kernels;
    };
    std::vector<std::pair<std::string, counted>> cases; // in the order of the file
    for (const json& line : lines) {
        const json& call = line.at("call");
        const std::string name = fmt::format("{} | {} x {}", call.at("criterion").get<std::string>(),
                                             call.at("n").get<int>(), call.at("k").get<int>());
        auto at = std::find_if(cases.begin(), cases.end(), [&](const auto& c) { return c.first == name; });
        if (at == cases.end())
            at = cases.insert(cases.end(), {name, {}});
        counted& c = at->second;
        const double objective = call.at("objective").get<double>();
        if (c.moves > 0.0 && objective != c.objective)
            throw std::runtime_error(fmt::format("the two forms of {} end differently", name));
        c.objective = objective;
        c.moves = call.at("moves").get<double>();
        c.kernels = call.at("kernels").get<std::string>();
        const double count = line.at("instructions").get<double>() / c.moves;
        (call.at("form") == "plain" ? c.plain : c.fast) = count;
    }
    fmt::print("\n## Instructions\n\nInstructions a column move, counted by callgrind: the same in every run.\n\n");
    print_head({"criterion", "design", "moves", "kernels", "plain", "fast", "ratio"});
    for (const auto& [name, c] : cases)
        print_row({name, fmt::format("{:.0f}", c.moves), c.kernels, whole(c.plain), whole(c.fast),
                   c.plain > 0.0 && c.fast > 0.0 ? ratio(c.plain, c.fast) : ""});
}

void print_minute(const std::vector<json>& lines)
{
    fmt::print(
        "\n## One minute\n\nA default call with a limit of one minute, each form in a process of its own.\n\n");
    print_head({"form", "design", "rounds", "objective", "processor time, s", "peak resident set, MiB"});
    for (const json& call : lines)
        print_row({call.at("form").get<std::string>(),
                   fmt::format("{} x {}", call.at("n").get<int>(), call.at("k").get<int>()),
                   std::to_string(call.at("rounds").get<int>()),
                   fmt::format("{:.6g}", call.at("objective").get<double>()),
                   fmt::format("{:.1f}", call.at("processor_seconds").get<double>()),
                   fmt::format("{:.1f}", call.at("peak_resident_kib").get<double>() / 1024.0)});
}

void print_figures(const std::filesystem::path& directory)
{
    const auto machine = read(directory / "machine.txt");
    if (!machine)
        throw std::runtime_error("machine.txt cannot be read");
    fmt::print("# Measured figures\n\n{}", *machine);
    if (const auto table = read(directory / "whole_calls.md"))
        fmt::print("\n## Whole calls\n\nDefault settings but for the criterion and the number of rounds; processor "
                   "time.\n\n{}",
                   *table);
    if (const auto content = read(directory / "criteria.json")) {
        const measured all = read_benchmarks(*content);
        print_operations(all);
        print_growth(all);
    }
    if (const auto content = read(directory / "instructions.jsonl"))
        print_instructions(read_lines(*content));
    if (const auto content = read(directory / "minute.jsonl"))
        print_minute(read_lines(*content));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        fmt::print(stderr, "usage: figures DIRECTORY\n");
        return 2;
    }
    try {
        print_figures(argv[1]);
    } catch (const std::exception& error) {
        fmt::print(stderr, "figures: {}\n", error.what());
        return 1;
    }
}
