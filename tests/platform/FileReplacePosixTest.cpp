#include "foundation/platform/FileReplace.h"

#include "tests/support/TempFolder.h"

#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace alidade;
namespace fs = std::filesystem;

namespace {

/// Runs `body` in a child process, whose rights may be cut down; gives what it returned.
int InChild(const std::function<int()>& body)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

mode_t ModeOf(const fs::path& path)
{
    struct stat info = {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0);
    return info.st_mode & 07777;
}

std::ptrdiff_t CountEntries(const fs::path& folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

} // namespace

TEST(FileReplacePosix, AFileThatMayNotBeWrittenStays)
{
    CTempFolder folder;
    folder.Write("settings.ini", "old");
    ::chmod((folder / "settings.ini").c_str(), 0444);
    ::chmod(folder.Path().c_str(), 0777); // the folder alone would let it be replaced
    const int result = InChild([&] {
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            return 2;
        }
        CString error;
        return ReplaceFileWith(folder / "settings.ini", "new", &error) == 0 && !error.empty() ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(folder.Read("settings.ini"), "old");
    EXPECT_EQ(CountEntries(folder.Path()), 1);
}

TEST(FileReplacePosix, TheModeIsKeptWhateverTheMask)
{
    CTempFolder folder;
    const mode_t oldMask = ::umask(077);
    for (const mode_t mode : {0600u, 0644u, 0666u, 0755u}) {
        folder.Write("file", "old");
        ::chmod((folder / "file").c_str(), mode);
        EXPECT_EQ(ReplaceFileWith(folder / "file", "new"), 1);
        EXPECT_EQ(ModeOf(folder / "file"), mode);
        EXPECT_EQ(folder.Read("file"), "new");
    }
    ::umask(027);
    EXPECT_EQ(ReplaceFileWith(folder / "fresh", "new"), 1);
    EXPECT_EQ(ModeOf(folder / "fresh"), 0640u);
    ::umask(oldMask);
}

TEST(FileReplacePosix, LinksAreFollowedAndStayLinks)
{
    CTempFolder folder;
    fs::create_directory(folder / "real");
    folder.Write("real/file", "old");
    fs::create_symlink("real/file", folder / "link");
    fs::create_symlink("link", folder / "second");
    fs::create_symlink("real/later", folder / "dangling");
    EXPECT_EQ(ReplaceFileWith(folder / "second", "new"), 1);
    EXPECT_EQ(folder.Read("real/file"), "new");
    EXPECT_EQ(ReplaceFileWith(folder / "dangling", "made"), 1);
    EXPECT_EQ(folder.Read("real/later"), "made");
    for (const char* link : {"link", "second", "dangling"}) {
        EXPECT_TRUE(fs::is_symlink(folder / link)) << link;
    }
    fs::create_symlink("loop", folder / "loop");
    CString error;
    EXPECT_EQ(ReplaceFileWith(folder / "loop", "new", &error), 0);
    EXPECT_FALSE(error.empty());
}

TEST(FileReplacePosix, ALeftOverOfACrashIsNotInTheWay)
{
    // A process that crashed in the middle had the same number; its first temporary names are taken.
    CTempFolder folder;
    constexpr int kTaken = 60;
    const int result = InChild([&] {
        for (int i = 0; i < kTaken; ++i) {
            folder.Write("file.tmp" + std::to_string(::getpid()) + "-" + std::to_string(i), "left over");
        }
        return ReplaceFileWith(folder / "file", "new") == 1 ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(folder.Read("file"), "new");
    EXPECT_EQ(CountEntries(folder.Path()), kTaken + 1); // what belongs to somebody else is left alone
}

TEST(FileReplacePosix, DevicesAndPipesAreWrittenToAndNeverReplaced)
{
    const int result = InChild([&] {
        // Without the administrator's rights: a fault must not cost the system its devices.
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            return 2;
        }
        CString error;
        const bool isWritten = ReplaceFileWith("/dev/null", "text", &error) == 1;
        const bool isFull = ReplaceFileWith("/dev/full", "text", &error) == 0;
        return isWritten && isFull && !error.empty() ? 0 : 1;
    });
    EXPECT_EQ(result, 0);

    CTempFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    CString error;
    EXPECT_EQ(ReplaceFileWith(folder / "pipe", "text", &error), 0); // nobody reads: no waiting either
    EXPECT_FALSE(error.empty());
    const int reader = ::open((folder / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(ReplaceFileWith(folder / "pipe", "text"), 1);
    char read[8] = {};
    EXPECT_EQ(::read(reader, read, sizeof(read)), 4);
    EXPECT_STREQ(read, "text");
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
}
