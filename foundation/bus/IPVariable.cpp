#include "foundation/bus/IPVariable.h"

#include "foundation/bus/wire/NumberText.h"
#include "foundation/bus/wire/RawBlock.h"
#include "foundation/platform/Text.h"

#include <optional>
#include <utility>

namespace alidade {
namespace {

/// What a reader finds where there is nothing.
const CIPVariable& EmptyVariable()
{
    static const CIPVariable empty;
    return empty;
}

/// The number in one of the forms, or nothing when the value is neither number nor text.
template <typename T, class Value>
std::optional<T> ToNumber(const Value& value)
{
    return std::visit(
        [](const auto& held) -> std::optional<T> {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_arithmetic_v<Held>) {
                return ConvertNumber<T>(held);
            } else if constexpr (std::is_same_v<Held, CStringA>) {
                return ConvertNumber<T>(ReadNumber(held));
            } else if constexpr (std::is_same_v<Held, CString>) {
                return ConvertNumber<T>(ReadNumber(ToNarrow(held)));
            } else {
                return std::nullopt;
            }
        },
        value);
}

} // namespace

struct CIPVariable::T_CONVERTED {
    std::optional<CStringA> narrow;
    std::optional<CString> wide;
};

CIPVariable::CIPVariable() = default;

CIPVariable::CIPVariable(eIP_VARIABLE_TYPE type, const char* name, unsigned size, unsigned flags)
    : m_type(type), m_flags(flags), m_name(name != nullptr ? name : "")
{
    if (type == IPVAR_RAW && size != 0) {
        m_value = MakeRaw(nullptr, size);
    }
}

CIPVariable::~CIPVariable()
{
    // A deep tree is taken apart here: its nodes' own destructors would call each other once a level.
    std::vector<std::vector<CIPVariable>> pending;
    const auto takeChildren = [&pending](std::vector<CIPVariable>& nodes) {
        for (CIPVariable& node : nodes) {
            if (!node.m_children.empty()) {
                pending.push_back(std::move(node.m_children));
                node.m_children.clear();
            }
        }
    };
    takeChildren(m_children);
    while (!pending.empty()) {
        std::vector<CIPVariable> nodes = std::move(pending.back());
        pending.pop_back();
        takeChildren(nodes);
    }
}

void CIPVariable::CopyNode(const CIPVariable& other)
{
    m_type = other.m_type;
    m_flags = other.m_flags;
    m_name = other.m_name;
    m_value = other.m_value;
}

CIPVariable::CIPVariable(const CIPVariable& other)
{
    CopyNode(other);
    std::vector<std::pair<const CIPVariable*, CIPVariable*>> pending;
    std::pair<const CIPVariable*, CIPVariable*> at{&other, this};
    for (;;) {
        const auto& [source, target] = at;
        target->m_children.resize(source->m_children.size());
        for (std::size_t i = 0; i < source->m_children.size(); ++i) {
            target->m_children[i].CopyNode(source->m_children[i]);
            if (!source->m_children[i].m_children.empty()) {
                pending.emplace_back(&source->m_children[i], &target->m_children[i]);
            }
        }
        if (pending.empty()) {
            return;
        }
        at = pending.back();
        pending.pop_back();
    }
}

void CIPVariable::Swap(CIPVariable& other) noexcept
{
    std::swap(m_type, other.m_type);
    std::swap(m_flags, other.m_flags);
    m_name.swap(other.m_name);
    m_value.swap(other.m_value);
    m_children.swap(other.m_children);
    m_converted.swap(other.m_converted);
}

CIPVariable::CIPVariable(CIPVariable&& other) noexcept
{
    Swap(other);
}

// Both assignments keep the right side whole until it is taken over, for it may be a child of the left one.
CIPVariable& CIPVariable::operator=(const CIPVariable& other)
{
    if (this != &other) {
        CIPVariable copy(other);
        Swap(copy);
    }
    return *this;
}

CIPVariable& CIPVariable::operator=(CIPVariable&& other) noexcept
{
    if (this != &other) {
        CIPVariable taken(std::move(other));
        Swap(taken);
    }
    return *this;
}

void CIPVariable::SetName(const char* name)
{
    m_name = CStringA(name != nullptr ? name : "");
}

const CIPVariable* CIPVariable::FindChild(const char* name) const
{
    if (name != nullptr) {
        const std::string_view wanted(name);
        for (const CIPVariable& child : m_children) {
            if (child.m_name == wanted) {
                return &child;
            }
        }
    }
    return nullptr;
}

CIPVariable* CIPVariable::FindChild(const char* name)
{
    return const_cast<CIPVariable*>(std::as_const(*this).FindChild(name));
}

int CIPVariable::operator()(const char* name, int defaultValue) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? child->GetInt(defaultValue) : defaultValue;
}

unsigned CIPVariable::operator()(const char* name, unsigned defaultValue) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? child->GetUnsigned(defaultValue) : defaultValue;
}

double CIPVariable::operator()(const char* name, double defaultValue) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? child->GetDouble(defaultValue) : defaultValue;
}

const char* CIPVariable::operator()(const char* name, const char* defaultValue) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? child->GetString(defaultValue) : defaultValue;
}

const wchar_t* CIPVariable::operator()(const char* name, const wchar_t* defaultValue) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? child->GetWideString(defaultValue) : defaultValue;
}

const CIPVariable& CIPVariable::operator()(const char* name) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr ? *child : EmptyVariable();
}

CIPVariable& CIPVariable::operator()(const char* name)
{
    CIPVariable* child = FindChild(name);
    return child != nullptr ? *child : m_children.emplace_back(IPVAR_TREE, name);
}

const CIPVariable& CIPVariable::operator()(int index) const
{
    return index >= 0 && index < GetChildCount() ? m_children[static_cast<std::size_t>(index)]
                                                 : EmptyVariable();
}

CIPVariable& CIPVariable::operator()(int index)
{
    if (index < 0 || index >= GetChildCount()) {
        const CString text = Format(L"Child %d of %d is asked for", index, GetChildCount());
        throw CIPVariableException(L"CIPVariable::operator()", text.c_str());
    }
    return m_children[static_cast<std::size_t>(index)];
}

int CIPVariable::IsChildItem(const char* name, eIP_VARIABLE_TYPE type) const
{
    const CIPVariable* child = FindChild(name);
    return child != nullptr && child->m_type == type ? 1 : 0;
}

int CIPVariable::IsChildItemMat(const char* name) const
{
    return IsChildItem(name, IPVAR_TREE);
}

CIPVariable& CIPVariable::PutChild(const char* name, CIPVariable&& child)
{
    if (CIPVariable* old = FindChild(name)) {
        *old = std::move(child);
        return *old;
    }
    return m_children.emplace_back(std::move(child));
}

// The new child is made whole before the old one goes: name, text or bytes may lie in the old one.
template <typename T>
CIPVariable& CIPVariable::PutValue(const char* name, T value, unsigned flags)
{
    CIPVariable child(IPVAR_TREE, name, 0, flags);
    child.SetValue(value);
    return PutChild(name, std::move(child));
}

CIPVariable& CIPVariable::SetChildItem(const char* name, int value, unsigned flags)
{
    return PutValue(name, value, flags);
}

CIPVariable& CIPVariable::SetChildItem(const char* name, unsigned value, unsigned flags)
{
    return PutValue(name, value, flags);
}

CIPVariable& CIPVariable::SetChildItem(const char* name, double value, unsigned flags)
{
    return PutValue(name, value, flags);
}

CIPVariable& CIPVariable::SetChildItem(const char* name, const char* value, unsigned flags)
{
    return PutValue(name, value, flags);
}

CIPVariable& CIPVariable::SetChildItem(const char* name, const wchar_t* value, unsigned flags)
{
    return PutValue(name, value, flags);
}

CIPVariable& CIPVariable::SetChildItem(const char* name, const void* data, unsigned size, unsigned flags)
{
    CIPVariable child(IPVAR_RAW, name, 0, flags);
    child.SetValue(data, size);
    return PutChild(name, std::move(child));
}

CIPVariable& CIPVariable::SetChildItemEmpty(const char* name, eIP_VARIABLE_TYPE type, unsigned size,
                                            unsigned flags)
{
    return PutChild(name, CIPVariable(type, name, size, flags));
}

CIPVariable& CIPVariable::AddChildItem(const CIPVariable& child)
{
    return m_children.emplace_back(CIPVariable(child));
}

CIPVariable& CIPVariable::AddChildItem(CIPVariable&& child)
{
    return m_children.emplace_back(CIPVariable(std::move(child)));
}

void CIPVariable::DeleteAllChildItems()
{
    m_children.clear();
}

int CIPVariable::GetInt(int defaultValue) const
{
    return ToNumber<int>(m_value).value_or(defaultValue);
}

unsigned CIPVariable::GetUnsigned(unsigned defaultValue) const
{
    return ToNumber<unsigned>(m_value).value_or(defaultValue);
}

double CIPVariable::GetDouble(double defaultValue) const
{
    return ToNumber<double>(m_value).value_or(defaultValue);
}

const char* CIPVariable::GetString(const char* defaultValue) const
{
    if (const CStringA* text = std::get_if<CStringA>(&m_value)) {
        return text->c_str();
    }
    const CString* wide = std::get_if<CString>(&m_value);
    if (wide == nullptr && !IsNumber()) {
        return defaultValue;
    }
    if (m_converted == nullptr) {
        m_converted = std::make_unique<T_CONVERTED>();
    }
    std::optional<CStringA>& narrow = m_converted->narrow;
    if (!narrow) {
        narrow = wide != nullptr        ? ToNarrow(*wide)
                 : m_value.index() == 3 ? WriteNumber(std::get<double>(m_value))
                 : m_value.index() == 2 ? std::to_string(std::get<unsigned>(m_value))
                                        : std::to_string(std::get<int>(m_value));
    }
    return narrow->c_str();
}

const wchar_t* CIPVariable::GetWideString(const wchar_t* defaultValue) const
{
    if (const CString* text = std::get_if<CString>(&m_value)) {
        return text->c_str();
    }
    const char* narrow = GetString(nullptr);
    if (narrow == nullptr) {
        return defaultValue;
    }
    if (m_converted == nullptr) {
        m_converted = std::make_unique<T_CONVERTED>();
    }
    std::optional<CString>& wide = m_converted->wide;
    if (!wide) {
        wide = ToWide(narrow);
    }
    return wide->c_str();
}

void CIPVariable::SetValue(int value)
{
    m_type = IPVAR_INT;
    m_value = value;
    m_converted.reset();
}

void CIPVariable::SetValue(unsigned value)
{
    m_type = IPVAR_UINT;
    m_value = value;
    m_converted.reset();
}

void CIPVariable::SetValue(double value)
{
    m_type = IPVAR_DOUBLE;
    m_value = value;
    m_converted.reset();
}

// Texts and bytes are copied before the old value goes: they may lie in it.
void CIPVariable::SetValue(const char* value)
{
    CStringA text = value != nullptr ? value : "";
    m_type = IPVAR_STRING;
    m_value = std::move(text);
    m_converted.reset();
}

void CIPVariable::SetValue(const wchar_t* value)
{
    CString text = value != nullptr ? value : L"";
    m_type = IPVAR_WSTRING;
    m_value = std::move(text);
    m_converted.reset();
}

void CIPVariable::SetValue(const void* data, unsigned size)
{
    T_RAW raw = MakeRaw(data, size);
    m_type = IPVAR_RAW;
    m_value = std::move(raw);
    m_converted.reset();
}

void CIPVariable::SetShared(std::shared_ptr<const void> data, unsigned size)
{
    T_RAW raw{std::move(data), size, false};
    if (raw.data == nullptr && size != 0) {
        raw = MakeRaw(nullptr, size);
    }
    m_type = IPVAR_RAW;
    m_value = std::move(raw);
    m_converted.reset();
}

CIPVariable::T_RAW CIPVariable::MakeRaw(const void* data, unsigned size)
{
    if (size == 0) {
        return {};
    }
    std::shared_ptr<void> block = AllocateRawBlock(size);
    if (data != nullptr) {
        std::memcpy(block.get(), data, size);
    } else {
        std::memset(block.get(), 0, size);
    }
    return {std::move(block), size, true};
}

unsigned CIPVariable::GetSize() const
{
    switch (m_value.index()) {
    case 0:
        return 0;
    case 1:
    case 2:
        return sizeof(int);
    case 3:
        return sizeof(double);
    case 6:
        return std::get<T_RAW>(m_value).size;
    default:
        return static_cast<unsigned>(std::strlen(GetString()));
    }
}

const void* CIPVariable::GetRawData() const
{
    const T_RAW* raw = std::get_if<T_RAW>(&m_value);
    return raw != nullptr && raw->size != 0 ? raw->data.get() : nullptr;
}

void* CIPVariable::GetRawData()
{
    T_RAW* raw = std::get_if<T_RAW>(&m_value);
    if (raw == nullptr || raw->size == 0) {
        return nullptr;
    }
    // Taking one more share, unlike reading the count, also orders this thread behind one that let go of its
    // own.
    const std::shared_ptr<const void> held = raw->data;
    if (!raw->own || held.use_count() > 2) {
        *raw = MakeRaw(held.get(), raw->size);
    }
    return const_cast<void*>(raw->data.get());
}

int CIPVariable::GetRawData(void* destination, unsigned size) const
{
    const T_RAW* raw = std::get_if<T_RAW>(&m_value);
    if (raw == nullptr || raw->size < size) {
        return 0;
    }
    if (size != 0) {
        std::memcpy(destination, raw->data.get(), size);
    }
    return 1;
}

std::shared_ptr<const void> CIPVariable::ShareRawData() const
{
    const T_RAW* raw = std::get_if<T_RAW>(&m_value);
    return raw != nullptr ? raw->data : nullptr;
}

bool CIPVariable::IsNumber() const
{
    return m_value.index() >= 1 && m_value.index() <= 3;
}

const void* CIPVariable::CheckedData(std::size_t size) const
{
    const unsigned there = GetSize();
    if (there == 0) {
        throw CIPVariableException(L"CIPVariable::Value", L"Variable is EMPTY");
    }
    if (there < size) {
        throw CIPVariableException(L"CIPVariable::Value", L"Variable size is small");
    }
    if (const void* raw = GetRawData()) {
        return raw;
    }
    if (const int* value = std::get_if<int>(&m_value)) {
        return value;
    }
    if (const unsigned* value = std::get_if<unsigned>(&m_value)) {
        return value;
    }
    if (const double* value = std::get_if<double>(&m_value)) {
        return value;
    }
    return GetString();
}

bool CIPVariable::IsSameNode(const CIPVariable& other) const
{
    if (m_type != other.m_type || m_name != other.m_name || m_children.size() != other.m_children.size() ||
        m_value.index() != other.m_value.index()) {
        return false;
    }
    switch (m_value.index()) {
    case 0:
        return true;
    case 1:
        return std::get<int>(m_value) == std::get<int>(other.m_value);
    case 2:
        return std::get<unsigned>(m_value) == std::get<unsigned>(other.m_value);
    case 3:
        return std::memcmp(std::get_if<double>(&m_value), std::get_if<double>(&other.m_value),
                           sizeof(double)) == 0;
    case 4:
        return std::get<CStringA>(m_value) == std::get<CStringA>(other.m_value);
    case 5:
        return std::get<CString>(m_value) == std::get<CString>(other.m_value);
    default:
        break;
    }
    const T_RAW& mine = std::get<T_RAW>(m_value);
    const T_RAW& others = std::get<T_RAW>(other.m_value);
    return mine.size == others.size && (mine.size == 0 || mine.data == others.data ||
                                        std::memcmp(mine.data.get(), others.data.get(), mine.size) == 0);
}

bool CIPVariable::operator==(const CIPVariable& other) const
{
    std::vector<std::pair<const CIPVariable*, const CIPVariable*>> pending{{this, &other}};
    while (!pending.empty()) {
        const auto [a, b] = pending.back();
        pending.pop_back();
        if (!a->IsSameNode(*b)) {
            return false;
        }
        for (std::size_t i = 0; i < a->m_children.size(); ++i) {
            pending.emplace_back(&a->m_children[i], &b->m_children[i]);
        }
    }
    return true;
}

} // namespace alidade
