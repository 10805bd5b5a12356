#include "tests/view/window/ViewHarness.h"

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

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

#if !defined(__SANITIZE_ADDRESS__) // whose companion needs handles of its own to look at a pointer
/// While it lives this process gets no further handle.
class CNoHandles {
public:
    CNoHandles()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_limit);
        const int lowestFree = ::dup(0);
        ::close(lowestFree);
        const rlimit taken = {static_cast<rlim_t>(lowestFree), m_limit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &taken);
    }
    ~CNoHandles() { ::setrlimit(RLIMIT_NOFILE, &m_limit); }

private:
    rlimit m_limit{};
};

TEST(ViewSystem, WithoutAHandleLeftTheViewSaysThatNothingIsShown)
{
    CVision vision;
    CViewUnderTest view;
    {
        const CNoHandles none;
        view.Attach(new CHandDriver);
    }
    EXPECT_EQ(vision.m_log.Count("nothing is shown"), 1);
    EXPECT_EQ(vision.m_log.CountErrors(), 1);
    EXPECT_FALSE(view->GetDisplay()->IsRunning());
    EXPECT_TRUE(view.ShowGrey(view.Attach(new CHandDriver), 80));
    EXPECT_EQ(vision.m_log.CountErrors(), 1);
}
#endif

} // namespace
} // namespace alidade
