// The page of all settings has what the code has, no more and no less.

#include "acquisition/FrameGrabberDummy.h"
#include "acquisition/GrabberSettings.h"
#include "foundation/config/Profile.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "stage/StageSettings.h"
#include "tests/support/MarkdownTable.h"
#include "tests/support/TempFolder.h"
#include "view/ViewSettings.h"
#include "view/transforms/ViewTransforms.h"
#include "widgets/PropertyGridGroup.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace alidade {
namespace {

/// Key, type and default of one setting.
using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

std::string ReadSource(const std::string& name)
{
    std::string text;
    EXPECT_EQ(ReadWholeFile(std::filesystem::path(ALIDADE_SOURCE_DIR) / name, text), 1) << name;
    return text;
}

const std::string& Page()
{
    static const std::string page = ReadSource("docs/settings.md");
    return page;
}

/// What the page has under a heading, without the meanings, which must be there.
Rows OnPage(const std::string& heading)
{
    T_MARKDOWN_TABLE table = FindMarkdownTable(Page(), heading);
    EXPECT_EQ(table.columns, (Row{"key", "type", "default", "meaning"})) << heading;
    for (Row& row : table.rows) {
        EXPECT_EQ(row.size(), 4u) << heading;
        EXPECT_FALSE(row.back().empty()) << heading << ": " << row.front() << " has no meaning";
        row.resize(3);
    }
    return table.rows;
}

/// Of a table whose rows have key, type and default.
template <class Table>
Rows InCode(const Table& table)
{
    Rows rows;
    for (const auto& row : table) {
        rows.push_back({ToNarrow(row.key), ToNarrow(row.type), ToNarrow(row.defaultValue)});
    }
    return rows;
}

Rows StageRows(const T_STAGE_GROUP& group)
{
    Rows rows;
    for (const T_STAGE_SETTING& row : group.rows) {
        if (CString(row.name) != kPropertySeparator) {
            const bool isBoolean = CString(row.options) == L"TRUE;FALSE";
            rows.push_back({ToNarrow(row.name), isBoolean ? "boolean" : "text", ToNarrow(row.defaultValue)});
        }
    }
    return rows;
}

/// What a new view writes for one lens.
Rows LensRows()
{
    CProfileSection section;
    CViewTransforms().SyncSettings(1, section);
    CProfileSection& lens = section.GetSubSection(L"Lens_0");
    Rows rows;
    for (CProfileSection* inner : lens.m_sections) {
        for (const CProfileItem* item : inner->m_items) {
            rows.push_back({ToNarrow(inner->GetName()) + "/" + ToNarrow(item->m_strKey), "double",
                            ToNarrow(item->m_strValue)});
        }
    }
    for (const CProfileItem* item : lens.m_items) {
        rows.push_back({ToNarrow(item->m_strKey), "double", ToNarrow(item->m_strValue)});
    }
    return rows;
}

/// The public fields of a node, as its header declares them.
Rows NodeRows()
{
    const std::string header = ReadSource("layout/CameraLayoutItem.h");
    const std::regex field(R"re(\n    ([\w<>, ]+) (m_(\w)\w*)(?: = L?"?([^;"]*)"?)?;)re");
    Rows rows;
    for (std::sregex_iterator at(header.begin(), header.end(), field), end; at != end; ++at) {
        const std::string type = (*at)[1];
        const std::string kind = type == "int"               ? (*at)[3] == "b" ? "boolean" : "integer"
                                 : type == "CString"         ? "text"
                                 : type == "CProfileSection" ? "section"
                                                             : "nodes";
        rows.push_back({(*at)[2], kind, (*at)[4]});
    }
    return rows;
}

TEST(SettingsPage, HasTheTablesOfTheCode)
{
    std::vector<std::pair<std::string, Rows>> tables = {
        {"The picture", InCode(GetGrabberSettingTable())},
        {"Dummy", InCode(CFrameGrabberDummy::GetSettingTable())},
        {"The view", InCode(GetViewSettingTable())},
        {"A lens", LensRows()},
        {"A node of a layout", NodeRows()},
    };
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        tables.emplace_back(ToNarrow(group.name), StageRows(group));
    }
    std::set<std::string> known;
    for (const auto& [heading, rows] : tables) {
        EXPECT_GE(rows.size(), 3u) << heading;
        EXPECT_EQ(OnPage(heading), rows) << heading;
        known.insert(heading);
    }
    // No other table of the page pretends to list settings.
    for (const T_MARKDOWN_TABLE& table : ReadMarkdownTables(Page())) {
        EXPECT_EQ(known.count(table.heading) != 0, table.columns.front() == "key") << table.heading;
    }
}

TEST(SettingsPage, TellsTheSameAsThePageOfTheStage)
{
    const std::string stage = ReadSource("docs/stage.md");
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        const std::string name = ToNarrow(group.name);
        Rows here = FindMarkdownTable(Page(), name).rows;
        Rows there = FindMarkdownTable(stage, name).rows;
        ASSERT_EQ(here.size(), there.size()) << name;
        for (std::size_t i = 0; i < here.size(); ++i) {
            EXPECT_EQ(here[i].back(), there[i].back()) << name << " " << here[i].front();
        }
    }
}

TEST(SettingsPage, NamesEveryDriverThatIsShipped)
{
    const T_MARKDOWN_TABLE drivers = FindMarkdownTable(Page(), "The drivers");
    std::set<std::string> pages;
    for (const Row& row : drivers.rows) {
        const std::string& link = row.at(2);
        if (link.starts_with("[")) {
            const std::string page = link.substr(1, link.find(']') - 1);
            EXPECT_NE(ReadSource("docs/" + page).find("`" + row.at(1)), std::string::npos) << row.at(1);
            pages.insert(page);
        }
    }
    std::set<std::string> shipped;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(ALIDADE_SOURCE_DIR) / "drivers")) {
        if (entry.is_directory()) {
            shipped.insert(entry.path().filename().string() + ".md");
        }
    }
    EXPECT_EQ(pages, shipped);
}

/// The keys of a section and of all sections inside, each with the names of the inner ones before it.
void CollectKeys(const CProfileSection& section, const std::string& prefix, std::set<std::string>& keys)
{
    for (const CProfileItem* item : section.m_items) {
        keys.insert(prefix + ToNarrow(item->m_strKey));
    }
    for (const CProfileSection* inner : section.m_sections) {
        CollectKeys(*inner, prefix + ToNarrow(inner->GetName()) + "/", keys);
    }
}

TEST(SettingsPage, ItsExampleIsAFileOfKnownKeys)
{
    const std::size_t begin = Page().find("```ini\n") + 7;
    const CTempFolder folder;
    folder.Write("example.ini", Page().substr(begin, Page().find("```", begin) - begin));
    CProfile profile(FromPath(folder / "example.ini").c_str());
    ASSERT_EQ(profile.Load(), 1);
    std::set<std::string> used, known;
    CollectKeys(profile.GetSection(L"CameraSettings").GetSubSection(L"Left"), "", used);
    CollectKeys(profile.GetSection(L"StageSettings").GetSubSection(L"Left"), "", used);
    EXPECT_GE(used.size(), 8u);
    for (const char* heading : {"The picture", "Dummy", "The view", "A lens"}) {
        for (const Row& row : OnPage(heading)) {
            known.insert((heading == std::string("A lens") ? "Lens_0/" : "") + row.front());
        }
    }
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        for (const Row& row : OnPage(ToNarrow(group.name))) {
            known.insert(ToNarrow(group.name) + "/" + row.front());
        }
    }
    for (const std::string& key : used) {
        EXPECT_EQ(known.count(key), 1u) << key;
    }
}

} // namespace
} // namespace alidade
