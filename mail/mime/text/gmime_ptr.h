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

/// Owns one reference of a GObject.
template <typename T>
using gobject_ptr = std::unique_ptr<T, object_unref>;

/// Frees text that GLib allocated.
struct glib_free
{
    void operator()(void* memory) const noexcept { g_free(memory); }
};

using glib_text = std::unique_ptr<char, glib_free>;

/// Returns the text, or an empty text for null.
inline std::string text_of(const char* text)
{
    return text ? std::string(text) : std::string();
}

} // namespace host
