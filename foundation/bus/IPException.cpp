#include "foundation/bus/IPException.h"

#include "foundation/platform/Text.h"

namespace alidade {

CIPException::CIPException(const wchar_t* source, const wchar_t* text)
{
    auto kept = std::make_shared<T_TEXT>();
    kept->source = source != nullptr ? source : L"";
    kept->text = text != nullptr ? text : L"";
    kept->what = ToNarrow(kept->source + L": " + kept->text);
    m_text = std::move(kept);
}

CIPException::~CIPException() = default;
CIPVariableException::~CIPVariableException() = default;

} // namespace alidade
