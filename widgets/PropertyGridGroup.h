#pragma once

#include "alidade/driver/PropertyGridProperty.h"
#include "foundation/containers/List.h"

#include <cstdint>

namespace alidade {

/// The name of a row that only separates others: it has no value and is never loaded or saved.
constexpr const wchar_t* kPropertySeparator = L"----";

inline bool IsSeparator(const CMFCPropertyGridProperty& row)
{
    return row.GetName() == kPropertySeparator;
}

/// A row with a number of its user's own.
class CPropertyGridRow : public CMFCPropertyGridProperty {
public:
    using CMFCPropertyGridProperty::CMFCPropertyGridProperty;

    std::uintptr_t GetData() const { return m_data; }
    void SetData(std::uintptr_t data) { m_data = data; }

private:
    std::uintptr_t m_data = 0;
};

/// A heading that rows stand under. Drivers share the plain record with the system, so what only grids know
/// is added here and not there.
class CPropertyGridGroup : public CMFCPropertyGridProperty {
public:
    explicit CPropertyGridGroup(CString name)
        : CMFCPropertyGridProperty(std::move(name), CString(), CString())
    {
    }

    TList<CPropertyGridRow>& GetRows() { return m_rows; }
    const TList<CPropertyGridRow>& GetRows() const { return m_rows; }

private:
    TList<CPropertyGridRow> m_rows;
};

} // namespace alidade
