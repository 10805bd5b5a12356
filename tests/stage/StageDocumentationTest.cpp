#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "stage/StageSettings.h"
#include "widgets/PropertyGridGroup.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(StageDocumentation, ListsEverySettingOfEveryGroupInOrder)
{
    std::string text;
    ASSERT_EQ(ReadWholeFile(STAGE_DOC, text), 1);
    std::size_t at = 0;
    const auto find = [&](const std::string& line) {
        const std::size_t found = text.find(line, at);
        EXPECT_NE(found, std::string::npos) << line;
        at = found != std::string::npos ? found : at;
    };
    const auto code = [](const wchar_t* value) {
        return *value != L'\0' ? "`" + ToNarrow(value) + "`" : std::string("(empty)");
    };
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        find("### " + ToNarrow(group.name) + "\n");
        for (const T_STAGE_SETTING& row : group.rows) {
            if (CString(row.name) != kPropertySeparator) {
                find("| " + code(row.name) + " | " + code(row.defaultValue) + " | ");
            }
        }
    }
}

} // namespace
} // namespace alidade
