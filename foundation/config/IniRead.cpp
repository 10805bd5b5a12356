#include "foundation/config/IniRead.h"

#include "foundation/config/IniEscape.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/ListAppend.h"

#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION // UTF-8 goes through as it is
#include <SimpleIni.h>

#include <algorithm>
#include <unordered_map>

namespace alidade {
namespace {

/// Finds sections and items by hash: the lists themselves are searched in line.
class CTreeBuilder {
public:
    explicit CTreeBuilder(CProfileSection& root) { m_nodes[""].section = &root; }

    struct Node {
        CProfileSection* section = nullptr;
        std::unordered_map<CString, CProfileItem*> items;
    };

    Node& Section(std::string_view path)
    {
        CStringA at;
        Node* node = &m_nodes[at];
        for (const CString& name : SplitSectionPath(path)) {
            at.append("/").append(EscapeName(name));
            Node& child = m_nodes[at];
            if (child.section == nullptr) {
                child.section =
                    &Append(node->section->m_sections, std::make_unique<CProfileSection>(name.c_str()));
                child.section->m_strName = name;
            }
            node = &child;
        }
        return *node;
    }

    static void Set(Node& node, CString key, CString value, CString comment)
    {
        CProfileItem*& item = node.items[key];
        if (item == nullptr) {
            item = &Append(node.section->m_items, std::make_unique<CProfileItem>(nullptr, nullptr));
            item->m_strKey = std::move(key);
            item->m_strComment = std::move(comment);
        }
        item->m_strValue = std::move(value);
    }

private:
    std::unordered_map<CStringA, Node> m_nodes;
};

/// The last run of comment lines: an earlier one, with a blank line behind it, heads a group.
std::string_view LastRun(std::string_view comment)
{
    const std::size_t blank = comment.rfind("\n\n");
    return blank == std::string_view::npos ? comment : comment.substr(blank + 2);
}

} // namespace

CString CommentText(std::string_view lines)
{
    CStringA text;
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        std::string_view line = Trim(lines.substr(0, end));
        lines.remove_prefix(std::min(end + 1, lines.size()));
        line.remove_prefix(line.empty() ? 0 : 1);
        line.remove_prefix(line.starts_with(' ') ? 1 : 0);
        text.append(line).append(lines.empty() ? "" : "\n");
    }
    return ToWide(text);
}

bool ReadIni(std::string_view text, CProfileSection& root)
{
    CSimpleIniCaseA ini(true, false, false);
    if (ini.LoadData(text.data(), text.size()) < 0) {
        return false;
    }
    CProfileSection read;
    CTreeBuilder tree(read);
    CSimpleIniCaseA::TNamesDepend sections;
    ini.GetAllSections(sections);
    sections.sort(CSimpleIniCaseA::Entry::LoadOrder());
    for (const auto& section : sections) {
        CTreeBuilder::Node& node = tree.Section(section.pItem);
        CSimpleIniCaseA::TNamesDepend keys;
        ini.GetAllKeys(section.pItem, keys);
        keys.sort(CSimpleIniCaseA::Entry::LoadOrder());
        for (const auto& key : keys) {
            const char* value = ini.GetValue(section.pItem, key.pItem, "");
            const std::string_view comment = key.pComment != nullptr ? key.pComment : "";
            CTreeBuilder::Set(node, UnescapeKey(key.pItem), UnescapeValue(value),
                              CommentText(LastRun(comment)));
        }
    }
    root = std::move(read);
    return true;
}

} // namespace alidade
