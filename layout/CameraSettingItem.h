#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// A setting of a camera as layout files of the older generation hold it. Value type. Reentrant.
class ALIDADE_API CCameraSettingItem {
public:
    /// Null stands for an empty text.
    CCameraSettingItem(int type, const wchar_t* name, const wchar_t* value);

    /// Non-zero when `name` is this setting's, case ignored. Null counts as the empty name.
    int operator==(const wchar_t* name) const;

    int nType; // kept as it was read; governs nothing
    CString strName;
    CString strValue;
};

} // namespace alidade
