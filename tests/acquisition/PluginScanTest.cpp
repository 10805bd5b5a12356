#include "acquisition/FrameGrabber.h"

#include "acquisition/FrameGrabberDummy.h"
#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace alidade {
namespace {

namespace fs = std::filesystem;

CString PluginFolder(const char* name)
{
    return FromPath(fs::path(TEST_PLUGINS) / name);
}

class PluginScan : public testing::Test {
protected:
    void SetUp() override { CFrameGrabber::UnloadFrameGrabberDll(); }
    void TearDown() override { CFrameGrabber::UnloadFrameGrabberDll(); }

    static std::vector<CString> Names()
    {
        TList<CString, int, int> names;
        names.Insert(new CString(L"stale"));
        CFrameGrabber::GetFrameGrabberList(names);
        std::vector<CString> result;
        for (const CString* name : names) {
            result.push_back(*name);
        }
        return result;
    }
};

using Names = std::vector<CString>;

TEST_F(PluginScan, ListIsEmptyBeforeTheFirstScanAndDummyIsThereAfterAny)
{
    EXPECT_EQ(Names(), ::alidade::Names());
    for (const wchar_t* folder : {L"/no/such/folder", L"", static_cast<const wchar_t*>(nullptr)}) {
        EXPECT_EQ(CFrameGrabber::LoadFrameGrabberDll(folder, nullptr), 1);
        EXPECT_EQ(Names(), ::alidade::Names{L"Dummy"});
    }
}

TEST_F(PluginScan, FindsPluginsAtAnyDepthOnceAndSortsTheirNames)
{
    const fs::path before = fs::current_path();
    const ::alidade::Names expected = {L"Deep",      L"Dummy",      L"FactoryThrows", L"Good",
                                       L"InitFails", L"InitThrows", L"NullFactory"};
    for (const wchar_t* tail : {L"", L"/", L"\\/\\"}) {
        EXPECT_EQ(CFrameGrabber::LoadFrameGrabberDll((PluginFolder("good") + tail).c_str(), nullptr), 1);
        EXPECT_EQ(Names(), expected);
    }
    EXPECT_EQ(fs::current_path(), before);
}

TEST_F(PluginScan, PassesOverWhatIsNoPluginAndGoesOn)
{
    const fs::path folder = fs::path(TEST_PLUGINS) / "bad";
    std::ofstream(folder / "FG.Text.zbr.64R.dll") << "not a library at all";
    fs::create_directories(folder / "FG.Folder.zbr.64R.dll");
    EXPECT_EQ(CFrameGrabber::LoadFrameGrabberDll(FromPath(folder).c_str(), nullptr), 1);
    EXPECT_EQ(Names(), ::alidade::Names{L"Dummy"});
}

TEST_F(PluginScan, FollowsLinksThatLeadBackOnlyOnceAndGoesToAnyDepth)
{
    const CTempFolder folder;
    fs::path deep = folder.Path();
    for (int level = 0; level < 70; ++level) {
        deep /= "d";
    }
    fs::create_directories(deep);
    fs::copy_file(fs::path(TEST_PLUGINS) / "dummy/FG.OwnDummy.zbr.64R.dll", deep / "FG.OwnDummy.zbr.64R.dll");
    for (const char* link : {"a", "b"}) {
        fs::create_directory_symlink(folder.Path(), folder / link);
    }
    EXPECT_EQ(CFrameGrabber::LoadFrameGrabberDll(FromPath(folder.Path()).c_str(), nullptr), 1);
    CString message;
    EXPECT_TRUE(CFrameGrabber::GetFrameGrabber(L"Dummy", CProfileSection(), message));
    EXPECT_EQ(message, L"ready");
}

TEST_F(PluginScan, PatternReplacesTheDefaultForTheFolderAndBelow)
{
    CFrameGrabber::LoadFrameGrabberDll(PluginFolder("good").c_str(), L"*Deep*");
    EXPECT_EQ(Names(), (::alidade::Names{L"Deep", L"Dummy"}));
}

TEST_F(PluginScan, PluginThatCallsItselfDummyDisplacesTheBuiltIn)
{
    CFrameGrabber::LoadFrameGrabberDll(PluginFolder("dummy").c_str(), nullptr);
    ASSERT_EQ(Names(), ::alidade::Names{L"Dummy"});
    CString message;
    const auto grabber = CFrameGrabber::GetFrameGrabber(L"Dummy", CProfileSection(), message);
    ASSERT_TRUE(grabber);
    EXPECT_EQ(message, L"ready");
}

TEST_F(PluginScan, GivesAnIndependentGrabberForEachCall)
{
    CFrameGrabber::LoadFrameGrabberDll(PluginFolder("good").c_str(), nullptr);
    CString message;
    auto a = CFrameGrabber::GetFrameGrabber(L"Good", CProfileSection(), message);
    auto b = CFrameGrabber::GetFrameGrabber(L"Good", CProfileSection(), message);
    ASSERT_TRUE(a && b);
    EXPECT_NE(a.Get(), b.Get());
    EXPECT_NE(a->GetFrameGrabberInterface(), b->GetFrameGrabberInterface());
    a.Release();
    b.Release();
}

TEST_F(PluginScan, FailsCleanlyForEachWayADriverCannotBeHad)
{
    CFrameGrabber::LoadFrameGrabberDll(PluginFolder("good").c_str(), nullptr);
    struct {
        const wchar_t* name;
        const wchar_t* message; // what stands in it afterwards
    } const cases[] = {{nullptr, L"untouched"},
                       {L"", L"untouched"},
                       {L"good", L"untouched"},
                       {L"NoSuch", L"untouched"},
                       {L"NullFactory", L"untouched"},
                       {L"FactoryThrows", L"untouched"},
                       {L"InitFails", L"no camera answers"},
                       {L"InitThrows", L"the camera is on fire"}};
    for (const auto& c : cases) {
        CString message = L"untouched";
        EXPECT_FALSE(CFrameGrabber::GetFrameGrabber(c.name, CProfileSection(), message));
        EXPECT_EQ(message, c.message) << (c.name != nullptr ? ToNarrow(c.name) : "null");
    }
}

TEST_F(PluginScan, ShowsTheSettingsOfADriverAndNoneOfAnUnknownOne)
{
    CFrameGrabber::LoadFrameGrabberDll(PluginFolder("good").c_str(), nullptr);
    TList<CMFCPropertyGridProperty, int, int> properties;
    CFrameGrabber::GetFrameGrabberProperties(L"Dummy", properties);
    const auto table = CFrameGrabberDummy::GetSettingTable();
    ASSERT_EQ(static_cast<std::size_t>(properties.Count()), table.size());
    std::size_t row = 0;
    for (const CMFCPropertyGridProperty* property : properties) {
        EXPECT_EQ(property->GetName(), table[row].key);
        EXPECT_EQ(property->GetValue(), L"");
        EXPECT_EQ(property->IsEditAllowed(), table[row].allowEdit);
        ++row;
    }
    EXPECT_EQ(properties.NodeAt(1)->item->GetOptions().size(), 5u);
    EXPECT_EQ(properties.NodeAt(3)->item->GetOptions().at(2), L"2. Brightness(10~110)");
    CFrameGrabber::GetFrameGrabberProperties(L"dummy", properties);
    EXPECT_EQ(properties.Count(), 0);
    CFrameGrabber::GetFrameGrabberProperties(L"FactoryThrows", properties); // throws half-way
    EXPECT_EQ(properties.Count(), 1);
}

} // namespace
} // namespace alidade
