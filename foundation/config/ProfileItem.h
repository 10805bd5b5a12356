#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// A setting: key, value and the comment that stands before it in the file. Value type.
class ALIDADE_FOUNDATION_API CProfileItem {
public:
    /// Null stands for an empty text.
    CProfileItem(const wchar_t* key, const wchar_t* value)
        : m_strKey(key != nullptr ? key : L""), m_strValue(value != nullptr ? value : L"")
    {
    }

    CString m_strComment;
    CString m_strKey;
    CString m_strValue;
};

} // namespace alidade
