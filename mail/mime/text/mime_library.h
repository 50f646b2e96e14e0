#pragma once

#include <gmime/gmime.h>

#include <memory>

namespace host {

struct format_options_free
{
    void operator()(GMimeFormatOptions* options) const noexcept { g_mime_format_options_free(options); }
};
using format_options_ptr = std::unique_ptr<GMimeFormatOptions, format_options_free>;

/// Makes the MIME library's tables, once, and keeps them. Any thread may call. From then on the library leaves the
/// addresses of a message that it reads alone: it would take them apart by recursion, a level for each ":" that a
/// stranger wrote, and go through a list of bare words to its end for each of them. read_addresses() does it instead.
void prepare_mime_library();

/// How to read what careless senders write: names in encoded words where none belong, raw bytes in headers. The
/// library is prepared; the options stay its own.
GMimeParserOptions* lenient_options();

/// Writes as mail has it: lines end in CR LF.
format_options_ptr mail_format_options();

} // namespace host
