# optdoe_flags: what every C++ target of the project is compiled with.
#
# -ffp-contract=off: a fused multiply-add rounds once where the source rounds twice, and the search would then take
# another way. Nothing here may reassociate or fuse (no -ffast-math, no -march=native).
add_library(optdoe_flags INTERFACE)
target_compile_options(optdoe_flags INTERFACE
    -ffp-contract=off -fno-math-errno -fvisibility=hidden
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wundef -Wvla -Wmissing-declarations)
if(CMAKE_COMPILE_WARNING_AS_ERROR)
    target_compile_options(optdoe_flags INTERFACE -Werror)
endif()
if(OPTDOE_SANITIZE STREQUAL "thread")
    target_compile_options(optdoe_flags INTERFACE -fsanitize=thread)
    target_link_options(optdoe_flags INTERFACE -fsanitize=thread)
elseif(OPTDOE_SANITIZE)
    # Division by zero is left to IEEE rules: two samples have no third row, and the ratio 0/0 is meant.
    set(sanitizers -fsanitize=address,undefined,float-cast-overflow -fno-sanitize=float-divide-by-zero
        -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(OPTDOE_SANITIZE STREQUAL "fuzz")
        list(APPEND sanitizers -fsanitize=fuzzer-no-link)
    endif()
    target_compile_options(optdoe_flags INTERFACE ${sanitizers})
    target_link_options(optdoe_flags INTERFACE ${sanitizers})
endif()
