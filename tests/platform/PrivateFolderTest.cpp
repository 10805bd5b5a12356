#include "foundation/platform/PrivateFolder.h"

#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace alidade;

TEST(PrivateFolder, IsMadeOrTakenAndWhyNotIsTold)
{
    CTempFolder folder;
    CString error;
    EXPECT_EQ(MakePrivateFolder(folder / "own", error), 1);
    EXPECT_EQ(MakePrivateFolder(folder / "own", error), 1); // it is there
    EXPECT_TRUE(std::filesystem::is_directory(folder / "own"));
    EXPECT_TRUE(error.empty());

    folder.Write("file", "text");
    for (const auto& path : {folder / "missing" / "below", folder / "file"}) {
        error.clear();
        EXPECT_EQ(MakePrivateFolder(path, error), 0) << path;
        EXPECT_NE(error.find(FromPath(path)), CString::npos) << ToNarrow(error);
        EXPECT_EQ(error.find(SystemErrorText(0)), CString::npos) << ToNarrow(error);
    }
}

TEST(PrivateFolder, AFileLockIsHadByOneAtATime)
{
    CTempFolder folder;
    CString error;
    {
        CFileLock first;
        EXPECT_EQ(first.Lock(folder / "lock", 0, error), 1) << ToNarrow(error);
        CFileLock second;
        EXPECT_EQ(second.Lock(folder / "lock", 20, error), 0);
        EXPECT_NE(error, L"");
    }
    CFileLock third;
    EXPECT_EQ(third.Lock(folder / "lock", 0, error), 1) << "it goes with the object";
    EXPECT_EQ(CFileLock().Lock(folder / "missing" / "lock", 0, error), 0);
}
