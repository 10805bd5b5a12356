#include "foundation/platform/Interrupt.h"

#include <csignal>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

volatile std::sig_atomic_t g_seen = 0;

void OldHandler(int)
{
    g_seen = 1;
}

} // namespace

TEST(InterruptPosix, ASignalSetsTheEventAndTheOldHandlerComesBack)
{
    std::signal(SIGINT, OldHandler);
    for (const int signal : {SIGINT, SIGTERM}) {
        CInterrupt interrupt;
        EXPECT_FALSE(interrupt.IsRequested());
        EXPECT_THROW(CInterrupt(), std::logic_error);
        std::raise(signal);
        EXPECT_TRUE(interrupt.IsRequested());
        EXPECT_TRUE(interrupt.GetEvent().Wait(0)); // it stays set
        EXPECT_EQ(g_seen, 0);
    }
    std::raise(SIGINT);
    EXPECT_EQ(g_seen, 1);
    std::signal(SIGINT, SIG_DFL);
}

TEST(InterruptPosix, ASecondSignalEndsTheProcess)
{
    const pid_t child = ::fork();
    if (child == 0) {
        CInterrupt interrupt;
        std::raise(SIGINT);
        std::raise(SIGINT);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}
