/// What a fuzzer's bytes are read as. Reading past the end gives zeros.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

class fuzz_input {
public:
    fuzz_input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    bool empty() const { return left_ == 0; }

    void bytes(void* out, std::size_t size)
    {
        const std::size_t there = std::min(size, left_);
        std::memset(out, 0, size);
        if (there > 0)
            std::memcpy(out, data_, there);
        data_ += there;
        left_ -= there;
    }

    template <class T>
    T take()
    {
        T value;
        bytes(&value, sizeof value);
        return value;
    }

    /// In 0 .. bound-1.
    int below(int bound) { return take<std::uint8_t>() % bound; }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

/// Ends the process with the words when the condition does not hold: what a fuzzer takes for a fault.
inline void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "fault: %s\n", what);
    std::abort();
}
