#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/config/Profile.h"
#include "foundation/platform/Text.h"
#include "tests/layout/LayoutHarness.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

/// The log that a host gives to the library; lines since the test began.
class LayoutFile : public testing::Test {
protected:
    LayoutFile()
    {
        static CProfile profile; // static: the library keeps them for the rest of the process
        static CLogLines log;
        static CIPClient client(&profile, &log);
        InitVision(&client, &profile, &log, L"/no/such/folder");
        m_log = &log;
        m_first = log.Lines().size();
    }

    CString At(const char* name) const { return FromPath(m_folder / name); }
    std::vector<CStringA> NewLines() const
    {
        const std::vector<CStringA> all = m_log->Lines();
        return {all.begin() + static_cast<std::ptrdiff_t>(m_first), all.end()};
    }
    /// Exactly one line, which begins so.
    void ExpectLine(std::string_view start)
    {
        const std::vector<CStringA> lines = NewLines();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].substr(0, start.size()), start);
        EXPECT_GT(lines[0].size(), start.size());
        m_first += lines.size();
    }

    CTempFolder m_folder;
    CLogLines* m_log;
    std::size_t m_first;
};

TEST_F(LayoutFile, IsStoredOverTheOldFileInPlaceAndLoaded)
{
    const CCameraLayoutItem item = RandomLayout(20, 25);
    m_folder.Write("a", std::string(100000, 'x'));
    std::filesystem::create_hard_link(m_folder / "a", m_folder / "b");
    EXPECT_EQ(item.Store(At("a").c_str()), 1);
    EXPECT_EQ(m_folder.Read("b"), Stored(item)) << "the same file";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.Path()), {}), 2);
    CCameraLayoutItem read;
    EXPECT_EQ(read.Load(At("a").c_str()), 1);
    EXPECT_EQ(Stored(read), Stored(item));
    EXPECT_TRUE(NewLines().empty());
}

TEST_F(LayoutFile, WhatCannotBeOpenedIsLoggedAndChangesNothing)
{
    CCameraLayoutItem item = RandomLayout(21, 5);
    const CString folder = FromPath(m_folder.Path());
    const CString missing = At("none/a");
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L"", folder.c_str(), missing.c_str()}) {
        EXPECT_EQ(item.Load(path), 0);
        ExpectLine("CCameraLayoutItem::Load : ");
        EXPECT_EQ(item.Store(path), 0);
        ExpectLine("CCameraLayoutItem::Store : ");
    }
    EXPECT_EQ(Stored(item), Stored(RandomLayout(21, 5)));
}

TEST_F(LayoutFile, EachKindOfBadContentHasItsResultAndItsLine)
{
    const std::string good = Stored(CCameraLayoutItem());
    const std::string huge(kMaxLayoutBytes, '\0');
    const struct {
        const char* name;
        std::string bytes;
        int result;
        bool logged;
    } rows[] = {
        {"empty", "", 0, true},
        {"three bytes", "XYZ", 0, true},
        {"foreign", "XYZ1", 0, false},
        {"foreign and huge", "XY" + huge, 0, false},
        {"newer", Hex("43 4C 02 00") + "whatever", 1, false},
        {"newer and huge", Hex("43 4C 02 00") + huge, 1, false},
        {"huge", good + huge, 0, true},
        {"cut", good.substr(0, good.size() - 1), 0, true},
        {"more behind", good + "x", 1, false},
    };
    for (const auto& row : rows) {
        m_folder.Write("file", row.bytes);
        CCameraLayoutItem item;
        EXPECT_EQ(item.Load(At("file").c_str()), row.result) << row.name;
        if (row.logged) {
            ExpectLine("CCameraLayoutItem::Load : ");
        }
        EXPECT_TRUE(NewLines().empty()) << row.name;
    }
}

TEST_F(LayoutFile, ALayoutThatIsTooLargeLeavesTheOldFile)
{
    m_folder.Write("a", "old");
    CCameraLayoutItem item;
    item.m_strName.assign(kMaxLayoutBytes / 2, L'x');
    EXPECT_EQ(item.Store(At("a").c_str()), 0);
    ExpectLine("CCameraLayoutItem::Store : ");
    EXPECT_EQ(m_folder.Read("a"), "old");
}

} // namespace
} // namespace alidade
