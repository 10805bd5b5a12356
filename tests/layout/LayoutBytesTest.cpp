#include "tests/layout/LayoutHarness.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

// A split pane "P" with a caption over a camera "c" of the driver "G", which has one setting and a
// sub-section.
const std::string kNewFile = Hex("43 4C  01 00"               // CL, version 1
                                 "02 00 00 00  01 00 00 00"   // node version 2, a pane
                                 "FF FE FF 01  50 00"         // "P"
                                 "05 00 00 00  FE FF FF FF"   // reserved 5 and -2
                                 "01 00 00 00  00 00 00 00"   // caption, not tabbed
                                 "01 00 00 00"                // stacked
                                 "01 00 00 00"                // one child
                                 "  02 00 00 00  00 00 00 00" // node version 2, a leaf
                                 "  FF FE FF 00"              // no name
                                 "  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"
                                 "  00 00 00 00"                                // no children
                                 "  FF FE FF 01  47 00"                         // driver "G"
                                 "  FF FE FF 02  63 00 E4 00"                   // camera "c\u00E4"
                                 "  01 00 34 12  FF FE FF 00"                   // settings, without a name
                                 "  01 00 00 00"                                // one item
                                 "  FF FE FF 01 6B 00  FF FE FF 02 3D D8 F7 DC" // k = U+1F4F7
                                 "  01 00 00 00"                                // one sub-section
                                 "    01 00 34 12  FF FE FF 01 4C 00"           // "L"
                                 "    00 00 00 00  00 00 00 00"
                                 "FF FE FF 00  FF FE FF 00" // the pane has neither driver nor camera
                                 "01 00 34 12  FF FE FF 00  00 00 00 00  00 00 00 00");

CCameraLayoutItem NewLayout()
{
    CCameraLayoutItem root;
    root.SetPane(L"P");
    root.m_nReserved1 = 5;
    root.m_nReserved2 = -2;
    root.m_bCaption = 1;
    root.m_bStacked = 1;
    CCameraLayoutItem& leaf = AddChild(root, L"", 0);
    leaf.m_strFrameGrabber = L"G";
    leaf.m_strCamera = L"c\u00E4";
    leaf.SetSettingValue(L"k", L"\U0001F4F7");
    leaf.m_settings.m_items.First()->m_strComment = L"not stored";
    leaf.m_settings.GetSubSection(L"L");
    return root;
}

TEST(LayoutBytes, ALayoutIsWrittenByteForByte)
{
    EXPECT_EQ(Stored(NewLayout()), kNewFile);
}

TEST(LayoutBytes, TheWrittenBytesAreReadFieldByField)
{
    T_LAYOUT_FILE_REPORT report;
    CCameraLayoutItem read;
    ASSERT_EQ(LoadBytes(kNewFile, read, &report), LAYOUT_FILE_READ);
    EXPECT_EQ(read.IsPane(), 1);
    EXPECT_STREQ(read.GetName(), L"P");
    EXPECT_EQ(read.m_nReserved1, 5);
    EXPECT_EQ(read.m_nReserved2, -2);
    EXPECT_EQ(read.m_bCaption, 1);
    EXPECT_EQ(read.m_bTabbed, 0);
    EXPECT_EQ(read.m_bStacked, 1);
    ASSERT_EQ(read.m_children.Count(), 1);
    const CCameraLayoutItem& leaf = *read.GetChildPane(0);
    EXPECT_EQ(leaf.IsPane(), 0);
    EXPECT_EQ(leaf.m_strName, L"");
    EXPECT_EQ(leaf.m_strFrameGrabber, L"G");
    EXPECT_EQ(leaf.m_strCamera, L"c\u00E4");
    EXPECT_STREQ(leaf.GetSettingValue(L"k", L""), L"\U0001F4F7");
    EXPECT_NE(leaf.m_settings.FindSubSection(L"L"), nullptr);
    EXPECT_EQ(report.nodes, 2);
    EXPECT_EQ(report.cameras, 1);
    EXPECT_EQ(report.depth, 2);
    EXPECT_EQ(report.oldNodes, 0);
    EXPECT_EQ(report.oddity, "");
}

// A pane (kind 2) over a leaf (kind 1) with narrow texts, three settings of which one is of an unknown
// version, and a child of the newer generation.
const std::string kOldFile = Hex("43 4C  01 00"
                                 "01 00 00 00  02 00 00 00" // node version 1, kind 2
                                 "01 52"                    // narrow "R"
                                 "07 00 00 00  08 00 00 00  00 00 00 00  01 00 00 00  00 00 00 00"
                                 "02 00 00 00"                // two children
                                 "  01 00 00 00  01 00 00 00" // node version 1, kind 1
                                 "  FF FE FF 01 41 00"
                                 "  00 00 00 00  00 00 00 00  01 00 00 00  00 00 00 00  00 00 00 00"
                                 "  00 00 00 00"
                                 "  01 47  02 C3 A4"                        // driver "G", camera in UTF-8
                                 "  04 00 00 00"                            // four settings
                                 "  01 00 00 00  09 00 00 00  01 6B  01 31" // type 9, k = 1
                                 "  02 00 00 00"                            // unknown: nothing follows
                                 "  01 00 00 00  01 00 00 00  01 4B  01 32" // K = 2: another key
                                 "  01 00 00 00  01 00 00 00  01 6B  01 33" // k = 3 wins
                                 "  02 00 00 00  01 00 00 00  FF FE FF 01 42 00"
                                 "  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"
                                 "  00 00 00 00  FF FE FF 00  FF FE FF 00"
                                 "  01 00 34 12  FF FE FF 00  00 00 00 00  00 00 00 00"
                                 "FF FE FF 00  FF FE FF 00"
                                 "FF FF FF FF"); // setting count -1: none

TEST(LayoutBytes, TheOlderGenerationIsReadAndStoredAsTheNewer)
{
    T_LAYOUT_FILE_REPORT report;
    CCameraLayoutItem read;
    ASSERT_EQ(LoadBytes(kOldFile, read, &report), LAYOUT_FILE_READ);
    EXPECT_EQ(report.oldNodes, 2);
    EXPECT_EQ(report.oddity, "before byte 101: a setting of the unknown version 2");
    ASSERT_EQ(read.IsPane(), 1);
    EXPECT_STREQ(read.GetName(), L"R");
    EXPECT_EQ(read.m_nReserved1, 7);
    EXPECT_EQ(read.m_nReserved2, 8);
    EXPECT_EQ(read.m_bTabbed, 1);
    ASSERT_EQ(read.m_children.Count(), 2);
    const CCameraLayoutItem& leaf = *read.GetChildPane(0);
    EXPECT_EQ(leaf.IsPane(), 0);
    EXPECT_EQ(leaf.m_bCaption, 1);
    EXPECT_EQ(leaf.m_strFrameGrabber, L"G");
    EXPECT_EQ(leaf.m_strCamera, L"\u00E4");
    CProfileSection settings;
    settings.SetItemValue(L"k", L"3");
    settings.SetItemValue(L"", L"");
    settings.SetItemValue(L"K", L"2");
    EXPECT_EQ(leaf.m_settings, settings);
    EXPECT_EQ(read.GetChildPane(1)->IsPane(), 1);

    const std::string stored = Stored(read);
    EXPECT_EQ(stored.substr(4, 14), Hex("02 00 00 00 01 00 00 00 FF FE FF 01 52 00"));
    const CCameraLayoutItem again = Loaded(stored);
    EXPECT_EQ(again.GetChildPane(0)->IsPane(), 0);
    EXPECT_EQ(Stored(again), stored);
}

TEST(LayoutBytes, SettingsOfTheOlderGenerationJoinThoseOfTheNode)
{
    const std::string file = Hex("43 4C 01 00  01 00 00 00  07 00 00 00  00") + std::string(24, '\0') +
                             Hex("00 00  01 00 00 00  01 00 00 00  01 00 00 00  01 6B  01 31");
    CCameraLayoutItem item;
    item.SetSettingValue(L"a", L"kept");
    item.SetSettingValue(L"k", L"old");
    ASSERT_EQ(LoadBytes(file, item), LAYOUT_FILE_READ);
    EXPECT_EQ(item.IsPane(), 0) << "any kind but 2 is a leaf";
    EXPECT_STREQ(item.GetSettingValue(L"a", L""), L"kept");
    EXPECT_STREQ(item.GetSettingValue(L"k", L""), L"1");
    EXPECT_EQ(item.m_settings.m_items.Count(), 2);
}

TEST(LayoutBytes, NamesTakeTheShortestLengthTheyFit)
{
    const struct {
        std::size_t length;
        std::string head;
    } rows[] = {{0, Hex("FF FE FF 00")}, {254, Hex("FF FE FF FE")}, {255, Hex("FF FE FF FF FF 00")}};
    for (const auto& row : rows) {
        CCameraLayoutItem item;
        item.SetName(CString(row.length, L'x').c_str());
        const std::string stored = Stored(item);
        EXPECT_EQ(stored.substr(12, row.head.size()), row.head);
        EXPECT_EQ(Loaded(stored).m_strName.size(), row.length);
    }
}

TEST(LayoutBytes, RandomTreesAreReadBackTheSame)
{
    for (unsigned seed = 1; seed <= 50; ++seed) {
        const std::string stored = Stored(RandomLayout(seed, static_cast<int>(seed)));
        T_LAYOUT_FILE_REPORT report;
        CCameraLayoutItem read = RandomLayout(seed + 1000, 5);
        ASSERT_EQ(LoadBytes(stored, read, &report), LAYOUT_FILE_READ) << seed;
        EXPECT_EQ(Stored(read), stored) << seed;
        EXPECT_EQ(report.oddity, "") << seed;
        EXPECT_EQ(report.nodes, static_cast<int>(seed));
    }
}

} // namespace
} // namespace alidade
