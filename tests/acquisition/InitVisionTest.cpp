#include "acquisition/InitVision.h"

#include "acquisition/FrameGrabber.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Path.h"
#include "tests/support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(InitVision, RemembersNothingWithoutAClientButLoadsThePlugins)
{
    namespace fs = std::filesystem;
    CFrameGrabber::UnloadFrameGrabberDll();
    CSimpleLog log;
    CSimpleLog* const before = GetVisionLog();
    const CString folder = FromPath(fs::path(TEST_PLUGINS) / "good");
    const CTempFolder current;
    fs::copy(fs::path(TEST_PLUGINS) / "dummy", current / "FG");
    {
        const CPushDirectory pushed(FromPath(current.Path()).c_str());
        EXPECT_EQ(InitVision(nullptr, nullptr, &log, folder.c_str()), 0);
    }
    EXPECT_EQ(GetVisionLog(), before);
    TList<CString, int, int> names;
    CFrameGrabber::GetFrameGrabberList(names);
    EXPECT_EQ(names.Count(), 7);
    CString message;
    EXPECT_TRUE(CFrameGrabber::GetFrameGrabber(L"Dummy", CProfileSection(), message));
    EXPECT_EQ(message, L"ready") << "the plug-in of the current folder's FG comes first";
    CFrameGrabber::UnloadFrameGrabberDll();
}

TEST(InitVision, TakesTheClientsOwnObjectsForMissingOnes)
{
    static CProfile ownProfile, profile; // static: the library keeps them for the rest of the process
    static CSimpleLog ownLog, log;
    static CIPClient client(&ownProfile, &ownLog);
    EXPECT_EQ(InitVision(&client, nullptr, nullptr, L"/no/such/folder"), 1);
    EXPECT_EQ(GetVisionClient(), &client);
    EXPECT_EQ(GetVisionProfile(), &ownProfile);
    EXPECT_EQ(GetVisionLog(), &ownLog);
    EXPECT_EQ(InitVision(&client, &profile, &log, L"/no/such/folder"), 1);
    EXPECT_EQ(GetVisionProfile(), &profile);
    EXPECT_EQ(GetVisionLog(), &log);

    CString message;
    const auto grabber = CFrameGrabber::GetFrameGrabber(L"Dummy", CProfileSection(), message);
    ASSERT_TRUE(grabber);
    EXPECT_EQ(grabber->GetFrameGrabberInterface()->GetLog(), &log);
    CFrameGrabber::UnloadFrameGrabberDll();
}

} // namespace
} // namespace alidade
