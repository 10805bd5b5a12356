#include "foundation/platform/Text.h"
#include "layout/LayoutWalk.h"
#include "tools/layout/LayoutJson.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

namespace alidade {
namespace {

constexpr std::size_t kMostIndent = 32; // a deep tree would be mostly blanks

CStringA Quoted(const CString& text)
{
    return nlohmann::json(ToNarrow(text)).dump();
}

/// An integer that stands for a truth value: its own number where it is neither 0 nor 1.
CStringA Flag(int value)
{
    return value == 0 ? "false" : value == 1 ? "true" : std::to_string(value);
}

/// Writes objects and arrays with a line for each member.
class CJsonLines {
public:
    void Open(char bracket)
    {
        m_text += bracket;
        m_closing += bracket == '{' ? '}' : ']';
        m_empty = true;
    }
    void Close()
    {
        const char bracket = m_closing.back();
        m_closing.pop_back();
        if (!m_empty) {
            BreakLine();
        }
        m_text += bracket;
        m_empty = false;
    }
    /// Begins a member of an array.
    void Member()
    {
        m_text += m_empty ? "" : ",";
        BreakLine();
        m_empty = false;
    }
    /// Begins a member of an object.
    void Member(const CStringA& quotedKey)
    {
        Member();
        m_text += quotedKey + ": ";
    }
    void Value(std::string_view text) { m_text += text; }

    CStringA TakeText() { return std::move(m_text); }

private:
    void BreakLine() { m_text.append("\n").append(2 * std::min(m_closing.size(), kMostIndent), ' '); }

    CStringA m_text;
    CStringA m_closing;
    bool m_empty = true;
};

bool HaveKeysOfTheirOwn(const CProfileSection& section)
{
    std::set<std::wstring_view> keys;
    return std::all_of(section.m_items.begin(), section.m_items.end(),
                       [&](const CProfileItem* item) { return keys.insert(item->m_strKey).second; });
}

/// Sections are no deeper than a file may hold them.
void WriteSection(CJsonLines& lines, const CProfileSection& section)
{
    lines.Open('{');
    if (!section.m_strName.empty()) {
        lines.Member("\"name\"");
        lines.Value(Quoted(section.m_strName));
    }
    if (section.m_items.Count() > 0) {
        const bool object = HaveKeysOfTheirOwn(section);
        lines.Member("\"items\"");
        lines.Open(object ? '{' : '[');
        for (const CProfileItem* item : section.m_items) {
            if (object) {
                lines.Member(Quoted(item->m_strKey));
                lines.Value(Quoted(item->m_strValue));
            } else {
                lines.Member();
                lines.Value("[");
                lines.Value(Quoted(item->m_strKey));
                lines.Value(", ");
                lines.Value(Quoted(item->m_strValue));
                lines.Value("]");
            }
        }
        lines.Close();
    }
    if (section.m_sections.Count() > 0) {
        lines.Member("\"sections\"");
        lines.Open('[');
        for (const CProfileSection* child : section.m_sections) {
            lines.Member();
            WriteSection(lines, *child);
        }
        lines.Close();
    }
    lines.Close();
}

void WriteFields(CJsonLines& lines, const CCameraLayoutItem& node)
{
    const bool pane = node.m_bPane != 0;
    const auto write = [&](const char* key, const CStringA& value, bool needed) {
        if (needed) {
            lines.Member(key);
            lines.Value(value);
        }
    };
    write("\"pane\"", Flag(node.m_bPane), true);
    write("\"name\"", Quoted(node.m_strName), true);
    write("\"reserved1\"", std::to_string(node.m_nReserved1), node.m_nReserved1 != 0);
    write("\"reserved2\"", std::to_string(node.m_nReserved2), node.m_nReserved2 != 0);
    write("\"caption\"", Flag(node.m_bCaption), node.m_bCaption != 0);
    write("\"tabbed\"", Flag(node.m_bTabbed), pane || node.m_bTabbed != 0);
    write("\"stacked\"", Flag(node.m_bStacked), pane || node.m_bStacked != 0);
    write("\"grabber\"", Quoted(node.m_strFrameGrabber), !pane || !node.m_strFrameGrabber.empty());
    write("\"camera\"", Quoted(node.m_strCamera), !pane || !node.m_strCamera.empty());
    if (!pane || !(node.m_settings == CProfileSection())) {
        lines.Member("\"settings\"");
        WriteSection(lines, node.m_settings);
    }
}

} // namespace

CStringA LayoutToJson(const CCameraLayoutItem& item)
{
    CJsonLines lines;
    const auto hasList = [](const CCameraLayoutItem& node) {
        return node.m_bPane != 0 || node.m_children.Count() > 0;
    };
    const auto enter = [&](const CCameraLayoutItem& node) {
        if (&node != &item) {
            lines.Member();
        }
        lines.Open('{');
        WriteFields(lines, node);
        if (hasList(node)) {
            lines.Member("\"children\"");
            lines.Open('[');
        }
    };
    const auto leave = [&](const CCameraLayoutItem& node) {
        if (hasList(node)) {
            lines.Close();
        }
        lines.Close();
    };
    WalkLayout(item, enter, leave);
    return lines.TakeText() + "\n";
}

} // namespace alidade
