#pragma once

#include "foundation/platform/Types.h"

#include <string_view>
#include <utility>
#include <vector>

namespace alidade {

/// One setting as a driver describes it to a user interface: a plain record that knows no toolkit.
class CMFCPropertyGridProperty {
public:
    CMFCPropertyGridProperty(CString name, CString value, CString description)
        : m_strName(std::move(name)), m_strValue(std::move(value)), m_strDescription(std::move(description))
    {
    }

    const CString& GetName() const { return m_strName; }
    const CString& GetValue() const { return m_strValue; }
    void SetValue(CString value) { m_strValue = std::move(value); }
    const CString& GetDescription() const { return m_strDescription; }

    /// The values offered, in order; empty when any text may be given.
    const std::vector<CString>& GetOptions() const { return m_options; }
    void AddOption(CString option) { m_options.push_back(std::move(option)); }
    /// Adds one option for each piece of a ";"-separated list.
    void AddOptions(std::wstring_view list)
    {
        while (!list.empty()) {
            const std::size_t end = list.find(L';');
            m_options.emplace_back(list.substr(0, end));
            list.remove_prefix(end == list.npos ? list.size() : end + 1);
        }
    }

    /// Whether a text beside the options may be given.
    void AllowEdit(bool allow) { m_bAllowEdit = allow; }
    bool IsEditAllowed() const { return m_bAllowEdit; }

private:
    CString m_strName;
    CString m_strValue;
    CString m_strDescription;
    std::vector<CString> m_options;
    bool m_bAllowEdit = true;
};

} // namespace alidade
