#include "tests/view/window/ViewHarness.h"

#include <csignal>
#include <sys/resource.h>

namespace alidade {
namespace {

/// While it lives no file of this process grows, as on a full disk.
class CFullDisk {
public:
    CFullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_limit);
        const rlimit none = {0, m_limit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    ~CFullDisk() { ::setrlimit(RLIMIT_FSIZE, &m_limit); }

private:
    rlimit m_limit{};
};

TEST(ViewSystem, AFullDiskFailsTheSaveKeepsTheFileAndLetsTheViewGoOn)
{
    CVision vision;
    CViewUnderTest view;
    auto& camera = view.Attach(new CHandDriver, "Cam1");
    ASSERT_EQ(view->SaveSettings(), 1);
    const std::string whole = vision.m_folder.Read("settings.ini");
    ASSERT_FALSE(whole.empty());
    int saved = -1;
    {
        const CFullDisk full;
        view->ShowToolMenu(0);
        saved = view->SaveSettings();
    }
    EXPECT_EQ(saved, 0);
    EXPECT_GE(vision.m_log.CountErrors(), 1);
    EXPECT_EQ(vision.m_folder.Read("settings.ini"), whole);
    EXPECT_EQ(view->IsToolMenuVisible(), 0);
    EXPECT_TRUE(view.ShowGrey(camera, 80));
    EXPECT_EQ(view->SaveSettings(), 1);
    EXPECT_NE(vision.m_folder.Read("settings.ini"), whole);
}

} // namespace
} // namespace alidade
