#pragma once

#include <gmime/gmime.h>

#include <memory>

namespace host {

struct format_options_free
{
    void operator()(GMimeFormatOptions* options) const noexcept { g_mime_format_options_free(options); }
};
using format_options_ptr = std::unique_ptr<GMimeFormatOptions, format_options_free>;

/// Initializes the MIME library once for the process. Thread-safe. Afterwards the library no longer parses the
/// addresses of a message that it reads: it would recurse once for each ":" in the input and scan a list of bare words
/// to its end for each word. read_addresses() parses them instead.
void prepare_mime_library();

/// Returns the options for reading malformed mail: encoded words in places where they are not allowed, raw bytes in
/// headers. Initializes the library. The caller does not own the options.
GMimeParserOptions* lenient_options();
/// Returns the same, except that encoded words end where the standard requires it. For headers with many unended ones:
/// the library would search for the end of each of them to the end of the header.
GMimeParserOptions* bounded_options();

/// Returns options for writing lines that end in CR LF, as mail requires.
format_options_ptr mail_format_options();

} // namespace host
