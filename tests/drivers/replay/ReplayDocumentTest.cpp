// The plug-in's page agrees with its table of settings.

#include "drivers/replay/ReplaySettings.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

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
