#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"
#include "tests/layout/LayoutHarness.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace alidade {
namespace {

TEST(LayoutStore, ADiskThatFillsUpIsLoggedAndLeavesTheFileAsFarAsItCame)
{
    CIPClient client;
    CLogLines log;
    InitVision(&client, nullptr, &log, L"/no/such/folder");
    const CTempFolder folder;
    folder.Write("a", std::string(5000, 'x'));
    const CCameraLayoutItem item = RandomLayout(22, 100);
    const CString path = FromPath(folder / "a");

    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 1000;
    std::signal(SIGXFSZ, SIG_IGN); // the write then fails, as on a full disk
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const int stored = item.Store(path.c_str());
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);

    EXPECT_EQ(stored, 0);
    EXPECT_EQ(folder.Read("a"), Stored(item).substr(0, 1000));
    EXPECT_EQ(log.Count("CCameraLayoutItem::Store : "), 1);
    EXPECT_EQ(item.Store(L"/dev/full"), 0);
    EXPECT_EQ(log.Count("CCameraLayoutItem::Store : "), 2);
    InitVision(nullptr, nullptr, nullptr, L"/no/such/folder");
}

} // namespace
} // namespace alidade
