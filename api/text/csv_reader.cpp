#include "api/text/csv_reader.h"

#include "api/text/errors.h"

#include <csv.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace optdoe {

std::string at_place(std::string_view file, std::size_t line, std::size_t column, std::string_view what)
{
    return fmt::format("{}:{}:{}: {}", file, line, column, what);
}

std::string read_file(const std::string& file)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(file == "-" ? stdin : std::fopen(file.c_str(), "rb"),
                                                                 file == "-" ? [](std::FILE*) { return 0; }
                                                                             : &std::fclose);
    if (!stream)
        throw input_error(at_place(file, 1, 1, fmt::format("cannot be read: {}", std::strerror(errno))));
    std::string content;
    char block[65536];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, stream.get())) > 0;)
        content.append(block, got);
    if (std::ferror(stream.get()))
        throw input_error(at_place(file, 1, 1, fmt::format("cannot be read: {}", std::strerror(errno))));
    return content;
}

namespace {

/// One row under construction; libcsv reports fields and row ends while single bytes go in.
struct row_builder {
    csv_row row;
    bool row_ended = false;
    std::size_t field_line = 1;
    std::size_t field_column = 1;
};

void on_field(void* text, std::size_t length, void* builder)
{
    auto& b = *static_cast<row_builder*>(builder);
    b.row.fields.push_back({std::string(static_cast<const char*>(text), length), b.field_line, b.field_column});
}

void on_row_end(int, void* builder) { static_cast<row_builder*>(builder)->row_ended = true; }

unsigned char separator_of(std::string_view content)
{
    while (content.starts_with('#') || content.starts_with('\n') || content.starts_with('\r'))
        content.remove_prefix(std::min(content.find('\n'), content.size() - 1) + 1);
    const std::string_view line = content.substr(0, content.find('\n'));
    for (const char c : {'\t', ';'})
        if (line.find(c) != std::string_view::npos && line.find(',') == std::string_view::npos)
            return static_cast<unsigned char>(c);
    return ',';
}

} // namespace

csv_text read_csv(std::string_view file, std::string_view content)
{
    if (content.starts_with("\xEF\xBB\xBF"))
        content.remove_prefix(3);
    csv_parser parser;
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw std::bad_alloc();
    const std::unique_ptr<csv_parser, void (*)(csv_parser*)> release(&parser, csv_free);
    const unsigned char separator = separator_of(content);
    csv_set_delim(&parser, separator);
    if (separator == '\t')
        csv_set_space_func(&parser, [](unsigned char c) { return c == ' ' ? 1 : 0; });

    csv_text text;
    row_builder builder;
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < content.size();) {
        const bool row_start = builder.row.source.empty();
        if (row_start && content[i] == '#') {
            const std::size_t end = std::min(content.find('\n', i), content.size());
            std::string_view comment = content.substr(i + 1, end - i - 1);
            if (comment.ends_with('\r'))
                comment.remove_suffix(1);
            text.comments.emplace_back(comment);
            i = end + 1;
            builder.field_line = ++line;
            continue;
        }
        const char c = content[i++];
        builder.row.source += c;
        const std::size_t fields_before = builder.row.fields.size();
        const char byte = c;
        if (csv_parse(&parser, &byte, 1, on_field, on_row_end, &builder) != 1)
            throw input_error(at_place(file, line, column,
                                       csv_error(&parser) == CSV_EPARSE
                                           ? "a quotation mark inside a field: quote the field and double the mark"
                                           : csv_strerror(csv_error(&parser))));
        if (c == '\n') {
            ++line;
            column = 1;
        } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
            ++column;
        }
        const bool between_rows = builder.row_ended || (c == '\n' && builder.row.fields.empty());
        if (builder.row.fields.size() != fields_before || between_rows) {
            builder.field_line = line;
            builder.field_column = column;
        }
        if (builder.row_ended && c == '\r' && i < content.size() && content[i] == '\n') {
            builder.row.source += content[i++];
            builder.field_line = ++line;
            builder.field_column = column = 1;
        }
        if (builder.row_ended) {
            text.rows.push_back(std::move(builder.row));
            builder.row = {};
            builder.row_ended = false;
        } else if (between_rows && builder.row.source.find_first_not_of("\r\n \t") == std::string::npos) {
            builder.row.source.clear();
        }
    }
    if (csv_fini(&parser, on_field, on_row_end, &builder) != 0)
        throw input_error(at_place(file, line, column, "the file ends inside a quoted field"));
    if (!builder.row.fields.empty())
        text.rows.push_back(std::move(builder.row));
    return text;
}

} // namespace optdoe
