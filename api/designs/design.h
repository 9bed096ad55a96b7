/// A design as the program handles it: numbers, factors and the three codings of a level.
///
/// Levels of a factor are 1 .. L. Level l stands at (l - 1/2) / L of the factor's range (placement centres) or at
/// (l - 1) / (L - 1) (placement ends). Augmented designs hold runs between the levels: l is then not whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

/// Numbers in rows (runs) and columns (factors), row-major.
struct table {
    std::size_t rows = 0;
    std::size_t columns = 0;
    std::vector<double> cells;

    table() = default;
    table(std::size_t n, std::size_t k) : rows(n), columns(k), cells(n * k) {}
    double& at(std::size_t i, std::size_t j) { return cells[i * columns + j]; }
    double at(std::size_t i, std::size_t j) const { return cells[i * columns + j]; }
    std::vector<double> column(std::size_t j) const;
};

struct bounds {
    double low;
    double high;
};

struct factor {
    std::string name;
    std::optional<bounds> range; ///< physical range, low below high
    std::string unit;            ///< of the physical values; may be empty
};

/// What the numbers of a file mean. `raw`: values of another program, in no coding that we know.
enum class coding { levels, unit, physical, raw };
enum class placement { centres, ends };

std::string_view name_of(coding c);
std::string_view name_of(placement p);
std::optional<coding> coding_named(std::string_view name);
std::optional<placement> placement_named(std::string_view name);

/// Reads `NAME` or `NAME=LOW:HIGH[:UNIT]`; throws usage_error.
factor parse_factor(std::string_view text);

/// The text that parse_factor reads.
std::string factor_text(const factor& f);

/// Throws usage_error when a name is empty, a number (a header of numbers reads as a run) or used twice, or when some
/// factors have a range and others have none.
void check_factors(const std::vector<factor>& factors);

/// x1 .. xk, without ranges.
std::vector<factor> default_factors(std::size_t count);

double level_to_unit(double level, std::size_t level_count, placement p);
/// The inverse; a result within 1e-6 of a whole level is that level.
double unit_to_level(double unit, std::size_t level_count, placement p);

/// One level in the given coding; physical needs the factor's range.
double encode(double level, std::size_t level_count, const factor& f, coding c, placement p);
double decode(double value, std::size_t level_count, const factor& f, coding c, placement p);

/// Number of distinct values of each column; values closer than 1e-12 of the column's span count as one.
std::vector<std::size_t> distinct_counts(const table& design);

/// True when column j holds whole levels 1 .. L only, each at least once.
bool is_levels_column(const table& design, std::size_t j);

/// Each entry becomes the nearest value of the same column of `start`.
/// Throws input_error unless every column then has the multiset of values of `start`.
table exact_levels(const table& design, const table& start);

} // namespace optdoe
