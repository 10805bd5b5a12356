#pragma once

#include "foundation/Export.h"
#include "foundation/config/ProfileItem.h"
#include "foundation/containers/List.h"

namespace alidade {

class CSimpleLog;

/// A named group of settings with sub-sections. Value type: copies are deep. Reentrant; several threads
/// may read one section at a time as long as nobody writes.
///
/// Keys and names are case-sensitive texts of any content. Where a number or a boolean is read and the
/// text is none, the default is taken and one line goes to the diagnostic log. Numbers are written and read
/// with a decimal point whatever the locale.
class ALIDADE_FOUNDATION_API CProfileSection {
public:
    explicit CProfileSection(const wchar_t* name = nullptr);
    CProfileSection(const CProfileSection& other);
    CProfileSection(CProfileSection&& other) noexcept;
    CProfileSection& operator=(const CProfileSection& other);
    CProfileSection& operator=(CProfileSection&& other) noexcept;
    ~CProfileSection();

    /// Empties the section: its items and sub-sections go; its name goes too when `clearName` is non-zero.
    void Init(int clearName = 1);

    const wchar_t* GetName() const { return m_strName.c_str(); }
    void SetName(const wchar_t* name) { m_strName = name != nullptr ? name : L""; }

    /// The sub-section, created when absent. The reference holds until the sub-section is deleted.
    CProfileSection& GetSubSection(const wchar_t* name);
    /// The sub-section, or null.
    const CProfileSection* FindSubSection(const wchar_t* name) const;
    CProfileSection* FindSubSection(const wchar_t* name);
    /// Removes a sub-section or an item; 1 when there was one.
    int DeleteSubSection(const wchar_t* name);
    int DeleteItem(const wchar_t* key);

    bool HasItem(const wchar_t* key) const;
    /// The text holds until the item is written or deleted; the default is returned as it was given.
    const wchar_t* GetItemValue(const wchar_t* key, const wchar_t* defaultValue) const;
    int GetItemValue(const wchar_t* key, int defaultValue) const;
    double GetItemValue(const wchar_t* key, double defaultValue) const;
    /// "true", "yes", "on" and any non-zero number are true, "false", "no", "off" and 0 are not; case is
    /// ignored.
    int GetItemValueBoolean(const wchar_t* key, int defaultValue) const;
    /// UTF-8 into a buffer of `size` bytes, cut to whole characters and always terminated.
    /// @return number of bytes without the terminator
    int GetItemValueString(const wchar_t* key, char* buffer, int size, const char* defaultValue) const;

    /// Writes an item, creating it when absent. A null comment keeps the one there is. Always 1.
    int SetItemValue(const wchar_t* key, const wchar_t* value, const wchar_t* comment = nullptr);
    int SetItemValue(const wchar_t* key, int value, const wchar_t* comment = nullptr);
    int SetItemValue(const wchar_t* key, double value, const wchar_t* comment = nullptr);
    /// Writes "True" or "False".
    int SetItemValueBoolean(const wchar_t* key, int value, const wchar_t* comment = nullptr);

    /// With `store` non-zero writes the value, by the printf format when one is given; otherwise reads it,
    /// and leaves it as it was when the key is absent or is no number.
    void SyncItemValue(int store, const wchar_t* key, CString& value, const wchar_t* format = nullptr);
    void SyncItemValue(int store, const wchar_t* key, double& value, const wchar_t* format = nullptr);
    void SyncItemValue(int store, const wchar_t* key, int& value, const wchar_t* format = nullptr);
    void SyncItemValue(int store, const wchar_t* key, unsigned int& value, const wchar_t* format = nullptr);

    /// Where values that cannot be read are reported, once for each key and text; null: nowhere.
    /// The log must outlive its use. Thread-safe.
    static void SetDiagnosticLog(CSimpleLog* log);

    bool operator==(const CProfileSection& other) const;

    CString m_strName;
    TList<CProfileSection, int, int> m_sections;
    TList<CProfileItem, int, int> m_items;

private:
    const CProfileItem* FindItem(const wchar_t* key) const;
    template <class T>
    void SyncNumber(int store, const wchar_t* key, T& value, const wchar_t* format);
};

} // namespace alidade
