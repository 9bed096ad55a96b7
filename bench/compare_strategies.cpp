// What a time limit brings: one long run of the library against the campaign that `optdoe --time` makes, both on one
// core for the same seconds. Prints a table in Markdown.
//
// usage: optdoe_strategies [--seconds S] [--seeds N] [--only TEXT] [--part I/M]
#include "api/campaign/crew.h"
#include "api/designs/start_designs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace optdoe;

namespace {

/// A design and a criterion that both are asked for.
struct cell {
    int rows;
    int columns;
    const char* criterion;
    int p = 20;
    const char* distance = "";
    std::size_t levels = 0;           ///< of balanced columns; 0: as many as rows
    double level_groups = 1;          ///< of every factor
    std::vector<double> weights = {}; ///< a factor, or empty

    std::string name() const
    {
        std::string text = std::string(criterion) + " " + std::to_string(rows) + " x " + std::to_string(columns);
        text += std::strcmp(criterion, "phip") == 0 && p != 20 ? ", p = " + std::to_string(p) : "";
        text += *distance != '\0' ? std::string(", ") + distance : "";
        text += levels > 0 ? ", " + std::to_string(levels) + " levels" : "";
        text += level_groups > 1 ? ", " + std::to_string(static_cast<int>(level_groups)) + " groups" : "";
        return text + (weights.empty() ? "" : ", weights");
    }

    search_problem problem() const
    {
        search_problem problem;
        problem.rows = rows;
        problem.factors = columns;
        problem.options.criterion = criterion;
        if (std::strcmp(criterion, "phip") == 0)
            problem.options.p = p;
        problem.options.distance = distance;
        problem.options.weights = weights;
        if (level_groups > 1)
            problem.options.level_groups = {level_groups};
        if (levels > 0)
            problem.start = [this](std::uint32_t seed) -> std::optional<table> {
                std::mt19937_64 generator(seed);
                return random_balanced(generator, static_cast<std::size_t>(rows),
                                       std::vector<std::size_t>(static_cast<std::size_t>(columns), levels));
            };
        return problem;
    }
};

const std::vector<cell> cells{
    {8, 2, "phip"},
    {10, 5, "phip"},
    {20, 2, "phip"},
    {20, 10, "phip"},
    {30, 3, "phip"},
    {50, 2, "phip"},
    {50, 5, "phip"},
    {40, 20, "phip"},
    {100, 2, "phip"},
    {100, 7, "phip"},
    {100, 10, "phip"},
    {200, 4, "phip"},
    {200, 10, "phip"},
    {500, 10, "phip"},
    {30, 4, "phip", 5},
    {40, 6, "phip", 50},
    {40, 4, "phip", 20, "rectangular"},
    {50, 5, "phip", 20, "", 0, 1, {1.0, 1.0, 0.5, 0.5, 0.2}},
    {40, 5, "phip", 20, "", 10},
    {60, 6, "phip", 20, "", 6},
    {40, 4, "phip", 20, "", 0, 4},
    {10, 3, "phip", 0},
    {20, 4, "phip", 0},
    {30, 5, "phip", 0},
    {60, 8, "phip", 0},
    {100, 3, "phip", 0},
    {8, 3, "cd2"},
    {20, 2, "cd2"},
    {30, 3, "cd2"},
    {50, 5, "cd2"},
    {40, 20, "cd2"},
    {100, 2, "cd2"},
    {100, 10, "cd2"},
    {200, 5, "cd2"},
    {200, 10, "cd2"},
    {500, 10, "cd2"},
    {50, 4, "cd2", 20, "", 0, 1, {1.0, 0.5, 1.0, 0.25}},
    {48, 6, "cd2", 20, "", 6},
    {60, 4, "cd2", 20, "", 0, 6},
    {10, 3, "entropy"},
    {30, 4, "entropy"},
    {50, 5, "entropy"},
    {100, 6, "entropy"},
    {40, 4, "entropy", 20, "rectangular"},
    {24, 6, "a2", 20, "", 2},
    {48, 8, "a2", 20, "", 4},
    {60, 10, "a2", 20, "", 6},
};

struct arguments {
    double seconds = 5.0;
    std::uint32_t seeds = 1;
    std::string only; ///< cells whose name contains it
    std::size_t part = 1, parts = 1;
};

bool read_arguments(int count, char** words, arguments* read)
{
    for (int i = 1; i < count; i += 2) {
        if (i + 1 == count)
            return false;
        const std::string option = words[i];
        const char* value = words[i + 1];
        if (option == "--seconds")
            read->seconds = std::strtod(value, nullptr);
        else if (option == "--seeds")
            read->seeds = static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
        else if (option == "--only")
            read->only = value;
        else if (option != "--part" || std::sscanf(value, "%zu/%zu", &read->part, &read->parts) != 2)
            return false;
    }
    return read->seconds > 0.0 && read->seeds > 0 && read->part > 0 && read->parts >= read->part;
}

double best_of(const search_problem& problem, const campaign_request& request)
{
    campaign c(problem, request);
    run_on_threads(c, 1, {[](const campaign_status&) { return false; }, [](const search_result&, bool) {}});
    return c.best()->objective;
}

/// The median over the seeds, of one run or of a campaign.
double median_of(const cell& what, const arguments& asked, bool long_run)
{
    search_problem problem = what.problem();
    campaign_request request;
    request.seconds = asked.seconds;
    request.starts = long_run ? 1 : 0;
    request.plans_efforts = !long_run;
    if (long_run)
        problem.options.iterations = 100000000;
    std::vector<double> values;
    for (std::uint32_t seed = 1; seed <= asked.seeds; ++seed) {
        request.first_seed = 1000 * seed;
        values.push_back(best_of(problem, request));
    }
    std::sort(values.begin(), values.end());
    return values[(values.size() - 1) / 2];
}

} // namespace

int main(int count, char** words)
{
    arguments asked;
    if (!read_arguments(count, words, &asked)) {
        std::fprintf(stderr, "usage: %s [--seconds S] [--seeds N] [--only TEXT] [--part I/M]\n", words[0]);
        return 2;
    }
    for (std::size_t i = asked.part - 1; i < cells.size(); i += asked.parts) {
        if (cells[i].name().find(asked.only) == std::string::npos)
            continue;
        const double usual = median_of(cells[i], asked, true);
        const double ours = median_of(cells[i], asked, false);
        const double gain = ours == usual ? 0.0 : 100.0 * (ours - usual) / std::fabs(usual);
        std::printf("| %s | %.7g | %.7g | %+.3f %% |\n", cells[i].name().c_str(), usual, ours, gain);
        std::fflush(stdout);
    }
    return 0;
}
