#include "tests/layout/LayoutHarness.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

const std::string kStart = Hex("43 4C 01 00");
const std::string kFields(20, '\0');
const std::string kEmptySettings = Hex("01 00 34 12  00  00 00 00 00  00 00 00 00");

/// A node of the newer generation as far as its children, and what lies behind them.
std::string Head(const std::string& count)
{
    return Hex("02 00 00 00  01 00 00 00  01 6E") + kFields + count;
}
const std::string kTail = Hex("00 00") + kEmptySettings;

TEST(LayoutDamage, WhatEndsEarlyOrAsksForTooMuchIsRefusedWithoutTakingMemory)
{
    const std::string oneChild = Hex("01 00 00 00");
    const std::string noChildren(4, '\0');
    const std::string oldHead = Hex("01 00 00 00  02 00 00 00  00") + kFields + noChildren + Hex("00 00");
    const struct {
        const char* name;
        std::string bytes;
        const char* message; // part of it
    } rows[] = {
        {"nothing", "", "ends"},
        {"three bytes", "CL\x01", "ends"},
        {"no node", kStart, "ends"},
        {"huge number of children", kStart + Head(Hex("FF FF FF FF")), "ends"},
        {"huge number of children, some there", kStart + Head(Hex("FF FF FF FF")) + Head(noChildren) + kTail,
         "ends"},
        {"huge narrow name", kStart + Hex("02 00 00 00 01 00 00 00 FF FF FF FF FF FF 7F 61"), "ends"},
        {"huge wide name",
         kStart + Hex("02 00 00 00 01 00 00 00 FF FE FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF 7F"),
         "ends"},
        {"wide mark twice", kStart + Hex("02 00 00 00 01 00 00 00 FF FE FF FF FE FF 00"), "twice"},
        {"huge number of settings", kStart + Head(noChildren) + Hex("00 00 01 00 34 12 00 FF FF FF FF"),
         "ends"},
        {"huge number of sections",
         kStart + Head(noChildren) + Hex("00 00 01 00 34 12 00 00 00 00 00 FF FF FF FF"), "ends"},
        {"huge number of old settings", kStart + oldHead + Hex("FF FF FF 7F"), "ends"},
        {"very deep and cut", kStart + Repeat(Head(oneChild), 100000), "ends"},
        {"a million nodes of 4 bytes", kStart + Head(Hex("FF FF FF FF")) + std::string(4u << 20, '\3'),
         "more than 262144 nodes"},
        {"millions of empty settings",
         kStart + Head(noChildren) + Hex("00 00 01 00 34 12 00 FF FF FF FF") + std::string(4u << 20, '\0'),
         "more than 1048576 settings"},
        {"millions of empty sections",
         kStart + Head(noChildren) + Hex("00 00 01 00 34 12 00 00 00 00 00 FF FF FF FF") +
             std::string(8u << 20, '\0'),
         "more than 1048576 settings"},
        {"millions of old settings", kStart + oldHead + Hex("FF FF FF 7F") + std::string(8u << 20, '\0'),
         "more than 1048576 settings"},
        {"very deep sections",
         kStart + Head(noChildren) + Hex("00 00") +
             Repeat(Hex("01 00 34 12  00  00 00 00 00  01 00 00 00"), 100000),
         "nested deeper than"},
        {"larger than a layout may be", kStart + std::string(kMaxLayoutBytes, '\0'),
         "more than 33554432 bytes"},
    };
    for (const auto& row : rows) {
        CCameraLayoutItem item = RandomLayout(5, 3);
        try {
            LoadBytes(row.bytes, item);
            ADD_FAILURE() << row.name << " was read";
        } catch (const CArchiveException& error) {
            EXPECT_NE(std::string_view(error.what()).find(row.message), std::string_view::npos)
                << row.name << ": " << error.what();
        }
    }
}

TEST(LayoutDamage, WhatIsNoLayoutOrOfAnotherVersionLeavesTheTargetAsItWas)
{
    const struct {
        std::string bytes;
        eLAYOUT_FILE result;
    } rows[] = {
        {"PNG\x1A", LAYOUT_FILE_FOREIGN},
        {Hex("4C 43 01 00"), LAYOUT_FILE_FOREIGN},
        {"CX" + Hex("02 00"), LAYOUT_FILE_FOREIGN},
        {"XX" + std::string(kMaxLayoutBytes, 'X'), LAYOUT_FILE_FOREIGN},
        {Hex("43 4C 00 00"), LAYOUT_FILE_OTHER_VERSION},
        {Hex("43 4C 02 00"), LAYOUT_FILE_OTHER_VERSION},
        {Hex("43 4C 01 01") + Head(std::string(4, '\0')) + kTail, LAYOUT_FILE_OTHER_VERSION},
    };
    for (const auto& row : rows) {
        CCameraLayoutItem item = RandomLayout(6, 5);
        EXPECT_EQ(LoadBytes(row.bytes, item), row.result);
        EXPECT_EQ(Stored(item), Stored(RandomLayout(6, 5)));
    }
}

TEST(LayoutDamage, AFileCutAnywhereIsRefused)
{
    const std::string whole = Stored(RandomLayout(7, 12));
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        CCameraLayoutItem item;
        EXPECT_THROW(LoadBytes(whole.substr(0, cut), item), CArchiveException) << cut;
    }
}

TEST(LayoutDamage, WhatWasReadBeforeTheDamageStays)
{
    const std::string none(4, '\0');
    CCameraLayoutItem item = RandomLayout(8, 9);
    const std::string settings = Stored(item).substr(Stored(item).size() - 40);
    EXPECT_THROW(LoadBytes(kStart + Head(Hex("03 00 00 00")) + Head(none) + kTail + Head(none), item),
                 CArchiveException);
    EXPECT_STREQ(item.GetName(), L"n");
    EXPECT_EQ(item.m_nReserved1, 0);
    ASSERT_EQ(item.m_children.Count(), 1) << "children that are whole";
    EXPECT_STREQ(item.m_children.First()->GetName(), L"n");
    EXPECT_EQ(Stored(item).substr(Stored(item).size() - 40), settings) << "what lies behind was not reached";
}

TEST(LayoutDamage, AnUnknownNodeTakesOnlyItsVersion)
{
    const std::string unknown = Hex("03 00 00 00");
    T_LAYOUT_FILE_REPORT report;
    CCameraLayoutItem item = RandomLayout(9, 4);
    ASSERT_EQ(LoadBytes(kStart + unknown + "rest", item, &report), LAYOUT_FILE_READ);
    EXPECT_EQ(Stored(item), Stored(RandomLayout(9, 4))) << "an unknown root";
    EXPECT_EQ(report.oddity, "before byte 8: a node of the unknown version 3");

    const std::string file =
        kStart + Head(Hex("02 00 00 00")) + unknown + Head(std::string(4, '\0')) + kTail + kTail;
    ASSERT_EQ(LoadBytes(file, item), LAYOUT_FILE_READ);
    ASSERT_EQ(item.m_children.Count(), 2);
    EXPECT_EQ(Stored(*item.GetChildPane(0)), Stored(CCameraLayoutItem()));
    EXPECT_STREQ(item.GetChildPane(1)->GetName(), L"n");
}

TEST(LayoutDamage, ASectionWithoutItsMarkerIsEmptyAndTakesOnlyTheMarker)
{
    const std::string file = kStart + Head(Hex("01 00 00 00")) + Head(std::string(4, '\0')) +
                             Hex("00 00  02 00 34 12") + Hex("00  01 63") + kEmptySettings;
    CCameraLayoutItem item;
    T_LAYOUT_FILE_REPORT report;
    ASSERT_EQ(LoadBytes(file, item, &report), LAYOUT_FILE_READ);
    EXPECT_EQ(item.GetChildPane(0)->m_settings, CProfileSection());
    EXPECT_EQ(item.m_strCamera, L"c") << "in step";
    EXPECT_NE(report.oddity.find("without its marker"), report.oddity.npos);
    ASSERT_EQ(LoadBytes(Stored(CCameraLayoutItem()) + "x", item, &report), LAYOUT_FILE_READ);
    EXPECT_NE(report.oddity.find("1 bytes follow"), report.oddity.npos);
}

TEST(LayoutDamage, WhatCouldNotBeReadBackIsNotWritten)
{
    CCameraLayoutItem name;
    name.m_strName.assign(kMaxLayoutBytes / 2, L'x');
    EXPECT_THROW(Stored(name), CArchiveException);
    CCameraLayoutItem nodes;
    for (int i = 0; i < kMaxLayoutNodes; ++i) {
        AddChild(nodes, L"");
    }
    EXPECT_THROW(Stored(nodes), CArchiveException);
    EXPECT_EQ(nodes.GetChildPane().Delete(), 1);
    EXPECT_EQ(Loaded(Stored(nodes)).GetChildPane().Count(), kMaxLayoutNodes - 1);
}

} // namespace
} // namespace alidade
