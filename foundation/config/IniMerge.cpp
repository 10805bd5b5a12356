#include "foundation/config/IniMerge.h"

#include "foundation/config/IniEscape.h"
#include "foundation/config/IniRead.h"
#include "foundation/config/IniText.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace alidade {
namespace {

using Line = std::int64_t; // number of a line, from 0
constexpr Line kNowhere = -1;
constexpr Line kTop = -1; // what stands behind this line stands before the first

/// A setting to be written, and the line of the text that has it: the last one, for that one counts.
struct T_ITEM {
    const CProfileItem* item = nullptr;
    CStringA key;
    Line line = kNowhere;
};

/// A section to be written, and where the text has it.
struct T_SECTION {
    CStringA path;
    bool needsHeading = false; // without one it would not be read back
    std::vector<T_ITEM> items;
    std::unordered_map<CStringA, std::size_t> byKey;
    Line heading = kNowhere;  // its last heading
    Line blockEnd = kNowhere; // the last line that belongs to it
};

/// All that is to be written, parents before their children. The first section stands for the settings that
/// no heading precedes.
class CWanted {
public:
    explicit CWanted(const CProfileSection& root)
    {
        Add(root, {}, 0);
        sections.front().needsHeading = false;
    }

    T_SECTION* Find(std::string_view path)
    {
        const auto found = m_byPath.find(NormalSectionPath(path));
        return found != m_byPath.end() ? &sections[found->second] : nullptr;
    }
    static T_ITEM* FindItem(T_SECTION& section, std::string_view key)
    {
        const auto found = section.byKey.find(EscapeKey(UnescapeKey(key)));
        return found != section.byKey.end() ? &section.items[found->second] : nullptr;
    }

    std::vector<T_SECTION> sections;

private:
    /// Goes one level deeper than a file may: the check of the written text then finds it.
    void Add(const CProfileSection& section, const CStringA& path, std::size_t depth)
    {
        const auto [found, isNew] = m_byPath.try_emplace(path, sections.size());
        if (isNew) {
            sections.emplace_back().path = path;
        }
        T_SECTION& target = sections[found->second];
        for (const CProfileItem* item : section.m_items) {
            CStringA key = EscapeKey(item->m_strKey);
            // Of equal keys the first is the one that counts in memory.
            if (target.byKey.try_emplace(key, target.items.size()).second) {
                target.items.push_back({item, std::move(key), kNowhere});
            }
        }
        const bool isLast = section.m_sections.Count() == 0 || depth > kMaxSectionDepth;
        target.needsHeading = !target.items.empty() || isLast;
        if (!isLast) {
            for (const CProfileSection* child : section.m_sections) {
                Add(*child, (path.empty() ? CStringA() : path + "/") + EscapeName(child->m_strName),
                    depth + 1);
            }
        }
    }

    std::unordered_map<CStringA, std::size_t> m_byPath;
};

/// A run of comment lines with nothing between.
struct T_RUN {
    Line start = kNowhere;
    Line end = kNowhere; // the line behind it
    std::string text;
};

/// What is found in a text on the way to changing it.
struct T_FINDINGS {
    std::string newLine; // how lines end
    std::string equals;  // how a key is parted from its value
    Line topEnd = kTop;  // the last line of the comment that heads the file and of the blank lines behind it
    std::map<Line, Line> droppedComments;    // first line and the line behind the last
    std::map<Line, std::string> newComments; // by the line that they come before
};

std::string CommentLines(const CString& comment, const std::string& newLine)
{
    std::string out;
    for (std::wstring_view rest = comment; !rest.empty();) {
        const std::size_t end = std::min(rest.find(L'\n'), rest.size());
        CStringA line = "; " + ToNarrow(rest.substr(0, end));
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; }, ' ');
        out.append(line, 0, line.find_last_not_of(' ') + 1).append(newLine);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return out;
}

/// First walk: finds what of `wanted` the text has, and where.
class CLocator {
public:
    CLocator(CWanted& wanted, T_FINDINGS& findings)
        : m_wanted(wanted), m_findings(findings), m_pSection(&wanted.sections.front())
    {
    }

    void Run(std::string_view text)
    {
        FindManner(text);
        CIniLines lines(text);
        T_INI_LINE line;
        for (; lines.Next(line); ++m_number) {
            switch (line.kind) {
            case T_INI_LINE::COMMENT:
                Comment(line);
                break;
            case T_INI_LINE::BLANK:
                Blank();
                break;
            default:
                Own(line);
                break;
            }
        }
        if (m_head == IN_COMMENT) {
            m_findings.topEnd = m_number - 1;
        }
        TakeComment();
        CloseBlock();
    }

private:
    enum eHEAD { IN_COMMENT, IN_BLANKS, OVER };

    void FindManner(std::string_view text)
    {
        CIniLines lines(text);
        T_INI_LINE line;
        while ((m_findings.newLine.empty() || m_findings.equals.empty()) && lines.Next(line)) {
            if (m_findings.newLine.empty()) {
                m_findings.newLine = line.end;
            }
            if (line.kind == T_INI_LINE::ENTRY && !line.value.empty() && m_findings.equals.empty()) {
                const bool spaced = line.value.data()[-1] == ' ' && line.name.data()[line.name.size()] == ' ';
                m_findings.equals = spaced ? " = " : "=";
            }
        }
        m_findings.newLine = m_findings.newLine.empty() ? "\n" : m_findings.newLine;
        m_findings.equals = m_findings.equals.empty() ? "=" : m_findings.equals;
    }

    void Comment(const T_INI_LINE& line)
    {
        if (m_run.end != m_number) {
            m_run = {m_number, m_number, {}};
        }
        m_run.end = m_number + 1;
        m_run.text.append(line.text).append("\n");
        m_head = m_head == IN_COMMENT ? IN_COMMENT : OVER;
    }

    void Blank()
    {
        const bool heads = m_head == IN_BLANKS || (m_head == IN_COMMENT && m_number > 0);
        m_findings.topEnd = heads ? m_number : m_findings.topEnd;
        m_head = heads ? IN_BLANKS : OVER;
        TakeComment();
        m_adjoins = false;
    }

    void Own(const T_INI_LINE& line)
    {
        if (line.kind == T_INI_LINE::SECTION) {
            CloseBlock();
            m_pSection = m_wanted.Find(line.name);
            if (m_pSection != nullptr) {
                m_pSection->heading = m_number;
            }
        } else if (T_ITEM* item =
                       m_pSection != nullptr ? CWanted::FindItem(*m_pSection, line.name) : nullptr) {
            if (item->line == kNowhere) {
                CompareComment(item->item->m_strComment);
            }
            item->line = m_number;
        }
        m_head = OVER;
        m_lastOwn = m_number;
        m_adjoins = true;
        m_run = {};
    }

    /// Comment lines at once behind a section's last setting, with a blank line behind them, are the
    /// section's.
    void TakeComment()
    {
        if (m_adjoins && m_run.end == m_number) {
            m_lastOwn = m_number - 1;
        }
    }

    void CloseBlock()
    {
        if (m_pSection != nullptr) {
            m_pSection->blockEnd = m_lastOwn;
        }
    }

    void CompareComment(const CString& wanted)
    {
        if (wanted.empty() || m_run.text.ends_with(CommentLines(wanted, "\n")) ||
            CommentText(m_run.text) == wanted) {
            return;
        }
        // Only lines at once before the setting, and not the head of the file, are its own.
        if (m_run.end == m_number && m_run.start > 0) {
            m_findings.droppedComments[m_run.start] = m_run.end;
        }
        m_findings.newComments[m_number] = CommentLines(wanted, m_findings.newLine);
    }

    CWanted& m_wanted;
    T_FINDINGS& m_findings;
    T_SECTION* m_pSection; // null in one that is not wanted
    Line m_number = 0;
    eHEAD m_head = IN_COMMENT;
    T_RUN m_run;           // the latest since the last setting or heading
    Line m_lastOwn = kTop; // the last line that belongs to the section
    bool m_adjoins = true; // no blank line since
};

/// Second walk: writes the text anew.
class CWriter {
public:
    CWriter(CWanted& wanted, const T_FINDINGS& findings)
        : m_wanted(wanted), m_findings(findings), m_pSection(&wanted.sections.front())
    {
        PlaceNew();
    }

    std::string Run(std::string_view text)
    {
        Insert(kTop);
        CIniLines lines(text);
        T_INI_LINE line;
        for (Line number = 0; lines.Next(line); ++number) {
            if (line.kind == T_INI_LINE::SECTION) {
                m_out += std::exchange(m_held, {});
                m_pSection = m_wanted.Find(line.name);
            }
            if (m_pSection == nullptr) {
                Drop(line);
            } else {
                Keep(line, number);
                Insert(number);
            }
        }
        if (m_isApart) {
            m_out += m_held;
        }
        return std::move(m_out);
    }

private:
    /// Text to be put behind a line: settings of the section that is there, then new sections.
    struct T_INSERTION {
        std::string settings;
        std::vector<std::string> sections;
    };

    std::string Setting(const T_ITEM& item) const
    {
        return CommentLines(item.item->m_strComment, m_findings.newLine) + item.key + m_findings.equals +
               EscapeValue(item.item->m_strValue) + m_findings.newLine;
    }

    /// Decides behind which lines new settings and sections go.
    void PlaceNew()
    {
        Line behindSection = m_findings.topEnd;
        for (T_SECTION& section : m_wanted.sections) {
            const bool isTop = &section == &m_wanted.sections.front();
            if (isTop || section.heading != kNowhere) {
                Line behind = isTop && section.heading == kNowhere ? m_findings.topEnd : section.heading;
                for (const T_ITEM& item : section.items) {
                    if (item.line != kNowhere) {
                        behind = item.line;
                    } else {
                        m_insertions[behind].settings += Setting(item);
                    }
                }
                behindSection = isTop ? std::max(m_findings.topEnd, section.blockEnd) : section.blockEnd;
            } else if (section.needsHeading) {
                std::string text = "[" + section.path + "]" + m_findings.newLine;
                for (const T_ITEM& item : section.items) {
                    text += Setting(item);
                }
                m_insertions[behindSection].sections.push_back(std::move(text));
            }
        }
    }

    void Insert(Line behind)
    {
        const auto found = m_insertions.find(behind);
        if (found == m_insertions.end()) {
            return;
        }
        const T_INSERTION& insertion = found->second;
        if (!insertion.settings.empty()) {
            EndLine();
            m_out += insertion.settings;
            m_needsBlank = behind == m_findings.topEnd;
        }
        for (const std::string& section : insertion.sections) {
            EndLine();
            BlankLine();
            m_out += section;
            m_needsBlank = true;
        }
    }

    void EndLine()
    {
        if (!m_out.empty() && m_out.back() != '\n' && m_out.back() != '\r') {
            m_out += m_findings.newLine;
        }
    }

    void BlankLine()
    {
        const std::string& end = m_findings.newLine;
        if (!m_out.empty() && !m_out.ends_with(end + end)) {
            m_out += end;
        }
    }

    void Keep(const T_INI_LINE& line, Line number)
    {
        T_ITEM* item = line.kind == T_INI_LINE::ENTRY ? CWanted::FindItem(*m_pSection, line.name) : nullptr;
        if (line.kind == T_INI_LINE::ENTRY && item == nullptr) {
            return;
        }
        if (const auto dropped = m_findings.droppedComments.upper_bound(number);
            dropped != m_findings.droppedComments.begin() && number < std::prev(dropped)->second) {
            return;
        }
        EndLine();
        if (std::exchange(m_needsBlank, false) && line.kind != T_INI_LINE::BLANK && item == nullptr) {
            BlankLine();
        }
        if (const auto comment = m_findings.newComments.find(number);
            comment != m_findings.newComments.end()) {
            m_out += comment->second;
        }
        if (item != nullptr && item->line == number && UnescapeValue(line.value) != item->item->m_strValue) {
            Change(line, EscapeValue(item->item->m_strValue));
        } else {
            m_out.append(line.text).append(line.end);
        }
    }

    void Change(const T_INI_LINE& line, const CStringA& value)
    {
        const std::string_view before(line.text.data(),
                                      static_cast<std::size_t>(line.value.data() - line.text.data()));
        m_out.append(before);
        if (before.ends_with(" =")) {
            m_out += ' ';
        }
        m_out.append(value).append(line.end);
    }

    /// A section that is not wanted goes, but for comments that stand at once before the next heading, or
    /// apart at the end of the file.
    void Drop(const T_INI_LINE& line)
    {
        if (line.kind == T_INI_LINE::COMMENT) {
            m_held.append(line.text).append(line.end);
        } else {
            m_held.clear();
            m_isApart = line.kind == T_INI_LINE::BLANK;
        }
    }

    CWanted& m_wanted;
    const T_FINDINGS& m_findings;
    T_SECTION* m_pSection;
    std::map<Line, T_INSERTION> m_insertions;
    std::string m_out;
    bool m_needsBlank = false; // before the next line that is not blank
    std::string m_held;        // comment lines that may yet be kept
    bool m_isApart = false;    // a blank line precedes them
};

} // namespace

std::string IniHeading(const CString& comment)
{
    return comment.empty() ? std::string() : CommentLines(comment, "\n") + "\n";
}

std::string MergeIni(std::string_view text, const CProfileSection& root)
{
    CWanted wanted(root);
    T_FINDINGS findings;
    CLocator(wanted, findings).Run(text);
    return CWriter(wanted, findings).Run(text);
}

} // namespace alidade
