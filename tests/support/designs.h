/// Small designs and a random stream of the tests' own, independent of the library's generator.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <numeric>
#include <utility>
#include <vector>

/// A stream of random numbers (Steele, Lea and Flood, "Fast splittable pseudorandom number generators", 2014).
struct random_stream {
    std::uint64_t state;

    std::uint64_t next()
    {
        state += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /// In 0 .. bound-1.
    int below(int bound) { return static_cast<int>(next() % static_cast<std::uint64_t>(bound)); }

    /// In [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    template <class T>
    void shuffle(std::vector<T>& values)
    {
        for (std::size_t i = values.size(); i > 1; --i)
            std::swap(values[i - 1], values[static_cast<std::size_t>(next() % i)]);
    }
};

/// A matrix of doubles with the row pointers that the library takes.
class table {
public:
    table(int rows, int columns) : columns_(columns), values_(static_cast<std::size_t>(rows * columns))
    {
        for (int i = 0; i < rows; ++i)
            pointers_.push_back(values_.data() + i * columns);
    }
    table(int columns, std::initializer_list<double> values)
        : table(static_cast<int>(values.size()) / columns, columns)
    {
        std::copy(values.begin(), values.end(), values_.begin());
    }
    table(const table& other) : table(other.rows(), other.columns()) { *this = other; }
    /// Of the same shape.
    table& operator=(const table& other)
    {
        std::copy(other.values_.begin(), other.values_.end(), values_.begin());
        return *this;
    }

    int rows() const { return static_cast<int>(pointers_.size()); }
    int columns() const { return columns_; }
    double** data() { return pointers_.data(); }
    const double* const* data() const { return pointers_.data(); }
    double* operator[](int row) { return pointers_[static_cast<std::size_t>(row)]; }
    const double* operator[](int row) const { return pointers_[static_cast<std::size_t>(row)]; }
    const std::vector<double>& values() const { return values_; }
    bool operator==(const table& other) const { return values_ == other.values_; }

private:
    int columns_;
    std::vector<double> values_;
    std::vector<double*> pointers_;
};

/// Each column a random permutation of levels 1..n/repeats, every level `repeats` times.
inline table random_levels(int n, int k, random_stream& random, int repeats = 1)
{
    table design(n, k);
    std::vector<int> column(static_cast<std::size_t>(n));
    for (int j = 0; j < k; ++j) {
        for (int i = 0; i < n; ++i)
            column[static_cast<std::size_t>(i)] = i / repeats + 1;
        random.shuffle(column);
        for (int i = 0; i < n; ++i)
            design[i][j] = column[static_cast<std::size_t>(i)];
    }
    return design;
}

/// The same in the unit interval: (level - 1) / (levels - 1).
inline table random_unit_design(int n, int k, random_stream& random, int repeats = 1)
{
    table design = random_levels(n, k, random, repeats);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j)
            design[i][j] = (design[i][j] - 1.0) / (n / repeats - 1);
    return design;
}

/// A symmetric Latin hypercube: rows i and n-1-i mirror each other in every column.
inline table random_symmetric_levels(int n, int k, random_stream& random)
{
    table design(n, k);
    for (int j = 0; j < k; ++j) {
        std::vector<int> half(static_cast<std::size_t>(n / 2));
        std::iota(half.begin(), half.end(), 1);
        random.shuffle(half);
        for (int i = 0; i < n / 2; ++i) {
            const int level = half[static_cast<std::size_t>(i)];
            const bool mirrored = random.below(2) == 1;
            design[i][j] = mirrored ? n + 1 - level : level;
            design[n - 1 - i][j] = mirrored ? level : n + 1 - level;
        }
        if (n % 2 == 1)
            design[n / 2][j] = n / 2 + 1;
    }
    return design;
}
