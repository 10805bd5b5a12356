#include "foundation/config/ProfileSection.h"

#include "foundation/config/ProfileNumber.h"
#include "foundation/config/SimpleLog.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/ListAppend.h"
#include "foundation/utility/Strings.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <set>
#include <tuple>

namespace alidade {
namespace {

std::wstring_view ViewOf(const wchar_t* text)
{
    return text != nullptr ? text : L"";
}

template <class T>
void CopyList(TList<T, int, int>& to, const TList<T, int, int>& from)
{
    for (const T* item : from) {
        Append(to, std::make_unique<T>(*item));
    }
}

template <class T>
int DeleteByIdentity(TList<T, int, int>& list, const T* wanted)
{
    int index = -1;
    return wanted != nullptr && list.Find(wanted, index) >= 0 ? list.Delete(index) : 0;
}

/// Reports each unreadable value once. What has been reported is remembered up to a bound; past it,
/// nothing more is reported until the log is set anew.
class CUnreadableValues {
public:
    void SetLog(CSimpleLog* log)
    {
        const std::lock_guard lock(m_mutex);
        m_pLog = log;
        m_reported.clear();
    }

    void Report(const CString& section, std::wstring_view key, const CString& text, const wchar_t* wanted)
    {
        CSimpleLog* log = nullptr;
        bool last = false;
        {
            const std::lock_guard lock(m_mutex);
            if (m_pLog == nullptr || m_reported.size() >= kMost ||
                !m_reported.emplace(section, key, text.substr(0, kShown)).second) {
                return;
            }
            log = m_pLog;
            last = m_reported.size() == kMost;
        }
        log->WriteErrorLog(L"CProfileSection : [%s] %s = \"%s\" is not %s; the default is taken",
                           section.c_str(), CString(key).c_str(), text.substr(0, kShown).c_str(), wanted);
        if (last) {
            log->WriteErrorLog(L"CProfileSection : further values that cannot be read are not reported");
        }
    }

private:
    static constexpr std::size_t kMost = 1000;
    static constexpr std::size_t kShown = 200; // characters of a value

    std::mutex m_mutex;
    CSimpleLog* m_pLog = nullptr;
    std::set<std::tuple<CString, CString, CString>> m_reported;
};

CUnreadableValues& UnreadableValues()
{
    static CUnreadableValues values;
    return values;
}

constexpr const wchar_t* kInteger = L"an integer in range";
constexpr const wchar_t* kNumber = L"a number";
constexpr const wchar_t* kBoolean = L"a boolean";

CString NumberToText(double value)
{
    return DtoA(value);
}

CString NumberToText(std::int64_t value)
{
    return std::to_wstring(value);
}

template <class T>
using Widest = std::conditional_t<std::is_same_v<T, double>, double, std::int64_t>;

template <class T>
std::optional<T> ParseAs(const CString& text)
{
    if constexpr (std::is_same_v<T, double>) {
        return ParseDouble(text);
    } else {
        const auto value = ParseInteger(text, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
        return value ? std::optional(static_cast<T>(*value)) : std::nullopt;
    }
}

} // namespace

CProfileSection::CProfileSection(const wchar_t* name) : m_strName(ViewOf(name))
{
}

CProfileSection::CProfileSection(const CProfileSection& other) : m_strName(other.m_strName)
{
    CopyList(m_sections, other.m_sections);
    CopyList(m_items, other.m_items);
}

CProfileSection::CProfileSection(CProfileSection&& other) noexcept
    : m_strName(std::move(other.m_strName)), m_sections(std::move(other.m_sections)),
      m_items(std::move(other.m_items))
{
}

CProfileSection& CProfileSection::operator=(const CProfileSection& other)
{
    // The other section may lie inside this one.
    CProfileSection copy(other);
    return *this = std::move(copy);
}

CProfileSection& CProfileSection::operator=(CProfileSection&& other) noexcept
{
    CProfileSection taken(std::move(other));
    m_strName = std::move(taken.m_strName);
    m_sections.DeleteAll();
    m_sections.TakeFrom(taken.m_sections);
    m_items.DeleteAll();
    m_items.TakeFrom(taken.m_items);
    return *this;
}

CProfileSection::~CProfileSection() = default;

void CProfileSection::Init(int clearName)
{
    m_items.DeleteAll();
    m_sections.DeleteAll();
    if (clearName != 0) {
        m_strName.clear();
    }
}

CProfileSection& CProfileSection::GetSubSection(const wchar_t* name)
{
    CProfileSection* found = FindSubSection(name);
    return found != nullptr ? *found : Append(m_sections, std::make_unique<CProfileSection>(name));
}

const CProfileSection* CProfileSection::FindSubSection(const wchar_t* name) const
{
    for (const CProfileSection* section : m_sections) {
        if (section->m_strName == ViewOf(name)) {
            return section;
        }
    }
    return nullptr;
}

CProfileSection* CProfileSection::FindSubSection(const wchar_t* name)
{
    return const_cast<CProfileSection*>(std::as_const(*this).FindSubSection(name));
}

int CProfileSection::DeleteSubSection(const wchar_t* name)
{
    return DeleteByIdentity(m_sections, std::as_const(*this).FindSubSection(name));
}

int CProfileSection::DeleteItem(const wchar_t* key)
{
    return DeleteByIdentity(m_items, FindItem(key));
}

bool CProfileSection::HasItem(const wchar_t* key) const
{
    return FindItem(key) != nullptr;
}

const wchar_t* CProfileSection::GetItemValue(const wchar_t* key, const wchar_t* defaultValue) const
{
    const CProfileItem* item = FindItem(key);
    return item != nullptr ? item->m_strValue.c_str() : defaultValue;
}

int CProfileSection::GetItemValue(const wchar_t* key, int defaultValue) const
{
    const CProfileItem* item = FindItem(key);
    if (item == nullptr) {
        return defaultValue;
    }
    const auto value = ParseAs<int>(item->m_strValue);
    if (!value) {
        UnreadableValues().Report(m_strName, ViewOf(key), item->m_strValue, kInteger);
    }
    return value.value_or(defaultValue);
}

double CProfileSection::GetItemValue(const wchar_t* key, double defaultValue) const
{
    const CProfileItem* item = FindItem(key);
    if (item == nullptr) {
        return defaultValue;
    }
    const auto value = ParseDouble(item->m_strValue);
    if (!value) {
        UnreadableValues().Report(m_strName, ViewOf(key), item->m_strValue, kNumber);
    }
    return value.value_or(defaultValue);
}

int CProfileSection::GetItemValueBoolean(const wchar_t* key, int defaultValue) const
{
    const CProfileItem* item = FindItem(key);
    if (item == nullptr) {
        return defaultValue;
    }
    const auto value = ParseBoolean(item->m_strValue);
    if (!value) {
        UnreadableValues().Report(m_strName, ViewOf(key), item->m_strValue, kBoolean);
        return defaultValue;
    }
    return *value ? 1 : 0;
}

int CProfileSection::GetItemValueString(const wchar_t* key, char* buffer, int size,
                                        const char* defaultValue) const
{
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    const CProfileItem* item = FindItem(key);
    const CStringA text = item != nullptr           ? ToNarrow(item->m_strValue)
                          : defaultValue != nullptr ? defaultValue
                                                    : "";
    std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    if (length < text.size()) {
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

int CProfileSection::SetItemValue(const wchar_t* key, const wchar_t* value, const wchar_t* comment)
{
    auto* item = const_cast<CProfileItem*>(FindItem(key));
    if (item == nullptr) {
        item = &Append(m_items, std::make_unique<CProfileItem>(key, nullptr));
    }
    // Through a copy: the value may be this item's own text.
    item->m_strValue = CString(ViewOf(value));
    if (comment != nullptr) {
        item->m_strComment = CString(comment);
    }
    return 1;
}

int CProfileSection::SetItemValue(const wchar_t* key, int value, const wchar_t* comment)
{
    return SetItemValue(key, DtoA(value).c_str(), comment);
}

int CProfileSection::SetItemValue(const wchar_t* key, double value, const wchar_t* comment)
{
    return SetItemValue(key, DtoA(value).c_str(), comment);
}

int CProfileSection::SetItemValueBoolean(const wchar_t* key, int value, const wchar_t* comment)
{
    return SetItemValue(key, value != 0 ? L"True" : L"False", comment);
}

void CProfileSection::SyncItemValue(int store, const wchar_t* key, CString& value, const wchar_t* format)
{
    if (store != 0) {
        SetItemValue(key, format != nullptr ? Format(format, value.c_str()).c_str() : value.c_str());
    } else if (const CProfileItem* item = FindItem(key)) {
        value = item->m_strValue;
    }
}

template <class T>
void CProfileSection::SyncNumber(int store, const wchar_t* key, T& value, const wchar_t* format)
{
    if (store != 0) {
        SetItemValue(key, format != nullptr ? Format(format, value).c_str()
                                            : NumberToText(Widest<T>(value)).c_str());
    } else if (const CProfileItem* item = FindItem(key)) {
        if (const auto read = ParseAs<T>(item->m_strValue)) {
            value = *read;
        } else {
            UnreadableValues().Report(m_strName, ViewOf(key), item->m_strValue,
                                      std::is_same_v<T, double> ? kNumber : kInteger);
        }
    }
}

void CProfileSection::SyncItemValue(int store, const wchar_t* key, double& value, const wchar_t* format)
{
    SyncNumber(store, key, value, format);
}

void CProfileSection::SyncItemValue(int store, const wchar_t* key, int& value, const wchar_t* format)
{
    SyncNumber(store, key, value, format);
}

void CProfileSection::SyncItemValue(int store, const wchar_t* key, unsigned int& value, const wchar_t* format)
{
    SyncNumber(store, key, value, format);
}

void CProfileSection::SetDiagnosticLog(CSimpleLog* log)
{
    UnreadableValues().SetLog(log);
}

bool CProfileSection::operator==(const CProfileSection& other) const
{
    if (m_strName != other.m_strName || m_items.Count() != other.m_items.Count() ||
        m_sections.Count() != other.m_sections.Count()) {
        return false;
    }
    auto theirItem = other.m_items.begin();
    for (const CProfileItem* item : m_items) {
        if (item->m_strKey != (*theirItem)->m_strKey || item->m_strValue != (*theirItem)->m_strValue) {
            return false;
        }
        ++theirItem;
    }
    auto theirSection = other.m_sections.begin();
    for (const CProfileSection* section : m_sections) {
        if (!(*section == **theirSection)) {
            return false;
        }
        ++theirSection;
    }
    return true;
}

const CProfileItem* CProfileSection::FindItem(const wchar_t* key) const
{
    for (const CProfileItem* item : m_items) {
        if (item->m_strKey == ViewOf(key)) {
            return item;
        }
    }
    return nullptr;
}

} // namespace alidade
