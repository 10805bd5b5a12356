#include "host/DriverList.h"

#include "acquisition/FrameGrabber.h"
#include "foundation/platform/Text.h"

#include <algorithm>

namespace alidade {
namespace {

/// "True, False" or "15, 30 or another".
CString FormatOptions(const CMFCPropertyGridProperty& property)
{
    CString text;
    for (const CString& option : property.GetOptions()) {
        text += (text.empty() ? L"" : L", ") + option;
    }
    if (!text.empty() && property.IsEditAllowed()) {
        text += L" or another";
    }
    return text;
}

CString FormatSettings(const TList<CMFCPropertyGridProperty, int, int>& properties)
{
    std::size_t width = 0;
    for (const CMFCPropertyGridProperty* property : properties) {
        width = std::max(width, property->GetName().size());
    }
    CString text;
    for (const CMFCPropertyGridProperty* property : properties) {
        const CString options = FormatOptions(*property);
        CString line = L"  " + property->GetName() + CString(width - property->GetName().size() + 2, L' ') +
                       property->GetDescription();
        if (!options.empty()) {
            line += (property->GetDescription().empty() ? L"[" : L" [") + options + L"]";
        }
        text += line + L"\n";
    }
    return text;
}

} // namespace

std::vector<CString> GetDriverNames()
{
    TList<CString, int, int> list;
    CFrameGrabber::GetFrameGrabberList(list);
    std::vector<CString> names;
    for (const CString* name : list) {
        names.push_back(*name);
    }
    return names;
}

CStringA FormatDriverList()
{
    CString text;
    for (const CString& name : GetDriverNames()) {
        TList<CMFCPropertyGridProperty, int, int> properties;
        CFrameGrabber::GetFrameGrabberProperties(name.c_str(), properties);
        text += name + L"\n" + FormatSettings(properties);
    }
    return ToNarrow(text);
}

} // namespace alidade
