#include "foundation/platform/Module.h"

#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace alidade;
namespace fs = std::filesystem;

namespace {

void AnAddressInThisProgram()
{
}

fs::path ProgramPath()
{
    return GetModulePath(reinterpret_cast<const void*>(&AnAddressInThisProgram));
}

} // namespace

TEST(Module, ALibraryLoadsByItsPathWhateverItsNameEndsIn)
{
    const fs::path path = ProgramPath().parent_path() / "alidade.test.module.bin";
    CString error;
    HMODULE module = LoadModule(path, &error);
    ASSERT_NE(module, nullptr) << ToNarrow(error);
    EXPECT_TRUE(error.empty());
    const auto addOne = GetModuleFunction<int (*)(int)>(module, "AddOne");
    ASSERT_NE(addOne, nullptr);
    EXPECT_EQ(addOne(41), 42);
    EXPECT_EQ(GetModuleSymbol(module, "NoSuchName"), nullptr);
    EXPECT_EQ(fs::canonical(GetModulePath(reinterpret_cast<const void*>(addOne))), fs::canonical(path));
    UnloadModule(module);
}

TEST(Module, WhatIsNoLibraryGivesNullAndAReason)
{
    CTempFolder folder;
    folder.Write("text.dll", "this is no library");
    folder.Write("empty.dll", "");
    folder.Write("half.dll", std::string("\x7F"
                                         "ELF\x02\x01\x01",
                                         7) +
                                 std::string(40, '\0'));
    for (const fs::path& path : {folder / "missing.dll", folder / "text.dll", folder / "empty.dll",
                                 folder / "half.dll", folder.Path(), fs::path()}) {
        CString error;
        EXPECT_EQ(LoadModule(path, &error), nullptr) << path;
        EXPECT_FALSE(error.empty()) << path;
        EXPECT_EQ(LoadModule(path), nullptr) << path;
    }
}

TEST(Module, NullIsPassedOver)
{
    UnloadModule(nullptr);
    EXPECT_EQ(GetModuleSymbol(nullptr, "malloc"), nullptr);
    EXPECT_TRUE(GetModulePath(nullptr).empty());
}

TEST(Module, TheProgramsOwnPathIsAbsolute)
{
    EXPECT_TRUE(ProgramPath().is_absolute()) << ProgramPath();
    EXPECT_EQ(ProgramPath().stem(), "alidade-test-platform");
}
