#include "foundation/bus/wire/VariableCbor.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cwchar>
#include <limits>

namespace alidade {
namespace {

constexpr std::size_t kLongestPlace = 200;

/// What a document of the variable takes.
struct T_MEASURE {
    std::size_t bytes = 0; // at least, and about
    std::size_t nodes = 0;
    std::size_t depth = 0;
};

T_MEASURE Measure(const CIPVariable& variable, bool withSharedBlocks)
{
    T_MEASURE measure;
    std::vector<std::pair<const CIPVariable*, std::size_t>> pending{{&variable, 1}};
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        ++measure.nodes;
        measure.depth = std::max(measure.depth, depth);
        // Heads of the node, its type, name, value and children.
        measure.bytes += 8 + std::strlen(node->GetName());
        switch (node->GetType()) {
        case IPVAR_STRING:
            measure.bytes += node->GetSize();
            break;
        case IPVAR_WSTRING:
            measure.bytes += std::wcslen(node->GetWideString());
            break;
        case IPVAR_RAW:
            measure.bytes += withSharedBlocks || node->GetSize() < kCborSharedBytes ? node->GetSize() : 8;
            break;
        default:
            measure.bytes += sizeof(double);
            break;
        }
        for (const CIPVariable& child : node->GetChildren()) {
            pending.emplace_back(&child, depth + 1);
        }
    }
    return measure;
}

void WriteValue(CCborWriter& writer, const CIPVariable& node)
{
    if (!node.HasValue()) {
        writer.WriteNull();
        return;
    }
    switch (node.GetType()) {
    case IPVAR_INT:
        writer.WriteInt(node.GetInt());
        break;
    case IPVAR_UINT:
        writer.WriteUnsigned(node.GetUnsigned());
        break;
    case IPVAR_DOUBLE:
        writer.WriteDouble(node.GetDouble());
        break;
    case IPVAR_STRING:
        writer.WriteText(node.GetString());
        break;
    case IPVAR_WSTRING:
        writer.WriteText(ToNarrow(node.GetWideString()));
        break;
    case IPVAR_RAW:
        writer.WriteShared(node.ShareRawData(), node.GetSize());
        break;
    default:
        writer.WriteNull();
        break;
    }
}

void WriteNode(CCborWriter& writer, const CIPVariable& node)
{
    const std::size_t children = node.GetChildren().size();
    writer.BeginArray(children != 0 ? 4 : 3);
    writer.WriteUnsigned(node.GetType());
    writer.WriteText(node.GetName());
    WriteValue(writer, node);
    if (children != 0) {
        writer.BeginArray(children);
    }
}

/// Reads one variable; the nodes that are open lie on a stack of its own.
class CTreeReader {
public:
    explicit CTreeReader(CCborReader& reader) : m_reader(reader) {}

    bool Read(CIPVariable& root)
    {
        if (ReadTree(root)) {
            return true;
        }
        const CString place = GetPlace();
        m_reader.AddToError(place.empty() ? L"" : L", in " + place);
        return false;
    }

private:
    struct T_OPEN {
        CIPVariable* node;
        CCborReader::T_SEQUENCE elements;
        CCborReader::T_SEQUENCE children;
    };

    bool ReadTree(CIPVariable& root)
    {
        if (!ReadNode(root)) {
            return false;
        }
        while (!m_open.empty()) {
            T_OPEN& top = m_open.back();
            if (m_reader.HasMore(top.children)) {
                if (!ReadNode(top.node->AddChildItem(CIPVariable()))) {
                    return false;
                }
            } else if (!EndNode(top)) {
                return false;
            } else {
                m_open.pop_back();
            }
        }
        return true;
    }

    /// The place of the present node in the tree, as "A.B[2]"; empty for the outermost.
    CString GetPlace() const
    {
        CString place;
        for (std::size_t i = 0; i < m_open.size() && m_open[i].node != m_current; ++i) {
            const CIPVariable* child = i + 1 < m_open.size() ? m_open[i + 1].node : m_current;
            if (child->GetName()[0] != '\0') {
                place += (place.empty() ? L"" : L".") + ToWide(child->GetName());
            } else {
                place += L'[' + std::to_wstring(m_open[i].node->GetChildCount() - 1) + L']';
            }
        }
        return place.size() <= kLongestPlace ? place : place.substr(0, kLongestPlace) + L"...";
    }

    bool ReadNode(CIPVariable& node)
    {
        m_current = &node;
        if (m_open.size() >= m_reader.GetLimits().depth) {
            return m_reader.Fail(Format(L"the variable is nested deeper than %zu levels", m_open.size()));
        }
        if (++m_nodes > m_reader.GetLimits().nodes) {
            return m_reader.Fail(Format(L"the variable has more than %zu nodes", m_nodes - 1));
        }
        T_OPEN open{&node, {}, {}};
        if (m_reader.Peek() != eCBOR_KIND::Array) {
            return m_reader.Fail(L"a node is due: an array of type, name, value and children");
        }
        m_reader.BeginArray(open.elements);
        if (!m_reader.HasMore(open.elements)) {
            return m_reader.Fail(L"a node has no type");
        }
        if (!ReadTypeAndName(node, open.elements) || !m_reader.IsOk()) {
            return false;
        }
        if (!m_reader.HasMore(open.elements)) {
            return m_reader.IsOk();
        }
        if (!m_reader.SkipNull() && !ReadValue(node)) {
            return false;
        }
        if (!m_reader.HasMore(open.elements)) {
            return m_reader.IsOk();
        }
        if (m_reader.SkipNull()) {
            return EndNode(open);
        }
        if (m_reader.Peek() != eCBOR_KIND::Array) {
            return m_reader.Fail(L"children are due: an array of nodes");
        }
        m_reader.BeginArray(open.children);
        if (!open.children.indefinite) {
            // Each takes a byte at the very least, but a node many: room for a few is enough to begin with.
            node.ReserveChildItems(static_cast<std::size_t>(std::min<std::uint64_t>(open.children.left, 64)));
        }
        m_open.push_back(open);
        return true;
    }

    bool EndNode(T_OPEN& ending)
    {
        m_current = ending.node;
        if (m_reader.HasMore(ending.elements)) {
            return m_reader.Fail(L"a node has more than a type, a name, a value and children");
        }
        return m_reader.IsOk();
    }

    bool ReadTypeAndName(CIPVariable& node, CCborReader::T_SEQUENCE& elements)
    {
        if (m_reader.Peek() != eCBOR_KIND::Unsigned) {
            return m_reader.Fail(L"a node's type is due: an integer");
        }
        const std::size_t at = m_reader.GetOffset();
        std::uint64_t type = 0;
        m_reader.ReadUnsigned(type);
        static_assert(IPVAR_WSTRING == 5);
        if (type > IPVAR_WSTRING && type != IPVAR_RAW) {
            return m_reader.Fail(Format(L"there is no variable of type %llu (byte %zu)",
                                        static_cast<unsigned long long>(type), at));
        }
        std::string_view name;
        if (m_reader.HasMore(elements) && !m_reader.SkipNull()) {
            if (m_reader.Peek() != eCBOR_KIND::Text) {
                return m_reader.Fail(L"a node's name is due: a text or null");
            }
            if (!ReadText(name)) {
                return false;
            }
        }
        node = CIPVariable(static_cast<eIP_VARIABLE_TYPE>(type), CStringA(name).c_str());
        return true;
    }

    /// A text without a zero character, which no reader of a variable would see whole.
    bool ReadText(std::string_view& text)
    {
        if (!m_reader.ReadText(text, m_textStore)) {
            return false;
        }
        if (text.find('\0') != std::string_view::npos) {
            return m_reader.Fail(L"a text holds a zero character");
        }
        return true;
    }

    bool ReadValue(CIPVariable& node)
    {
        std::int64_t integer = 0;
        double number = 0.0;
        std::string_view text;
        switch (node.GetType()) {
        case IPVAR_INT:
            if (m_reader.ReadInt(integer, INT32_MIN, INT32_MAX)) {
                node.SetValue(static_cast<int>(integer));
            }
            break;
        case IPVAR_UINT:
            if (m_reader.ReadInt(integer, 0, UINT32_MAX)) {
                node.SetValue(static_cast<unsigned>(integer));
            }
            break;
        case IPVAR_DOUBLE:
            if (m_reader.ReadDouble(number)) {
                node.SetValue(number);
            }
            break;
        case IPVAR_STRING:
            if (ReadText(text)) {
                node.SetValue(CStringA(text).c_str());
            }
            break;
        case IPVAR_WSTRING:
            if (ReadText(text)) {
                node.SetValue(ToWide(text).c_str());
            }
            break;
        case IPVAR_RAW:
            ReadRaw(node);
            break;
        default:
            m_reader.Fail(L"a plain node has no value of its own: null is due");
            break;
        }
        return m_reader.IsOk();
    }

    void ReadRaw(CIPVariable& node)
    {
        std::shared_ptr<const void> shared;
        std::size_t size = 0;
        std::span<const std::uint8_t> view;
        constexpr std::size_t kMost = std::numeric_limits<unsigned>::max();
        if (m_reader.ReadShared(shared, size)) {
            if (size <= kMost) {
                node.SetShared(std::move(shared), static_cast<unsigned>(size));
                return;
            }
        } else if (!m_reader.ReadBytes(view, m_byteStore)) {
            return;
        } else if (view.size() <= kMost) {
            node.SetValue(view.empty() ? nullptr : view.data(), static_cast<unsigned>(view.size()));
            return;
        }
        m_reader.Fail(L"a raw block has 4 GiB or more");
    }

    CCborReader& m_reader;
    std::vector<T_OPEN> m_open;
    const CIPVariable* m_current = nullptr;
    std::size_t m_nodes = 0;
    CStringA m_textStore;
    std::vector<std::uint8_t> m_byteStore;
};

} // namespace

void WriteVariable(CCborWriter& writer, const CIPVariable& variable)
{
    using Children = std::span<const CIPVariable>;
    WriteNode(writer, variable);
    std::vector<Children> open{Children(variable.GetChildren())};
    while (!open.empty()) {
        Children& left = open.back();
        if (left.empty()) {
            open.pop_back();
            continue;
        }
        const CIPVariable& node = left.front();
        left = left.subspan(1);
        WriteNode(writer, node);
        if (!node.GetChildren().empty()) {
            open.emplace_back(node.GetChildren());
        }
    }
}

bool ReadVariable(CCborReader& reader, CIPVariable& variable)
{
    CIPVariable read;
    if (!CTreeReader(reader).Read(read)) {
        return false;
    }
    variable = std::move(read);
    return true;
}

std::size_t EncodeVariable(const CIPVariable& variable, std::vector<std::uint8_t>& out,
                           std::vector<T_CBOR_BLOCK>* blocks)
{
    const std::size_t before = out.size();
    const std::size_t blocksBefore = blocks != nullptr ? blocks->size() : 0;
    CCborWriter writer(out, blocks);
    writer.Reserve(Measure(variable, blocks == nullptr).bytes);
    WriteVariable(writer, variable);
    std::size_t size = out.size() - before;
    for (std::size_t i = blocksBefore; blocks != nullptr && i < blocks->size(); ++i) {
        size += (*blocks)[i].size;
    }
    return size;
}

bool CheckVariable(const CIPVariable& variable, CString& error, const T_CBOR_LIMITS& limits)
{
    const T_MEASURE measure = Measure(variable, true);
    if (measure.depth > limits.depth) {
        error = Format(L"The variable is nested deeper than %zu levels", limits.depth);
    } else if (measure.nodes > limits.nodes) {
        error = Format(L"The variable has more than %zu nodes", limits.nodes);
    } else if (measure.bytes > limits.bytes) {
        error = Format(L"The variable has some %zu bytes, more than the %zu that are taken", measure.bytes,
                       limits.bytes);
    } else {
        return true;
    }
    return false;
}

bool DecodeVariable(std::span<const std::uint8_t> data, CIPVariable& variable, CString& error,
                    const T_CBOR_LIMITS& limits, std::shared_ptr<const void> owner)
{
    CCborReader reader(data, limits, std::move(owner));
    CIPVariable read;
    if (!ReadVariable(reader, read) || !reader.Finish()) {
        error = reader.GetError();
        return false;
    }
    variable = std::move(read);
    return true;
}

} // namespace alidade
