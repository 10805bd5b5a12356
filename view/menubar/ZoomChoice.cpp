#include "view/menubar/ZoomChoice.h"

#include "foundation/platform/Text.h"

#include <charconv>
#include <cwctype>
#include <limits>

namespace alidade {
namespace {

constexpr const wchar_t* kItems[] = {L"Fit",   L"anisotropic", L"50 %", L"75 %", L"100 %",
                                     L"150 %", L"200%",        L"500%", L"1000%"};

/// The number at the start of a text, 0 without one.
double LeadingNumber(const CString& text)
{
    CStringA narrow = ToNarrow(Trim(text));
    if (narrow.starts_with('+')) {
        narrow.erase(0, 1);
    }
    double value = 0.0;
    const auto result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const std::string_view number(narrow.data(), result.ptr);
        return number.find("e-") == number.npos && number.find("E-") == number.npos
                   ? std::numeric_limits<double>::infinity()
                   : 0.0;
    }
    return result.ec == std::errc() && value == value ? value : 0.0; // "nan" is no number
}

} // namespace

std::span<const wchar_t* const> CZoomChoice::GetItems()
{
    return kItems;
}

void CZoomChoice::Select(int item)
{
    if (item < 0 || item >= static_cast<int>(std::size(kItems))) {
        return;
    }
    m_text = kItems[item];
    m_selection = item;
    if (item == ZOOM_FIT || item == ZOOM_ANISOTROPIC) {
        m_state.mode = item;
    } else {
        SetPercent(LeadingNumber(m_text));
    }
}

void CZoomChoice::SetText(const CString& text)
{
    for (int item = 0; item < static_cast<int>(std::size(kItems)); ++item) {
        if (CompareNoCase(Trim(text), kItems[item]) == 0) {
            Select(item);
            return;
        }
    }
    m_selection = -1;
    m_text = text;
    SetPercent(LeadingNumber(text));
}

void CZoomChoice::SetPercent(double percent)
{
    double factor = percent / 100.0;
    if (factor < kLeast) {
        factor = 1.0;
        m_text = Format(L"%.0f %%", 100.0);
    } else if (factor > kMost) {
        factor = kMost;
        m_text = Format(L"%.0f %%", 1000.0);
    }
    m_state.factor = factor;
    m_state.mode = ZOOM_FACTOR;
}

void CZoomChoice::Toggle()
{
    if (m_text.empty() || std::iswdigit(m_text.front())) {
        Select(ZOOM_FIT);
        return;
    }
    m_selection = -1;
    m_text = Format(L"%.0f %%", m_state.factor * 100.0);
    SetPercent(LeadingNumber(m_text));
}

} // namespace alidade
