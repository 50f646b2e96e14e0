#pragma once

#include <gmime/gmime.h>

#include <memory>
#include <string>

namespace host {

/// Releases one reference of a GObject.
struct object_unref
{
    void operator()(void* object) const noexcept { g_object_unref(object); }
};

/// One reference of a GObject, the holder's own.
template <typename T>
using gobject_ptr = std::unique_ptr<T, object_unref>;

/// Text that GLib allocated.
struct glib_free
{
    void operator()(void* memory) const noexcept { g_free(memory); }
};

using glib_text = std::unique_ptr<char, glib_free>;

/// The text, or nothing for null.
inline std::string text_of(const char* text)
{
    return text ? std::string(text) : std::string();
}

} // namespace host
