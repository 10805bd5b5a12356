#include "foundation/bus/IPTask.h"
#include "foundation/platform/Text.h"

using namespace alidade;

TEST(TaskPath, RelativePathsCountFromTheTasksFolder)
{
    const CString root = FromPath(std::filesystem::current_path().root_path());
    const IIPTask task((root + L"machine/task").c_str());
    struct T_CASE {
        const wchar_t* path;
        const wchar_t* absolute; // below the root
        const wchar_t* relative; // of the absolute one
    };
    for (const T_CASE& c : {T_CASE{L"a.ini", L"machine/task/a.ini", L"a.ini"},
                            T_CASE{L"..\\layout\\b.lay", L"machine/layout/b.lay", L"../layout/b.lay"},
                            T_CASE{L"x/./y/../z", L"machine/task/x/z", L"x/z"},
                            T_CASE{L"../../../../c", L"c", L"../../c"}, T_CASE{L"", L"machine/task", L"."}}) {
        SCOPED_TRACE(ToNarrow(c.path));
        const CString absolute = FromPath(ToPath(root + c.absolute));
        EXPECT_EQ(task.GetAbsPath(c.path), absolute);
        EXPECT_EQ(task.GetRelPath(absolute.c_str()), FromPath(ToPath(c.relative)));
        EXPECT_EQ(task.GetAbsPath(task.GetRelPath(absolute.c_str()).c_str()), absolute);
    }
    EXPECT_EQ(task.GetAbsPath(nullptr), task.GetAbsPath(L""));
    EXPECT_EQ(task.GetRelPath(nullptr), L"");
    EXPECT_EQ(task.GetAbsPath((root + L"other").c_str()), root + L"other");
}

TEST(TaskPath, ATasksOwnRelativeFolderCountsFromTheCurrentOne)
{
    const CString here = FromPath(std::filesystem::current_path());
    EXPECT_EQ(IIPTask(nullptr).GetAbsPath(L""), here);
    EXPECT_EQ(IIPTask(L"sub\\task").GetAbsPath(L"f"),
              FromPath(std::filesystem::current_path() / "sub/task/f"));
}
