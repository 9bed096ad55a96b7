# Kernels are compiled once per instruction set; which one runs is decided at run time. At -O3 both compilers turn plain
# loops into vectors.
set(kernel_sets baseline)
set(kernel_optimisation -O3)
if(OPTDOE_COVERAGE) # the optimiser would take branches away before they are counted
    set(kernel_optimisation -O0)
endif()
set(kernel_flags_baseline ${kernel_optimisation})
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND kernel_sets avx2 avx512)
    set(kernel_flags_avx2 ${kernel_optimisation} -mavx2)
    set(kernel_flags_avx512 ${kernel_optimisation} -mavx2 -mavx512f -mavx512dq -mavx512vl -mavx512bw -mprefer-vector-width=512)
endif()

# Adds FILE_baseline.cpp, FILE_avx2.cpp ... of each file to the target, with the options of their sets.
function(target_kernels target)
    foreach(set IN LISTS kernel_sets)
        foreach(file IN LISTS ARGN)
            target_sources(${target} PRIVATE ${file}_${set}.cpp)
            set_source_files_properties(${file}_${set}.cpp PROPERTIES COMPILE_OPTIONS "${kernel_flags_${set}}")
        endforeach()
    endforeach()
endfunction()
