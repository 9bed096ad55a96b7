// Feeds the files of the named directories to a fuzz target, where there is no fuzzer to do it.

#include "tests/fuzz/fuzz_input.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

int main(int count, char** arguments)
{
    int fed = 0;
    for (int i = 1; i < count; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string content{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
            ++fed;
        }
    std::printf("%d inputs\n", fed);
    return fed > 0 ? 0 : 1;
}
