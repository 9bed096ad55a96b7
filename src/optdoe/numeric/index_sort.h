/// Index sorting: the order of keys without moving them.
///
/// Quicksort on indices with median of three, straight insertion below eight elements and a stack of its own
/// (Sedgewick, "Implementing quicksort programs", 1978). The order of equal keys is that of its exchanges: callers
/// depend on it, so the sequence of exchanges, which partition.h states, is part of the contract.
#pragma once

#include "optdoe/run/run_context.h"

#include <cstdint>

/// Writes the permutation that lists the keys in non-decreasing order.
///   n       number of keys, at least 1
///   keys    in    [n]
///   index   out   [n]: keys[index[0]] <= keys[index[1]] <= ...; a permutation of 0..n-1, with NaN among the keys
///           in no defined order
/// When more than 25 partitions would wait on the stack, it leaves through the error exit with
/// java/lang/RuntimeException "NSTACK too small in indexx.".
void indexx_double(run_context* ctx, std::uint32_t n, const double* keys, std::int32_t* index);
void indexx_int(run_context* ctx, std::uint32_t n, const std::int32_t* keys, std::int32_t* index);
