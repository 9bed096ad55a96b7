/// Slot 6: the phi-p distance criterion and its p = 0 case, maximin.
///
/// phi_p = (sum over pairs of d^-p)^(1/p); maximin: the negated least distance. Euclidean distances are kept squared,
/// with half the exponent.
/// Source: Morris and Mitchell, "Exploratory designs for computational experiments", 1995 (phi-p); Johnson, Moore and
/// Ylvisaker, "Minimax and maximin distance designs", 1990 (maximin); the update of two rows per exchange: Jin, Chen
/// and Sudjianto, "An efficient algorithm for constructing optimal design of computer experiments", 2005.
#pragma once

#include "optdoe/criteria/criterion_ops.h"
#include "optdoe/criteria/distance.h"
#include "optdoe/criteria/phip/phip_tables.h"
#include "optdoe/run/run_context.h"

#include <cstdint>

/// An exchange whose lines are computed. The points may already be exchanged while the tables are not: most moves of
/// a search are taken back, and then the tables are never written.
struct phip_exchange {
    std::int32_t column, a, b;
    double* vectors;    ///< the block that the lines are in
    double* distance_a; ///< [stride] lines of rows a and b after the exchange
    double* distance_b;
    double* old_term_a; ///< [stride] their terms before and after it
    double* old_term_b;
    double* term_a;
    double* term_b;
    double old_sum; ///< terms taken out and put in, each in the order of the definition
    double new_sum;
    bool computed; ///< lines and sums belong to the present tables
    bool pending;  ///< the points are exchanged, the tables not yet
};

/// The column snapshot: what a restore needs beside the present state.
struct phip_column_snapshot {
    bool armed; ///< what a restore needs is kept: no entry of another column has changed since the save
    std::int32_t column;
    double* entries; ///< [free rows] at the save
    double value;
    double term_sum;
    std::int32_t changed_count; ///< length of the list of changed rows at the save
    std::uint64_t entries_set;  ///< of the tables, at the save

    // Lines as they were before each row was replaced, oldest first.
    std::int32_t kept_count;
    std::int32_t kept_capacity;
    std::int32_t* kept_rows;
    double* kept_lines; ///< [kept_capacity x stride] distances

    // For changes of many rows: the tables at that moment, and the column's entries then.
    phip_capture capture;
    double* capture_entries; ///< [free rows]
};

struct phip_design_snapshot {
    double** points; ///< [free rows x factors]
    double value;
    double term_sum;
    phip_capture capture;
};

/// What updates carry along.
struct phip_sum {
    double value;
    double term_sum; ///< p > 0: sum of the terms, at most 1e200; p = 0: negated least distance of the fixed rows
    std::int32_t update_count; ///< p > 0: committed updates since the last full re-sum, 0..5
};

/// A re-arrangement that is tried or made: row rows_dst[i] gets the entry taken[i], that of row rows_src[i].
struct phip_rearrangement {
    std::int32_t column;
    std::int32_t count;
    std::int32_t capacity;
    std::int32_t* rows_dst; ///< [capacity]
    std::int32_t* rows_src; ///< [capacity]
    double* taken;          ///< [capacity]
};

/// A trial of the listed re-arrangement that has not been taken back yet.
struct phip_trial {
    bool pending;        ///< points and tables are those after it, value and sums those before it
    phip_sum after;      ///< while it is pending
    phip_capture before; ///< while it is pending: the tables
};

/// Scratch of the best of several exchanges.
struct phip_candidates {
    std::int32_t capacity; ///< candidates
    double* lower;         ///< [capacity] lower bound of the total
    float* new_terms;      ///< [capacity] of some new terms, relative to the reference of the bounds
    std::int32_t* left;    ///< [capacity + 1] those that the first bound leaves
    std::int32_t left_count;
};

/// The scale of the bounds, see phip_best_swap.cpp.
struct phip_bound_scale {
    double value;     ///< of the criterion when it was fitted
    double steps;     ///< of a distance
    float unit;       ///< a step over the reference distance
    double least_new; ///< the term of the reference distance, less the error of the bounds' sums
    double most_new;  ///< and more by it
    bool usable;
};

/// The last sum that a value was computed of; not a number before the first.
struct phip_root {
    double sum;
    double value;
};

struct phip_state : phip_sum {
    phip_tables tables;
    const double* weights; ///< [factors] not owned
    std::int32_t fixed_rows;
    std::int32_t free_rows;
    std::int32_t weighted;
    phip_root last_root;
    phip_exchange exchange;
    phip_exchange other_exchange; ///< room for another one beside it
    phip_rearrangement rearrangement;
    phip_trial trial;
    phip_candidates candidates;
    phip_bound_scale bound_scale;
    phip_column_snapshot column_snapshot;
    phip_design_snapshot design_snapshot;
};

/// The operations, and the record of slot 6.
extern const criterion_ops phip_ops;
void phip_open(run_context* ctx);
void phip_close(run_context* ctx);
