#include "tools/layout/LayoutJson.h"
#include "foundation/platform/Text.h"
#include "layout/LayoutWalk.h"
#include "tests/layout/LayoutHarness.h"
#include "tests/support/FrameGrabberTestAccess.h"

#include <fstream>
#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(LayoutJson, IsWrittenWithALineForEachMember)
{
    CCameraLayoutItem root;
    root.SetPane(L"All");
    root.m_bStacked = 1;
    CCameraLayoutItem& leaf = AddChild(root, L"Left \u00E4", 0);
    leaf.m_bCaption = 1;
    leaf.m_nReserved2 = -3;
    leaf.m_strFrameGrabber = L"Scene";
    leaf.m_strCamera = L"Cam\"1\"";
    leaf.SetSettingValue(L"b", L"1");
    leaf.SetSettingValue(L"a", L"");
    CProfileSection& section = leaf.m_settings.GetSubSection(L"Lens_0");
    section.m_items.Insert(new CProfileItem(L"k", L"1"));
    section.m_items.Insert(new CProfileItem(L"k", L"2"));
    EXPECT_EQ(LayoutToJson(root), R"({
  "pane": true,
  "name": "All",
  "tabbed": false,
  "stacked": true,
  "children": [
    {
      "pane": false,
      "name": "Left )"
                                  "\xC3\xA4"
                                  R"(",
      "reserved2": -3,
      "caption": true,
      "grabber": "Scene",
      "camera": "Cam\"1\"",
      "settings": {
        "items": {
          "b": "1",
          "a": ""
        },
        "sections": [
          {
            "name": "Lens_0",
            "items": [
              ["k", "1"],
              ["k", "2"]
            ]
          }
        ]
      }
    }
  ]
}
)");
}

TEST(LayoutJson, RandomTreesGoThereAndBack)
{
    for (unsigned seed = 1; seed <= 50; ++seed) {
        const CCameraLayoutItem item = RandomLayout(seed, static_cast<int>(seed));
        const CStringA json = LayoutToJson(item);
        const CCameraLayoutItem back = LayoutFromJson(json);
        EXPECT_EQ(Stored(back), Stored(item)) << seed;
        EXPECT_EQ(LayoutToJson(back), json) << seed;
    }
}

TEST(LayoutJson, WhatIsLeftOutIsAsInANewNode)
{
    EXPECT_EQ(Stored(LayoutFromJson("{}")), Stored(CCameraLayoutItem()));
    const CCameraLayoutItem item =
        LayoutFromJson(R"({"pane": 0, "tabbed": 5, "settings": {"items": {"k": "v"}}})");
    EXPECT_EQ(item.IsPane(), 0);
    EXPECT_EQ(item.m_bTabbed, 5);
    EXPECT_STREQ(item.GetSettingValue(L"k", L""), L"v");
}

TEST(LayoutJson, AnErrorSaysWhereItIs)
{
    const struct {
        const char* json;
        const char* message; // its beginning
    } rows[] = {
        {"", "parse error at line 1, column 1"},
        {"{\n  \"pane\": tru }", "parse error at line 2, column 14"},
        {"{\"name\": \"\xFF\"}", "parse error at line 1, column 11"},
        {"{} {}", "parse error at line 1, column 4"},
        {"[]", "/: must be an object"},
        {R"({"name": 5})", "/name: must be a text"},
        {R"({"pane": "yes"})", "/pane: must be true, false or a whole number of 32 bits"},
        {R"({"reserved1": true})", "/reserved1: must be a whole number of 32 bits"},
        {R"({"reserved1": 2147483648})", "/reserved1: must be a whole number"},
        {R"({"reserved2": -2147483649})", "/reserved2: must be a whole number"},
        {R"({"reserved2": 1.5})", "/reserved2: must be a whole number"},
        {R"({"children": {}})", "/children: must be an array"},
        {R"({"children": [{}, {"children": [{"cpation": true}]}]})",
         "/children/1/children/0/cpation: is no member"},
        {R"({"children": [7]})", "/children/0: must be an object"},
        {R"({"children": [{}, {"name": "a", "name": "b"}]})", "/children/1/name: stands twice"},
        {R"({"settings": []})", "/settings: must be an object"},
        {R"({"settings": {"items": {"k": 1}}})", "/settings/items/k: must be a text"},
        {R"({"settings": {"items": [["k"]]}})", "/settings/items/0: must be a pair"},
        {R"({"settings": {"items": 1}})", "/settings/items: must be an object of texts"},
        {R"({"settings": {"sections": [{}, {"key": "v"}]}})", "/settings/sections/1/key: is no member"},
        {R"({"settings": {"sections": {}}})", "/settings/sections: must be an array"},
    };
    for (const auto& row : rows) {
        try {
            LayoutFromJson(row.json);
            ADD_FAILURE() << row.json << " was taken";
        } catch (const CLayoutJsonError& error) {
            EXPECT_EQ(std::string(error.what()).substr(0, std::string_view(row.message).size()), row.message)
                << row.json;
        }
    }
}

TEST(LayoutJson, AnyDepthOfNodesIsTakenAndABoundedOneOfSections)
{
    constexpr int kDeep = 100000;
    const std::string deep = Repeat(R"({"children":[)", kDeep - 1) + "{}" + Repeat("]}", kDeep - 1);
    const CCameraLayoutItem item = LayoutFromJson(deep);
    const CStringA json = LayoutToJson(item);
    EXPECT_EQ(Stored(LayoutFromJson(json)), Stored(item));
    EXPECT_THROW(
        LayoutFromJson(R"({"settings": )" + Repeat(R"({"sections":[)", kDeep) + Repeat("]}", kDeep) + "}"),
        CLayoutJsonError);
}

TEST(LayoutJson, TheShippedLayoutHasNoCameraThatWouldCountAsStopped)
{
    std::ifstream file(DEMO_LAYOUT, std::ios::binary);
    const std::string json{std::istreambuf_iterator<char>(file), {}};
    const TRefPointer<CFrameGrabber> grabber = CFrameGrabberTestAccess::Make(nullptr);
    int cameras = 0;
    const auto check = [&](const CCameraLayoutItem& node) {
        if (!node.IsPane()) {
            const CString key = node.m_strFrameGrabber + L".FrameRate";
            const double rate = std::stod(node.GetSettingValue(key.c_str(), L"0"));
            EXPECT_GT(rate * grabber->GetGrabTimeout() / 1000.0, 1.2) << ToNarrow(key);
            ++cameras;
        }
    };
    WalkLayout(LayoutFromJson(json), check, [](const CCameraLayoutItem&) {});
    EXPECT_EQ(cameras, 4);
}

} // namespace
} // namespace alidade
