#include "foundation/bus/text/VariableJson.h"

#include "foundation/platform/Text.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>
#include <unordered_set>

namespace alidade {
namespace {

constexpr unsigned kMostHex = 256;

CStringA Dump(const nlohmann::json& value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

CStringA DumpRaw(const CIPVariable& node)
{
    CStringA text = "{\"bytes\":" + std::to_string(node.GetSize());
    if (node.GetSize() <= kMostHex) {
        static constexpr char kDigits[] = "0123456789abcdef";
        text += ",\"hex\":\"";
        const auto* bytes = static_cast<const BYTE*>(node.GetRawData());
        for (unsigned i = 0; i < node.GetSize(); ++i) {
            text += kDigits[bytes[i] >> 4];
            text += kDigits[bytes[i] & 15];
        }
        text += '"';
    }
    return text + '}';
}

CStringA DumpValue(const CIPVariable& node)
{
    if (!node.HasValue()) {
        return node.GetType() == IPVAR_TREE ? "{}" : "null";
    }
    switch (node.GetType()) {
    case IPVAR_INT:
        return std::to_string(node.GetInt());
    case IPVAR_UINT:
        return std::to_string(node.GetUnsigned());
    case IPVAR_DOUBLE:
        return std::isfinite(node.GetDouble()) ? Dump(node.GetDouble()) : Dump(node.GetString());
    case IPVAR_RAW:
        return DumpRaw(node);
    default:
        return Dump(node.GetString());
    }
}

bool IsImage(const CIPVariable& node)
{
    return !node.HasValue() && node.GetChildCount() == 4 && node.IsChildItem("rows", IPVAR_INT) != 0 &&
           node.IsChildItem("cols", IPVAR_INT) != 0 && node.IsChildItem("type", IPVAR_INT) != 0 &&
           node.IsChildItem("data", IPVAR_RAW) != 0;
}

CStringA DumpImage(const CIPVariable& node)
{
    CStringA text = "{";
    for (const char* name : {"rows", "cols", "type"}) {
        text += '"';
        text += name;
        text += "\":" + std::to_string(node(name, 0)) + ',';
    }
    return text + "\"bytes\":" + std::to_string(node("data").GetSize()) + '}';
}

bool HaveNamesOfTheirOwn(const std::vector<CIPVariable>& nodes)
{
    std::unordered_set<std::string_view> names;
    for (const CIPVariable& node : nodes) {
        if (node.GetName()[0] == '\0' || !names.insert(node.GetName()).second) {
            return false;
        }
    }
    return true;
}

/// Children that are being written, and what closes them.
struct T_OPEN {
    const std::vector<CIPVariable>* nodes;
    std::size_t next;
    bool object;
    const char* closing;
};

} // namespace

CStringA VariableToJson(const CIPVariable& variable)
{
    CStringA text;
    std::vector<T_OPEN> open;
    // Writes the node, or as much as stands before its children, which then lie on the stack.
    const auto writeNode = [&](const CIPVariable& node, bool closeMember) {
        const char* member = closeMember ? "}" : "";
        if (IsImage(node)) {
            text += DumpImage(node) + member;
        } else if (node.GetChildCount() == 0) {
            text += DumpValue(node) + member;
        } else {
            const bool object = HaveNamesOfTheirOwn(node.GetChildren());
            const bool both = node.HasValue();
            if (both) {
                text += "{\"value\":" + DumpValue(node) + ",\"children\":";
            }
            text += object ? '{' : '[';
            static constexpr const char* kClosing[2][2][2] = {{{"]", "]}"}, {"]}", "]}}"}},
                                                              {{"}", "}}"}, {"}}", "}}}"}}};
            open.push_back({&node.GetChildren(), 0, object, kClosing[object][both][closeMember]});
        }
    };
    writeNode(variable, false);
    while (!open.empty()) {
        T_OPEN& top = open.back();
        if (top.next == top.nodes->size()) {
            text += top.closing;
            open.pop_back();
            continue;
        }
        text += top.next != 0 ? "," : "";
        const CIPVariable& node = (*top.nodes)[top.next++];
        const bool named = node.GetName()[0] != '\0';
        if (named) {
            text += top.object ? "" : "{";
            text += Dump(node.GetName()) + ':';
        }
        writeNode(node, named && !top.object);
    }
    return text;
}

} // namespace alidade
