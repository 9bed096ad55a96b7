/// Which instruction sets this machine runs, beyond the one that everything is compiled for.
#pragma once

#if defined(__x86_64__)

/// True when processor and operating system run AVX2 code.
inline bool machine_has_avx2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

/// True when they run AVX-512 code (foundation, doubleword and quadword, vector length, byte and word).
inline bool machine_has_avx512()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
           __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512bw") != 0;
}

#else

inline bool machine_has_avx2() { return false; }
inline bool machine_has_avx512() { return false; }

#endif
