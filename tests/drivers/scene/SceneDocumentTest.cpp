// The plug-in's exports, and that its page agrees with its table of settings.

#include "SceneHarness.h"
#include "alidade/driver/Driver.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Module.h"

namespace alidade {
namespace {

TEST(ScenePlugin, ExportsNameLayoutAndProperties)
{
    HMODULE module = LoadModule(ALIDADE_SCENE_PLUGIN);
    ASSERT_NE(module, nullptr);
    char name[64] = "";
    GetModuleFunction<GetFrameGrabberNameFunction>(module, "GetFrameGrabberName")(name, sizeof(name));
    EXPECT_STREQ(name, "Scene");
    TList<CMFCPropertyGridProperty, int, int> properties;
    TList<CString, int, int> cameras;
    GetModuleFunction<GetFrameGrabberPropertiesFunction>(module, "GetFrameGrabberProperties")(properties,
                                                                                              cameras);
    std::size_t count = 0;
    for (const CMFCPropertyGridProperty* property : properties) {
        EXPECT_EQ(property->GetName(), GetSceneSettingTable()[count++].key);
    }
    EXPECT_EQ(count, GetSceneSettingTable().size());
}

TEST(ScenePlugin, ItsPageHasTheTableOfSettings)
{
    std::string page;
    ASSERT_TRUE(ReadWholeFile(std::filesystem::path(ALIDADE_DOCS_DIR) / "scene.md", page));
    for (const T_DRIVER_SETTING& row : GetSceneSettingTable()) {
        const CString value = *row.defaultValue != L'\0' ? Format(L"`%s`", row.defaultValue) : L"(empty)";
        const CStringA line =
            ToNarrow(Format(L"| `%s` | %s | %s | %s |", row.key, row.type, value.c_str(), row.description));
        EXPECT_NE(page.find(line), page.npos) << "docs/scene.md lacks the row\n" << line;
    }
}

} // namespace
} // namespace alidade
