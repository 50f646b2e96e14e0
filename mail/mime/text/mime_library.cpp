#include "mail/mime/text/mime_library.h"

#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <string_view>

namespace host {

namespace {

struct options_free
{
    void operator()(GMimeParserOptions* options) const noexcept { g_mime_parser_options_free(options); }
};

using header_work = void (*)(GMimeObject* object, GMimeHeader* header);

void do_nothing(GMimeObject*, GMimeHeader*) {}

/// The library's own handlers for the headers of a message.
struct own_work
{
    header_work added = do_nothing;
    header_work changed = do_nothing;
};

own_work& work_of_library()
{
    static own_work work;
    return work;
}

bool has_addresses(GMimeHeader* header)
{
    static constexpr std::array<std::string_view, 6> names{"From", "Sender", "Reply-To", "To", "Cc", "Bcc"};
    const std::string_view name = g_mime_header_get_name(header);
    return std::any_of(names.begin(), names.end(),
                       [name](std::string_view other) { return winapi::compare_no_case(name, other) == 0; });
}

void header_added(GMimeObject* object, GMimeHeader* header)
{
    if (!has_addresses(header)) {
        work_of_library().added(object, header);
    }
}

void header_changed(GMimeObject* object, GMimeHeader* header)
{
    if (!has_addresses(header)) {
        work_of_library().changed(object, header);
    }
}

void prepare()
{
    g_mime_init();
    // The reference is never released. The parser creates objects of exactly this class, so that a derived class would
    // have no effect.
    auto* messages = static_cast<GMimeObjectClass*>(g_type_class_ref(GMIME_TYPE_MESSAGE));
    work_of_library() = {messages->header_added, messages->header_changed};
    messages->header_added = header_added;
    messages->header_changed = header_changed;
}

std::unique_ptr<GMimeParserOptions, options_free> make_options(GMimeRfcComplianceMode words)
{
    std::unique_ptr<GMimeParserOptions, options_free> options(g_mime_parser_options_new());
    g_mime_parser_options_set_address_compliance_mode(options.get(), GMIME_RFC_COMPLIANCE_LOOSE);
    g_mime_parser_options_set_parameter_compliance_mode(options.get(), GMIME_RFC_COMPLIANCE_LOOSE);
    g_mime_parser_options_set_rfc2047_compliance_mode(options.get(), words);
    std::array<const char*, 3> charsets{"utf-8", "windows-1252", nullptr};
    g_mime_parser_options_set_fallback_charsets(options.get(), charsets.data());
    return options;
}

} // namespace

void prepare_mime_library()
{
    static std::once_flag once;
    std::call_once(once, prepare);
}

GMimeParserOptions* lenient_options()
{
    prepare_mime_library();
    static const auto options = make_options(GMIME_RFC_COMPLIANCE_LOOSE);
    return options.get();
}

GMimeParserOptions* bounded_options()
{
    prepare_mime_library();
    static const auto options = make_options(GMIME_RFC_COMPLIANCE_STRICT);
    return options.get();
}

format_options_ptr mail_format_options()
{
    format_options_ptr options(g_mime_format_options_new());
    g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
    return options;
}

} // namespace host
