/// Owners of GLib's objects.
/// Threads: any; no state.
#pragma once

#include <memory>

#include <gio/gio.h>

namespace quarrydex {

struct GlibRelease {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }

    void operator()(GError* error) const { g_error_free(error); }

    void operator()(GList* list) const { g_list_free(list); }

    void operator()(gpointer object) const { g_object_unref(object); }
};

template <typename T> using GlibPtr = std::unique_ptr<T, GlibRelease>;

} // namespace quarrydex
