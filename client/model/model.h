#pragma once

#include <platform/com.h>

/// Identifiers of the mail client's object model, from its type library. They are defined separately from those of the
/// add-in, so that an error on either side is detected.
namespace host::model {

inline constexpr IID application{0x00063001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID application_events{0x0006302C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID item_events{0x0006302B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID mail_item{0x00063034, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID meeting_item{0x00063062, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID task_item{0x00063035, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID contact_item{0x00063021, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID attachment{0x00063007, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Properties.
inline constexpr DISPID application_name = 0x3001;
inline constexpr DISPID application_version = 0x116;
inline constexpr DISPID mapi_object = 0xF100;
inline constexpr DISPID attachment_file_name = 0x3704;
inline constexpr DISPID attachment_display_name = 0x3001;

/// Events of the application. Some numbers denote other events on items.
enum class application_event : DISPID
{
    item_send = 0xF002,
    startup = 0xF006,
    quit = 0xF007,
    new_mail_ex = 0xFAB5,
    item_load = 0xFBA7
};

/// Events of an item.
enum class item_event : DISPID
{
    read = 0xF001,
    write = 0xF002,
    open = 0xF003,
    close = 0xF004,
    send = 0xF005,
    before_attachment_read = 0xFBAB,
    unload = 0xFBAD,
    before_read = 0xFC8C,
    after_write = 0xFC8D,
    read_complete = 0xFC8F
};

} // namespace host::model
