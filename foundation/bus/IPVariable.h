#pragma once

#include "foundation/Export.h"
#include "foundation/bus/IPException.h"

#include <cstring>
#include <memory>
#include <type_traits>
#include <variant>
#include <vector>

namespace alidade {

/// What a node holds. The numbers are those of the wire.
enum eIP_VARIABLE_TYPE : unsigned {
    IPVAR_TREE = 0, // a plain node with children; a matrix is one too
    IPVAR_INT = 1,
    IPVAR_UINT = 2,
    IPVAR_DOUBLE = 3,
    IPVAR_STRING = 4,  // UTF-8
    IPVAR_WSTRING = 5, // wide text
    IPVAR_RAW = 8      // a block of bytes
};

/// A value as it travels on the bus: a node with a type, a name, a value, and children that are reached by
/// name or by index. A node whose value was never set is empty. Any node may have children beside its value.
///
/// Copies are whole trees; raw blocks are shared behind the scenes until one copy writes, so that copying an
/// image costs nothing. Numbers and texts are converted on reading: a number is cut towards zero and held
/// within the range of the form asked for, NaN gives 0; a text is read as far as it is a decimal number, 0
/// when it is none, and the whole words "inf" and "nan" count too. Numbers read as text have the shortest
/// form that gives the same number back. A raw block is neither number nor text: reading it as one gives the
/// default. Names match by bytes; of two children with one name the first is found, and a null name finds
/// none. Reentrant: one object is for one thread at a time, reading included, since converted texts are kept
/// in it. Any depth is fine: nothing here recurses.
class ALIDADE_FOUNDATION_API CIPVariable {
public:
    CIPVariable();
    /// @param name   copied; null: unnamed
    /// @param size   bytes of a raw block, which starts zeroed; not used for other types
    /// @param flags  kept with the node for its user (GetFlags); 0 as a rule
    explicit CIPVariable(eIP_VARIABLE_TYPE type, const char* name = nullptr, unsigned size = 0,
                         unsigned flags = 0);
    ~CIPVariable();
    CIPVariable(const CIPVariable& other);
    CIPVariable(CIPVariable&& other) noexcept;
    CIPVariable& operator=(const CIPVariable& other);
    CIPVariable& operator=(CIPVariable&& other) noexcept;

    eIP_VARIABLE_TYPE GetType() const { return m_type; }
    const char* GetName() const { return m_name.c_str(); }
    void SetName(const char* name);
    unsigned GetFlags() const { return m_flags; }
    /// True when the node has neither a value nor children.
    bool IsEmpty() const { return !HasValue() && m_children.empty(); }
    bool HasValue() const { return m_value.index() != 0; }

    /// @name Reading a child by name
    /// The default when there is no such child or it has no value.
    /// Texts stay valid until the child is written or goes; converted ones too. A text default comes back as
    /// it is.
    ///@{
    int operator()(const char* name, int defaultValue) const;
    unsigned operator()(const char* name, unsigned defaultValue) const;
    double operator()(const char* name, double defaultValue) const;
    const char* operator()(const char* name, const char* defaultValue) const;
    const wchar_t* operator()(const char* name, const wchar_t* defaultValue) const;
    int GetChildItem(const char* name, int defaultValue) const { return (*this)(name, defaultValue); }
    double GetChildItem(const char* name, double defaultValue) const { return (*this)(name, defaultValue); }
    ///@}

    /// The child of that name or index.
    /// The const forms give an empty node when there is none; the writing form by name adds a plain node.
    /// @throws CIPVariableException  the writing form by index, for an index outside the children
    ///@{
    const CIPVariable& operator()(const char* name) const;
    CIPVariable& operator()(const char* name);
    const CIPVariable& operator()(int index) const;
    CIPVariable& operator()(int index);
    ///@}
    int GetChildCount() const { return static_cast<int>(m_children.size()); }

    /// The child, or null.
    const CIPVariable* FindChild(const char* name) const;
    CIPVariable* FindChild(const char* name);
    /// 1 when there is such a child and it has that type.
    int IsChildItem(const char* name, eIP_VARIABLE_TYPE type) const;
    /// 1 when there is such a child and it is a plain node, as a matrix is.
    int IsChildItemMat(const char* name) const;
    int IsTypeMat() const { return m_type == IPVAR_TREE ? 1 : 0; }

    /// Sets the child of that name, which is added when absent; what it was before, children included, is
    /// gone. The reference holds until children are added or deleted.
    /// A null name adds an unnamed child. A null text is an empty one. `data` may be null: the block is then
    /// zeroed.
    ///@{
    CIPVariable& SetChildItem(const char* name, int value, unsigned flags = 0);
    CIPVariable& SetChildItem(const char* name, unsigned value, unsigned flags = 0);
    CIPVariable& SetChildItem(const char* name, double value, unsigned flags = 0);
    CIPVariable& SetChildItem(const char* name, const char* value, unsigned flags = 0);
    CIPVariable& SetChildItem(const char* name, const wchar_t* value, unsigned flags = 0);
    CIPVariable& SetChildItem(const char* name, const void* data, unsigned size, unsigned flags);
    ///@}
    /// Sets the child of that name to an empty one of the type; with a null name an unnamed one is added.
    /// @param size  bytes of a raw block, zeroed
    CIPVariable& SetChildItemEmpty(const char* name, eIP_VARIABLE_TYPE type, unsigned size = 0,
                                   unsigned flags = 0);
    /// Appends a copy as the last child, whatever its name.
    CIPVariable& AddChildItem(const CIPVariable& child);
    CIPVariable& AddChildItem(CIPVariable&& child);
    void DeleteAllChildItems();
    /// Makes room, so that so many children are added without moving those that are there.
    void ReserveChildItems(std::size_t count) { m_children.reserve(count); }
    /// Children between the first and one past the last, in order.
    const std::vector<CIPVariable>& GetChildren() const { return m_children; }

    /// @name The node's own value
    /// Setting one gives the node its type and leaves its children.
    ///@{
    int GetInt(int defaultValue = 0) const;
    unsigned GetUnsigned(unsigned defaultValue = 0) const;
    double GetDouble(double defaultValue = 0.0) const;
    const char* GetString(const char* defaultValue = "") const;
    const wchar_t* GetWideString(const wchar_t* defaultValue = L"") const;
    void SetValue(int value);
    void SetValue(unsigned value);
    void SetValue(double value);
    void SetValue(const char* value);
    void SetValue(const wchar_t* value);
    /// Makes the node a raw block; `data` null: zeroed.
    void SetValue(const void* data, unsigned size);
    /// Makes the node a raw block that shares memory which nobody writes any more: an image goes without a
    /// copy.
    void SetShared(std::shared_ptr<const void> data, unsigned size);
    ///@}

    /// Bytes of the value: of a raw block its size, of a text the UTF-8 bytes without an end mark, of a
    /// number 4 or 8, and 0 of an empty node.
    unsigned GetSize() const;
    /// The raw block's bytes, null for any other node or an empty block. The writing form makes the block
    /// this node's own first.
    const void* GetRawData() const;
    void* GetRawData();
    /// Copies up to `size` bytes of the raw block; 1 when that many were there, otherwise 0 and nothing is
    /// copied.
    int GetRawData(void* destination, unsigned size) const;
    /// The block, kept alive by the result; null for any other node.
    std::shared_ptr<const void> ShareRawData() const;

    /// The value as a record of a fixed type: of a raw block its first bytes, of a number the number
    /// converted.
    /// @throws CIPVariableException  "Variable is EMPTY", "Variable size is small"; source
    /// "CIPVariable::Value"
    template <typename T>
    T Value() const
    {
        static_assert(std::is_trivially_copyable_v<T>);
        if constexpr (std::is_same_v<T, int>) {
            if (IsNumber()) {
                return GetInt();
            }
        } else if constexpr (std::is_same_v<T, unsigned>) {
            if (IsNumber()) {
                return GetUnsigned();
            }
        } else if constexpr (std::is_same_v<T, double>) {
            if (IsNumber()) {
                return GetDouble();
            }
        }
        T value;
        std::memcpy(&value, CheckedData(sizeof(T)), sizeof(T));
        return value;
    }

    /// Same types, names, values and children in the same order; flags do not count. Doubles by their bits.
    bool operator==(const CIPVariable& other) const;

private:
    struct T_RAW {
        std::shared_ptr<const void> data;
        unsigned size = 0;
        bool own = false; // made here, so it may be written while nobody else holds it
    };
    static T_RAW MakeRaw(const void* data, unsigned size);
    bool IsNumber() const;
    const void* CheckedData(std::size_t size) const;
    CIPVariable& PutChild(const char* name, CIPVariable&& child);
    template <typename T>
    CIPVariable& PutValue(const char* name, T value, unsigned flags);
    void CopyNode(const CIPVariable& other);
    bool IsSameNode(const CIPVariable& other) const;
    void Swap(CIPVariable& other) noexcept;

    eIP_VARIABLE_TYPE m_type = IPVAR_TREE;
    unsigned m_flags = 0;
    CStringA m_name;
    std::variant<std::monostate, int, unsigned, double, CStringA, CString, T_RAW> m_value;
    std::vector<CIPVariable> m_children;
    struct T_CONVERTED;
    mutable std::unique_ptr<T_CONVERTED> m_converted; // texts made for readers
};

} // namespace alidade
