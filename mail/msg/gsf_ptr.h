#pragma once

#include <glib-object.h>
#include <memory>

namespace host::msg {

/// Releases one reference of a GObject.
struct object_unref
{
    void operator()(void* object) const noexcept { g_object_unref(object); }
};

/// Owns one reference of a GObject.
template <typename T>
using gsf_ptr = std::unique_ptr<T, object_unref>;

} // namespace host::msg
