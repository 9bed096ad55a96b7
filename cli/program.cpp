#include "cli/program.h"

#include "api/text/errors.h"

#include <cstdio>
#include <new>

namespace cli {

int run_program(const char* name, const std::function<int()>& body)
{
    try {
        return body();
    } catch (const optdoe::usage_error& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        return optdoe::exit_usage;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "%s: memory exhausted\n", name);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
    }
    return optdoe::exit_failed;
}

} // namespace cli
