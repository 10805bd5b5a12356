// Cameras come and go while frames flow. Counts threads and handles as the system shows them.
#include "tests/view/window/ViewHarness.h"

#include <filesystem>
#include <fstream>
#include <opencv2/core/utility.hpp>
#include <unistd.h>

namespace alidade {
namespace {

using namespace std::chrono_literals;

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

std::ptrdiff_t CountEntries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

int CountThreads(const std::string& name)
{
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string line;
        std::getline(std::ifstream(thread.path() / "comm"), line);
        count += line == name ? 1 : 0;
    }
    return count;
}

/// A thread that was joined is still listed for a moment.
bool WaitForThreads(const std::string& name, int count)
{
    return ServeUntil([&] { return CountThreads(name) == count; });
}

class ViewSoak : public ::testing::Test {
protected:
    /// Helper threads of OpenCV would have the name of the display thread that made them.
    ViewSoak() { cv::setNumThreads(1); }
};

TEST_F(ViewSoak, TwoGrabbersInTurnLeaveOneDisplayThread)
{
    CVision vision;
    CViewUnderTest view;
    EXPECT_EQ(CountThreads("display"), 0);
    for (int i = 0; i < 2; ++i) {
        const std::uint64_t before = view->GetDisplay()->GetFrame().number;
        view.Attach(new CStreamDriver({Uniform({64, 48}, CV_8UC1, 10)}, 1ms));
        ASSERT_TRUE(ServeUntil([&] { return view->GetDisplay()->GetFrame().number > before + 2; }));
        EXPECT_TRUE(WaitForThreads("display", 1));
        EXPECT_TRUE(WaitForThreads("test camera", 1));
    }
    view.Detach();
    EXPECT_TRUE(WaitForThreads("display", 0));
    EXPECT_TRUE(WaitForThreads("test camera", 0));
}

TEST_F(ViewSoak, NothingStaysOfCamerasThatCameAndWent)
{
    CVision vision;
    CViewUnderTest view({200, 150});
    const std::vector<cv::Mat> frames = {Uniform({64, 48}, CV_8UC1, 10), Uniform({32, 96}, CV_8UC3, 20)};
    const auto cycle = [&](int number) {
        auto& camera = view.Attach(new CStreamDriver(frames, 100us), "Cam1");
        // Some go before their first frame, some in the middle of the first ones, some after a picture.
        if (number % 50 == 0) {
            view.m_window.show();
            const std::uint64_t before = view->GetDisplay()->GetFrame().number;
            ASSERT_TRUE(ServeUntil([&] { return view->GetDisplay()->GetFrame().number > before; }));
        } else {
            const CDeadline deadline(60000);
            while (camera.CountDelivered() < static_cast<std::uint64_t>(number % 4) && !deadline.IsOver()) {
                std::this_thread::yield();
            }
        }
        if (number % 3 == 0) {
            view.Detach();
        }
        if (number % 7 == 0) {
            view.m_window.setVisible(!view.m_window.isVisible());
        }
        QCoreApplication::processEvents();
    };
    for (int number = 1; number <= 50; ++number) { // what is made once is made
        cycle(number);
    }
    view.Detach();
    ASSERT_TRUE(WaitForThreads("display", 0) && WaitForThreads("test camera", 0));
    const auto threads = CountEntries("/proc/self/task");
    const auto handles = CountEntries("/proc/self/fd");
    for (int number = 1; number <= 500 && !testing::Test::HasFatalFailure(); ++number) {
        cycle(number);
    }
    view.Detach();
    EXPECT_TRUE(ServeUntil([&] { return CountEntries("/proc/self/task") <= threads; }));
    EXPECT_TRUE(WaitForThreads("display", 0));
    EXPECT_LE(CountEntries("/proc/self/fd"), handles);
}

} // namespace
} // namespace alidade
