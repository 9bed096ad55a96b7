/// Files that appear whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace optdoe {

/// Writes the content under a temporary name beside the file and renames it; nothing is left behind on failure.
/// "-" is standard output, and what exists but is no regular file (a device, a pipe) is written directly. INT and
/// TERM wait until the file is complete. Throws input_error with the reason.
void write_output(const std::string& file, std::string_view content);

/// Throws what write_output would throw for want of a folder or of rights: better before a long run than after it.
void refuse_unwritable(const std::string& file);

/// A name in the file's folder for somebody else's output; the caller renames with commit_temporary. What exists and
/// is no regular file, a device for one, is not replaced: an error of input.
std::string temporary_beside(const std::string& file);
void commit_temporary(const std::string& temporary, const std::string& file);

} // namespace optdoe
