#include "optdoe/simd/kernel_variants.h"

#include "optdoe/criteria/cd2/cd2_kernels.h"
#include "optdoe/criteria/entropy/entropy_kernels.h"

#include <gtest/gtest.h>

TEST(kernelvariants, are_named_and_the_best_one_is_chosen)
{
    EXPECT_STREQ(entropy_kernels_baseline.name, "baseline");
    const instruction_set best = machine_has(instruction_set::avx512) ? instruction_set::avx512
                                 : machine_has(instruction_set::avx2) ? instruction_set::avx2
                                                                      : instruction_set::baseline;
    EXPECT_EQ(best_variant(entropy_kernel_variants), entropy_kernel_variants[static_cast<std::size_t>(best)]);
    const kernel_variants<cd2_kernels> only_baseline{&cd2_kernels_baseline, nullptr, nullptr};
    EXPECT_EQ(best_variant(only_baseline), &cd2_kernels_baseline);
    EXPECT_EQ(best_variant(kernel_variants<cd2_kernels>{}), nullptr);
}
