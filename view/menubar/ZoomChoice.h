#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"
#include "view/display/ZoomState.h"

#include <span>

namespace alidade {

/// What the zoom box of a view holds, and the zoom that follows from it. Starts at "Fit". Bound to the
/// window's thread; the zoom state may be read on any.
class ALIDADE_API CZoomChoice {
public:
    static constexpr double kLeast = 0.01;
    static constexpr double kMost = 10.0;

    /// The list of the box. The first two are modes, the others percent.
    static std::span<const wchar_t* const> GetItems();

    const T_ZOOM_STATE& GetState() const { return m_state; }
    /// The selected item, or -1: the text was typed, or came from Toggle.
    int GetSelection() const { return m_selection; }
    const CString& GetText() const { return m_text; }

    /// An item was chosen. A number that is no item does nothing.
    void Select(int item);
    /// A text was typed. The name of an item, in any case, is that item; otherwise the number at the text's
    /// start counts, decimal point whatever the locale, and a text without one is 0. Below 1 it becomes 100,
    /// above 1000 it becomes 1000. The last factor is kept while the mode is no factor.
    void SetText(const CString& text);
    /// From a factor to "Fit"; from "Fit" or "anisotropic" back to the last factor, in whole percent.
    void Toggle();

private:
    void SetPercent(double percent);

    T_ZOOM_STATE m_state;
    int m_selection = ZOOM_FIT;
    CString m_text = GetItems()[ZOOM_FIT];
};

} // namespace alidade
