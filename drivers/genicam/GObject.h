#pragma once

#include "foundation/platform/Types.h"

#include <arv.h>
#include <memory>

namespace alidade {

struct SObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};
/// One counted reference of a GObject.
template <class T>
using TGObjectPtr = std::unique_ptr<T, SObjectUnref>;

struct SMemoryFree {
    void operator()(const void* memory) const { g_free(const_cast<void*>(memory)); }
};
/// Memory that GLib hands over.
template <class T>
using TGMemoryPtr = std::unique_ptr<T, SMemoryFree>;

/// The error place of a GLib call, empty again before each use:
///
///     if (!call(..., error.Place())) { text = error.Text(); }
class CGError {
public:
    CGError() = default;
    ~CGError() { g_clear_error(&m_pError); }
    CGError(const CGError&) = delete;
    CGError& operator=(const CGError&) = delete;

    GError** Place()
    {
        g_clear_error(&m_pError);
        return &m_pError;
    }
    bool IsSet() const { return m_pError != nullptr; }
    CStringA Text() const { return m_pError != nullptr ? m_pError->message : "unknown error"; }

private:
    GError* m_pError = nullptr;
};

/// A text that a GLib call may leave null.
inline CStringA TextOf(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace alidade
