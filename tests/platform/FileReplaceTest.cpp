#include "foundation/platform/FileReplace.h"

#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace alidade;
namespace fs = std::filesystem;

namespace {

std::ptrdiff_t CountEntries(const fs::path& folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

} // namespace

TEST(FileReplace, AFileIsMadeAndReplacedWhole)
{
    CTempFolder folder;
    const fs::path path = folder / ToPath(L"Einstellungen \u00E4.ini");
    const std::string big(3 << 20, 'x');
    for (const std::string& bytes : {std::string("new"), big, std::string("a\0\r\n", 4), std::string()}) {
        CString error;
        ASSERT_EQ(ReplaceFileWith(path, bytes, &error), 1);
        std::string read = "before";
        ASSERT_EQ(ReadWholeFile(path, read, &error), 1);
        EXPECT_EQ(read, bytes);
        EXPECT_TRUE(error.empty());
        EXPECT_EQ(CountEntries(folder.Path()), 1); // no temporary file is left
    }
}

TEST(FileReplace, WhatCannotBeReplacedStaysAndTheReasonIsTold)
{
    CTempFolder folder;
    fs::create_directory(folder / "folder");
    folder.Write("file", "old");
    for (const fs::path& path :
         {folder / "missing" / "file.ini", folder / "folder", folder / "file" / "below"}) {
        CString error;
        EXPECT_EQ(ReplaceFileWith(path, "new", &error), 0) << path;
        EXPECT_FALSE(error.empty()) << path;
        EXPECT_EQ(ReplaceFileWith(path, "new"), 0) << path;
    }
    EXPECT_EQ(folder.Read("file"), "old");
    EXPECT_TRUE(fs::is_directory(folder / "folder"));
    EXPECT_EQ(CountEntries(folder.Path()), 2);
}

TEST(FileReplace, ReadingTooMuchOrNothingLeavesTheTextAlone)
{
    CTempFolder folder;
    folder.Write("ten", "0123456789");
    std::string bytes = "kept";
    CString error;
    EXPECT_EQ(ReadWholeFile(folder / "ten", bytes, &error, 9), 0);
    EXPECT_FALSE(error.empty());
    for (const fs::path& path : {folder / "missing", folder.Path(), fs::path()}) {
        error.clear();
        EXPECT_EQ(ReadWholeFile(path, bytes, &error), 0) << path;
        EXPECT_FALSE(error.empty()) << path;
    }
    EXPECT_EQ(bytes, "kept");
    EXPECT_EQ(ReadWholeFile(folder / "ten", bytes, &error, 10), 1);
    EXPECT_EQ(bytes, "0123456789");
}
