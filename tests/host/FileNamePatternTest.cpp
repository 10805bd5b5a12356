#include "host/FileNamePattern.h"

#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(FileNamePattern, PutsTheNumberIn)
{
    const struct {
        const wchar_t* pattern;
        std::uint32_t number;
        const wchar_t* file;
    } cases[] = {
        {L"out/%04d.png", 7, L"out/0007.png"},
        {L"out\\a%d.png", 7, L"out/a7.png"},
        {L"%3d.png", 7, L"  7.png"},
        {L"%02d.png", 12345, L"12345.png"},
        {L"100%%-%d%%.png", 3, L"100%-3%.png"},
        {L"50%%/\u00e9%d.png", 4294967295u, L"50%/\u00e94294967295.png"},
    };
    for (const auto& c : cases) {
        CFileNamePattern pattern;
        CString error;
        EXPECT_EQ(pattern.Parse(c.pattern, error), 1) << ToNarrow(c.pattern) << ": " << ToNarrow(error);
        EXPECT_EQ(pattern.GetFile(c.number), ToPath(c.file));
    }
}

TEST(FileNamePattern, RefusesWhatIsNotExactlyOneNumber)
{
    for (const wchar_t* text :
         {L"", L"a.png", L"%d-%d.png", L"%s.png", L"%n%d.png", L"%d.png%", L"%", L"%04", L"%-4d.png",
          L"%ld.png", L"%*d.png", L"%1$d.png", L"%21d.png", L"%99999999999999999999d.png", L"%%d.png",
          L"%x.png", L"%d/a.png", L"%d\\a.png"}) {
        CFileNamePattern pattern;
        CString error;
        EXPECT_EQ(pattern.Parse(text, error), 0) << ToNarrow(text);
        EXPECT_FALSE(error.empty()) << ToNarrow(text);
    }
}

TEST(FileNamePattern, TellsFolderAndExtension)
{
    CFileNamePattern pattern;
    CString error;
    ASSERT_EQ(pattern.Parse(L"out/deep/%d.PNG", error), 1);
    EXPECT_EQ(pattern.GetFolder(), std::filesystem::path("out/deep"));
    EXPECT_EQ(pattern.GetExtension(), L".png");
    ASSERT_EQ(pattern.Parse(L"%d.tiff", error), 1);
    EXPECT_EQ(pattern.GetFolder(), std::filesystem::path("."));
}

} // namespace
} // namespace alidade
