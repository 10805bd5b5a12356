#include "acquisition/FrameGrabberDummy.h"
#include "acquisition/GrabberSettings.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(GrabberDocumentation, ListsEverySettingWithItsTypeAndDefault)
{
    std::string text;
    ASSERT_EQ(ReadWholeFile(GRABBER_DOC, text), 1);
    for (const auto table : {GetGrabberSettingTable(), CFrameGrabberDummy::GetSettingTable()}) {
        for (const T_DRIVER_SETTING& row : table) {
            const std::string line = "| `" + ToNarrow(row.key) + "` | " + ToNarrow(row.type) + " | " +
                                     ToNarrow(row.defaultValue) + " |";
            EXPECT_NE(text.find(line), std::string::npos) << line;
        }
    }
}

} // namespace
} // namespace alidade
