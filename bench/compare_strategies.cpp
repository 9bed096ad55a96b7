// Compares a strategy with one long run of the library at equal processor time, and prints a table in Markdown.
//
// usage: optdoe_strategies [--seconds S] [--seeds N] [--only TEXT]

#include "bench/strategies.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct options {
    double seconds = 5.0;
    std::uint64_t seeds = 1;
    std::string only; ///< cells whose name contains it
};

bool read_options(int count, char** words, options* read)
{
    for (int i = 1; i < count; i += 2) {
        if (i + 1 == count)
            return false;
        if (std::strcmp(words[i], "--seconds") == 0)
            read->seconds = std::strtod(words[i + 1], nullptr);
        else if (std::strcmp(words[i], "--seeds") == 0)
            read->seeds = std::strtoull(words[i + 1], nullptr, 10);
        else if (std::strcmp(words[i], "--only") == 0)
            read->only = words[i + 1];
        else
            return false;
    }
    return read->seconds > 0.0 && read->seeds > 0;
}

double median_of(const strategy& way, const strategy_cell& cell, const options& asked)
{
    std::vector<double> values;
    for (std::uint64_t seed = 1; seed <= asked.seeds; ++seed)
        values.push_back(way(cell, asked.seconds, seed));
    std::sort(values.begin(), values.end());
    return values[(values.size() - 1) / 2];
}

/// What the strategy gains, in percent of the objective's size.
void print_row(const strategy_cell& cell, double usual, double ours)
{
    std::printf("| %s | %.7g | ", cell.name().c_str(), usual);
    if (std::isnan(ours))
        std::printf("- | - |\n");
    else
        std::printf("%.7g | %+.3f %% |\n", ours, 100.0 * (ours - usual) / std::fabs(usual));
    std::fflush(stdout);
}

} // namespace

int main(int count, char** words)
{
    options asked;
    if (!read_options(count, words, &asked)) {
        std::fprintf(stderr, "usage: %s [--seconds S] [--seeds N] [--only TEXT]\n", words[0]);
        return 2;
    }
    const strategy ours = annealing_within;
    std::printf("%.3g s of processor time, median of %llu seeds; less is better\n\n", asked.seconds,
                static_cast<unsigned long long>(asked.seeds));
    std::printf("| cell | one long run | ours | difference |\n|---|---|---|---|\n");
    for (const strategy_cell& cell : strategy_cells())
        if (cell.name().find(asked.only) != std::string::npos)
            print_row(cell, median_of(one_long_run, cell, asked), median_of(ours, cell, asked));
    return 0;
}
