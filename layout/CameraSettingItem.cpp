#include "layout/CameraSettingItem.h"

#include "foundation/platform/Text.h"

namespace alidade {

CCameraSettingItem::CCameraSettingItem(int type, const wchar_t* name, const wchar_t* value)
    : nType(type), strName(name != nullptr ? name : L""), strValue(value != nullptr ? value : L"")
{
}

int CCameraSettingItem::operator==(const wchar_t* name) const
{
    return CompareNoCase(strName, name != nullptr ? name : L"") == 0 ? 1 : 0;
}

} // namespace alidade
