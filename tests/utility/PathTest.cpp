#include "foundation/utility/Path.h"
#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(Path, SplitsBehindTheLastSeparatorOfEitherKind)
{
    const struct {
        const wchar_t* path;
        const wchar_t* folder;
        const wchar_t* name;
        const wchar_t* extension;
    } rows[] = {
        {L"/a/b/c.png", L"/a/b", L"c", L".png"},
        {L"C:\\a\\b\\c.tar.gz", L"C:\\a\\b", L"c.tar", L".gz"},
        {L"a\\b/c", L"a\\b", L"c", L""},
        {L"c.png", L"", L"c", L".png"},
        {L"/c", L"/", L"c", L""},
        {L"C:\\c", L"C:\\", L"c", L""},
        {L"/a/b/", L"/a/b", L"", L""},
        {L"/a//b", L"/a", L"b", L""},
        {L"/a.b/c", L"/a.b", L"c", L""},
        {L"/a/.hidden", L"/a", L".hidden", L""},
        {L"/a/.hidden.txt", L"/a", L".hidden", L".txt"},
        {L"/a/..", L"/a", L"..", L""},
        {L"/a/c.", L"/a", L"c", L"."},
        {L"", L"", L"", L""},
        {nullptr, L"", L"", L""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path != nullptr ? ToNarrow(row.path) : "null");
        CString folder;
        CString name;
        CString extension;
        SplitPath(row.path, folder, name, extension);
        EXPECT_EQ(folder, row.folder);
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(extension, row.extension);
        CString fileName;
        SplitPath(row.path, folder, fileName);
        EXPECT_EQ(folder, row.folder);
        EXPECT_EQ(fileName, name + extension);
    }
    CString path = L"/a/b"; // the outputs may be the input
    SplitPath(path.c_str(), path, path);
    EXPECT_EQ(path, L"b");
}

TEST(Path, MakesAbsoluteAgainstABase)
{
    CTempFolder folder;
    const CString base = FromPath(folder.Path());
    const auto absolute = [](const CString& from, const wchar_t* path) {
        CString out = L"(none)";
        GetAbsolutePath(from.c_str(), path, out);
        return ToPath(out);
    };
    EXPECT_EQ(absolute(base, L"x\\.\\y/../z.txt"), folder.Path() / "x" / "z.txt");
    EXPECT_EQ(absolute(base, L"../"), folder.Path().parent_path());
    EXPECT_EQ(absolute(base, base.c_str()), folder.Path());
    EXPECT_EQ(absolute(L"", L"here"), std::filesystem::current_path() / "here");
    EXPECT_EQ(absolute(L"sub", L"here"), std::filesystem::current_path() / "sub" / "here");
    const CString root = FromPath(std::filesystem::current_path().root_path());
    EXPECT_EQ(absolute(root, L".."), std::filesystem::current_path().root_path());
    CString out = L"kept";
    EXPECT_EQ(GetAbsolutePath(nullptr, L"", out), 0);
    EXPECT_EQ(GetAbsolutePath(nullptr, nullptr, out), 0);
    EXPECT_EQ(out, L"kept");
}

TEST(Path, CreatesFoldersWithTheirParents)
{
    CTempFolder folder;
    const CString deep = FromPath(folder / std::filesystem::path(u8"a/\u6F22/c"));
    EXPECT_EQ(CreateSubDirectories(deep.c_str()), 1);
    EXPECT_TRUE(std::filesystem::is_directory(ToPath(deep)));
    EXPECT_EQ(CreateSubDirectories((deep + L"\\").c_str()), 1);
    folder.Write("file", "x");
    EXPECT_EQ(CreateSubDirectories(FromPath(folder / "file").c_str()), 0);
    EXPECT_EQ(CreateSubDirectories(FromPath(folder / "file" / "below").c_str()), 0);
    EXPECT_EQ(CreateSubDirectories(L""), 0);
    EXPECT_EQ(CreateSubDirectories(nullptr), 0);
}

TEST(Path, FindsTheNextFreeFileName)
{
    CTempFolder folder;
    const CString base = FromPath(folder.Path());
    const auto next = [&](const wchar_t* pattern, int first = 0) {
        const CString path = GetUniqueFileName(base.c_str(), pattern, first);
        return path.empty() ? std::string() : ToPath(path).lexically_relative(folder.Path()).generic_string();
    };
    EXPECT_EQ(next(L"img_???.png"), "img_000.png");
    folder.Write("img_000.png", "");
    folder.Write("img_002.png", "");
    EXPECT_EQ(next(L"img_???.png"), "img_001.png");
    EXPECT_EQ(next(L"img_???.png", 2), "img_003.png");
    EXPECT_EQ(next(L"img_???.png", -5), "img_001.png");
    EXPECT_EQ(next(L"img_???.png", 1000), "");
    for (const char* name : {"v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v8", "v9"}) {
        folder.Write(name, "");
    }
    EXPECT_EQ(next(L"v?"), "") << "all taken";
    EXPECT_EQ(next(L"no digits"), "");
    EXPECT_EQ(GetUniqueFileName(base.c_str(), nullptr), L"");
    EXPECT_EQ(next(CString(30, L'?').c_str(), 7), std::string(29, '0').append("7"));
}

TEST(Path, APushedFolderIsLeftAgain)
{
    CTempFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    {
        const CPushDirectory pushed(FromPath(folder.Path()).c_str());
        EXPECT_TRUE(pushed.IsChanged());
        EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::current_path(), folder.Path()));
        const CPushDirectory missing(L"no such folder");
        EXPECT_FALSE(missing.IsChanged());
    }
    EXPECT_EQ(std::filesystem::current_path(), before);
    EXPECT_FALSE(CPushDirectory(nullptr).IsChanged());
}

} // namespace
} // namespace alidade
