#include "layout/CameraSettingItem.h"
#include "tests/layout/LayoutHarness.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

constexpr int kDeep = 100000;

std::string CamerasOf(const CCameraLayoutItem& item)
{
    TList<CString, int, int> names;
    CCameraLayoutItem::GetCameraList(item, names);
    std::string all;
    for (const CString* name : names) {
        all += std::string(name->begin(), name->end()) + ";";
    }
    return all;
}

CCameraLayoutItem& AddCamera(CCameraLayoutItem& parent, const wchar_t* camera)
{
    CCameraLayoutItem& leaf = AddChild(parent, L"leaf", 0);
    leaf.m_strCamera = camera;
    return leaf;
}

TEST(LayoutItem, InitGivesANewNodeAndSetPaneKeepsAllButNameAndChildren)
{
    const std::string fresh = Stored(CCameraLayoutItem());
    CCameraLayoutItem item = RandomLayout(1, 4);
    EXPECT_NE(Stored(item), fresh);
    CCameraLayoutItem pane(item);
    pane.m_bPane = 0;
    EXPECT_EQ(pane.SetPane(L"pane"), 1);
    EXPECT_EQ(pane.IsPane(), 1);
    EXPECT_STREQ(pane.GetName(), L"pane");
    EXPECT_EQ(pane.GetChildPane().Count(), 0);
    EXPECT_EQ(pane.m_nReserved1, item.m_nReserved1);
    EXPECT_EQ(pane.m_bTabbed, item.m_bTabbed);
    EXPECT_EQ(pane.m_strFrameGrabber, item.m_strFrameGrabber);
    EXPECT_EQ(pane.m_strCamera, item.m_strCamera);
    EXPECT_EQ(pane.m_settings, item.m_settings);
    EXPECT_EQ(item.Init(), 1);
    EXPECT_EQ(Stored(item), fresh);
    EXPECT_STREQ(item.GetName(), L"...");
    EXPECT_EQ(item.IsPane(), 1);
}

TEST(LayoutItem, CopiesAreDeepAndMovesTakeEverything)
{
    CCameraLayoutItem item = RandomLayout(2, 30);
    const std::string stored = Stored(item);
    CCameraLayoutItem copy(item);
    EXPECT_EQ(Stored(copy), stored);
    item.m_children.First()->SetName(L"changed");
    item.m_children.First()->SetSettingValue(L"changed", L"1");
    EXPECT_EQ(Stored(copy), stored);
    CCameraLayoutItem assigned = RandomLayout(3, 9);
    assigned = copy;
    EXPECT_EQ(Stored(assigned), stored);
    assigned = RandomLayout(4, 9);
    const CCameraLayoutItem moved(std::move(copy));
    EXPECT_EQ(Stored(moved), stored);
    EXPECT_EQ(Stored(assigned), Stored(RandomLayout(4, 9)));
}

TEST(LayoutItem, ANodeCanBeReplacedByOneOfItsOwn)
{
    for (const bool move : {false, true}) {
        CCameraLayoutItem root;
        CCameraLayoutItem& child = AddChild(root, L"child");
        AddCamera(child, L"c");
        const std::string stored = Stored(child);
        if (move) {
            root = std::move(child);
        } else {
            root = child;
        }
        EXPECT_EQ(Stored(root), stored);
        const CCameraLayoutItem& self = root;
        root = self;
        EXPECT_EQ(Stored(root), stored);
    }
}

TEST(LayoutItem, ChildrenAreHadFromPanesOnlyAndByIndicesInRange)
{
    CCameraLayoutItem item;
    EXPECT_EQ(item.GetChildPane(0), nullptr);
    CCameraLayoutItem& first = AddChild(item, L"0");
    CCameraLayoutItem& second = AddChild(item, L"1");
    EXPECT_EQ(item.GetChildPane(0), &first);
    EXPECT_EQ(std::as_const(item).GetChildPane(1), &second);
    for (const int index : {-2, -1, 2}) {
        EXPECT_EQ(item.GetChildPane(index), nullptr) << index;
    }
    item.m_bPane = 0;
    EXPECT_EQ(item.GetChildPane(0), nullptr);
    EXPECT_EQ(item.GetChildPane().Count(), 2);
}

TEST(LayoutItem, CamerasAreListedInOrderAsOftenAsTheyOccurBehindWhatIsThere)
{
    CCameraLayoutItem root;
    AddChild(root, L"empty");
    EXPECT_EQ(CamerasOf(root), "");
    AddCamera(AddChild(root, L"inner"), L"a");
    AddCamera(AddCamera(root, L"b"), L"under a leaf");
    AddCamera(root, L"");
    AddCamera(root, L"a");
    EXPECT_EQ(CamerasOf(root), "a;b;under a leaf;;a;");
    TList<CString, int, int> names;
    CCameraLayoutItem::GetCameraList(*root.GetChildPane(2), names);
    CCameraLayoutItem::GetCameraList(*root.GetChildPane(4), names);
    EXPECT_EQ(names.Count(), 3);
}

TEST(LayoutItem, NamesAndSettingsTakeNullAndTheirOwnTexts)
{
    CCameraLayoutItem item;
    item.SetName(L"name");
    item.SetName(item.GetName() + 1);
    EXPECT_STREQ(item.GetName(), L"ame");
    item.SetPane(AddChild(item, L"child").GetName());
    EXPECT_STREQ(item.GetName(), L"child");
    item.SetName(nullptr);
    EXPECT_STREQ(item.GetName(), L"");
    EXPECT_EQ(item.SetSettingValue(L"k", L"v"), 1);
    EXPECT_STREQ(item.GetSettingValue(L"k", nullptr), L"v");
    EXPECT_EQ(item.GetSettingValue(L"none", nullptr), nullptr);
}

TEST(LayoutItem, AVeryDeepTreeIsCopiedListedStoredReadAndDestroyed)
{
    CCameraLayoutItem root;
    CCameraLayoutItem* at = &root;
    for (int depth = 2; depth < kDeep; ++depth) {
        at = &AddChild(*at, L"");
    }
    AddCamera(*at, L"bottom");
    CCameraLayoutItem copy(root);
    EXPECT_EQ(CamerasOf(copy), "bottom;");
    const std::string stored = Stored(copy);
    T_LAYOUT_FILE_REPORT report;
    ASSERT_EQ(LoadBytes(stored, copy, &report), LAYOUT_FILE_READ);
    EXPECT_EQ(report.depth, kDeep);
    EXPECT_EQ(Stored(copy), stored);
    EXPECT_EQ(copy.GetChildPane().Delete(0), 1);
    root.GetChildPane().DeleteAll();
    EXPECT_EQ(Stored(copy), Stored(root));
}

TEST(LayoutItem, AnOldSettingIsFoundByItsNameInAnyCase)
{
    const CCameraSettingItem item(7, L"Gain", L"3");
    EXPECT_EQ(item.nType, 7);
    EXPECT_EQ(item == L"gAIN", 1);
    EXPECT_EQ(item == L"Gain2", 0);
    EXPECT_EQ(item == static_cast<const wchar_t*>(nullptr), 0);
    CCameraSettingItem copy(1, nullptr, nullptr);
    EXPECT_EQ(copy == L"", 1);
    copy = item;
    EXPECT_EQ(copy.strValue, L"3");
}

} // namespace
} // namespace alidade
