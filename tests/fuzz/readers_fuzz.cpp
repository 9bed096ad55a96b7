// Everything that the command line reads from files: designs, bounds, settings, JSON, numbers.

#include "tests/fuzz/fuzz_input.h"

#include "cli/design_file.h"
#include "cli/errors.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "cli/text.h"

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
        const cli::design_file design = cli::read_design(name);
        require(design.values.columns == design.factors.size(), "a factor for each column");
        design.levels();
        // What is written is read back as it was.
        const std::string again = cli::design_text(design.format, design.values, design.factors, *design.provenance);
        const memory_file copy(again);
        require(cli::read_design(copy.name()).values.cells == design.values.cells, "written and read back");
        break;
    }
    case 1: cli::read_bounds(name); break;
    case 2: {
        const char* const arguments[] = {"optdoe", "make", "8", "2", "--config", name.c_str()};
        cli::parse_command_line(6, arguments);
        break;
    }
    case 3: cli::parse_json(name, content); break;
    default:
        if (const auto number = cli::parse_number(content))
            require(cli::parse_number(cli::number_text(*number)) == number, "a number that does not read back");
        cli::parse_integer(content);
        cli::parse_duration(content);
        cli::parse_list("--fuzz", content);
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
    } catch (const cli::usage_error&) {
    } catch (const cli::input_error&) {
    }
    return 0;
}
