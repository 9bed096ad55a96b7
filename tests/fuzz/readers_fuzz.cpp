// Everything that the command line reads from files: designs, bounds, settings, JSON, numbers.

#include "tests/fuzz/fuzz_input.h"

#include "api/designs/design_file.h"
#include "api/text/errors.h"
#include "api/text/json_text.h"
#include "api/text/text.h"
#include "cli/options.h"

#include <nlohmann/json.hpp>

#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Content under a file name, without a file.
class memory_file {
public:
    explicit memory_file(const std::string& content) : descriptor_(memfd_create("fuzz", 0))
    {
        require(descriptor_ >= 0 &&
                    write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "no file in memory");
    }
    ~memory_file() { close(descriptor_); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;
    std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

void read(int reader, const std::string& content)
{
    const memory_file file(content);
    const std::string name = file.name();
    switch (reader) {
    case 0: {
        const optdoe::design_file design = optdoe::read_design(name);
        require(design.values.columns == design.factors.size(), "a factor for each column");
        design.levels();
        // What is written is read back as it was.
        const std::string again = optdoe::design_text(design, design.format);
        const memory_file copy(again);
        require(optdoe::read_design(copy.name()).values.cells == design.values.cells, "written and read back");
        break;
    }
    case 1: optdoe::read_bounds(name); break;
    case 2: {
        const char* const arguments[] = {"optdoe", "make", "8", "2", "--config", name.c_str()};
        cli::parse_command_line(6, arguments);
        break;
    }
    case 3: optdoe::parse_json(name, content); break;
    default:
        if (const auto number = optdoe::parse_number(content))
            require(optdoe::parse_number(optdoe::number_text(*number)) == number, "a number that does not read back");
        optdoe::parse_integer(content);
        optdoe::parse_duration(content);
        optdoe::parse_list("--fuzz", content);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz_input input(data, size);
    const int reader = input.below(5);
    const std::string content(reinterpret_cast<const char*>(data) + (size > 0), size - (size > 0));
    try {
        read(reader, content);
    } catch (const optdoe::usage_error&) {
    } catch (const optdoe::input_error&) {
    }
    return 0;
}
