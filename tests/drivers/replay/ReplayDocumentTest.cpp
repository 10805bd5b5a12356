// The plug-in's exports, and that its page agrees with its table of settings.

#include "ReplayHarness.h"
#include "drivers/replay/ReplaySettings.h"
#include "foundation/platform/FileReplace.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(ReplayPlugin, ExportsNameLayoutAndProperties)
{
    HMODULE module = ReplayModule();
    ASSERT_NE(module, nullptr);
    char name[64] = "";
    GetModuleFunction<GetFrameGrabberNameFunction>(module, "GetFrameGrabberName")(name, sizeof(name));
    EXPECT_STREQ(name, "Replay");
    EXPECT_EQ(
        GetModuleFunction<GetFrameGrabberLayoutVersionFunction>(module, "GetFrameGrabberLayoutVersion")(),
        static_cast<DWORD>(ALIDADE_DRIVER_LAYOUT_VERSION));

    TList<CMFCPropertyGridProperty, int, int> properties;
    TList<CString, int, int> cameras;
    GetModuleFunction<GetFrameGrabberPropertiesFunction>(module, "GetFrameGrabberProperties")(properties,
                                                                                              cameras);
    std::vector<CString> keys;
    for (const CMFCPropertyGridProperty* property : properties) {
        keys.push_back(property->GetName());
        EXPECT_TRUE(property->GetValue().empty());
    }
    EXPECT_EQ(keys,
              (std::vector<CString>{L"Replay.Source", L"Replay.FrameRate", L"Replay.Loop", L"Replay.Color"}));
}

TEST(ReplayPlugin, ItsPageHasTheTableOfSettings)
{
    std::string page;
    ASSERT_TRUE(ReadWholeFile(std::filesystem::path(ALIDADE_DOCS_DIR) / "replay.md", page));
    for (const T_DRIVER_SETTING& row : GetReplaySettingTable()) {
        const CString value = *row.defaultValue != L'\0' ? Format(L"`%s`", row.defaultValue) : L"(empty)";
        const CStringA line =
            ToNarrow(Format(L"| `%s` | %s | %s | %s |", row.key, row.type, value.c_str(), row.description));
        EXPECT_NE(page.find(line), page.npos) << "docs/replay.md lacks the row\n" << line;
    }
}

} // namespace
} // namespace alidade
