/// The options of a request: by name, as the command line, configuration files and other languages set them.
#pragma once

#include "api/requests/design_request.h"

#include <string>
#include <string_view>
#include <vector>

namespace optdoe {

/// An option, for those who list or describe them.
struct request_option {
    std::string name; ///< without dashes
    std::string help; ///< sentence, range or names, default
    double low;       ///< least value; NaN: no number, or it depends on the design
    double high;      ///< likewise
    double fallback;  ///< default; likewise
};

/// All of them, the settings of the search in the order of their table.
const std::vector<request_option>& request_options();

/// The help of an option.
const std::string& help_of(std::string_view name);

/// Sets an option by the text of its value; an empty text takes it back. `factor` adds one, `bounds` those of a file.
/// "_" may stand for "-" in the name. Throws usage_error for an unknown name and a text that is no such value,
/// input_error for a file that cannot be read; the request is then as it was.
void set_option(design_request& request, std::string_view name, std::string_view text);

/// The words of the command that makes the same problem, in one order: without seed, time, campaign and files that
/// are written.
std::vector<std::string> problem_words(const design_request& request);

/// A request of such words. Throws usage_error.
design_request request_of_words(const std::vector<std::string>& words);

/// The words as they are typed in a shell.
std::string shell_text(const std::vector<std::string>& words);

} // namespace optdoe
