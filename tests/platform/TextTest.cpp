#include "foundation/platform/Text.h"
#include "foundation/platform/SystemError.h"

#include <gtest/gtest.h>

using namespace alidade;

namespace {

constexpr wchar_t kLoneLow = 0xDC00;
constexpr wchar_t kLoneHigh = 0xD83D;

/// As many U+FFFD as there are malformed bytes.
CString Bad(std::size_t count)
{
    return CString(count, wchar_t(0xFFFD));
}

} // namespace

TEST(Text, Utf8IsReadStrictlyAndMalformedBytesAreMarked)
{
    const struct {
        std::string utf8;
        CString wide;
        bool isValid;
    } cases[] = {
        {"", L"", true},
        {std::string("a\0b", 3), CString(L"a\0b", 3), true},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", L"\x7F\u0080\u07FF\u0800", true},
        {"\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\uFFFF\U00010000\U0010FFFF", true},
        {"\xED\x9F\xBF\xEE\x80\x80", L"\uD7FF\uE000", true},
        {"a\x80z", L"a" + Bad(1) + L"z", false}, // a lone continuation
        {"\xC0\xAF", Bad(2), false},             // overlong forms
        {"\xE0\x80\xAF", Bad(3), false},
        {"\xF0\x80\x80\xAF", Bad(4), false},
        {"\xED\xA0\xBD\xED\xB8\x80", Bad(6), false}, // surrogates
        {"\xF4\x90\x80\x80", Bad(4), false},         // beyond U+10FFFF
        {"\xF8\x88\x80\x80\x80\xFF", Bad(6), false},
        {"x\xE2\x82", L"x" + Bad(2), false},              // cut short at the end
        {"\xE2\x82z\xC3", Bad(2) + L"z" + Bad(1), false}, // and in the middle
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ToWide(c.utf8), c.wide) << testing::PrintToString(c.utf8);
        EXPECT_EQ(IsValidUtf8(c.utf8), c.isValid) << testing::PrintToString(c.utf8);
        if (c.isValid) {
            EXPECT_EQ(ToNarrow(c.wide), c.utf8);
        }
    }
}

TEST(Text, WideTextBecomesUtf8AndUtf16AndALoneSurrogateIsMarked)
{
    const struct {
        CString wide;
        std::string utf8;
        std::u16string utf16;
    } cases[] = {
        {L"\u00E9\u20AC\U0001F600", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u00E9\u20AC\xD83D\xDE00"},
        {CString(L"a") + kLoneLow + L"b",
         "a\xEF\xBF\xBD"
         "b",
         u"a\uFFFDb"},
        {CString(1, kLoneHigh), "\xEF\xBF\xBD", u"\uFFFD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ToNarrow(c.wide), c.utf8);
        EXPECT_EQ(ToUtf16(c.wide), c.utf16);
    }
    EXPECT_EQ(FromUtf16(u"\u00E9\xD83D\xDE00!"), L"\u00E9\U0001F600!");
    EXPECT_EQ(FromUtf16(std::u16string{u'a', 0xD83D}), L"a\uFFFD");               // cut in a pair
    EXPECT_EQ(FromUtf16(std::u16string{0xDE00, 0xD83D, u'b'}), L"\uFFFD\uFFFDb"); // the wrong way round
}

TEST(Text, BackSlashesSeparateFoldersOnEveryPlatform)
{
    const std::filesystem::path path = ToPath(L"..\\icon\\vision \u00E9\U0001F600.cur");
    ASSERT_EQ(std::distance(path.begin(), path.end()), 3);
    EXPECT_EQ(*path.begin(), "..");
    EXPECT_EQ(path.parent_path().filename(), "icon");
    EXPECT_EQ(FromPath(path.filename()), L"vision \u00E9\U0001F600.cur");
    EXPECT_EQ(ToPath(L"a/b").parent_path(), "a");
    EXPECT_TRUE(ToPath(L"").empty());
}

TEST(Text, ComparisonWithoutCaseKnowsMoreThanAscii)
{
    const struct {
        CString a, b;
        int sign;
    } cases[] = {
        {L"", L"", 0},
        {L"CameraSettings", L"camerasettings", 0},
        {L"\u00C4\u00D6\u0416\u03A9", L"\u00E4\u00F6\u0436\u03C9", 0},
        {L"lens_1", L"LENS_10", -1},
        {L"B", L"a", 1},
        {L"a", L"B", -1},
        {L"a_", L"aB", -1}, // as lower case: '_' stands before 'b'
    };
    for (const auto& c : cases) {
        const auto sign = [](int order) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
        EXPECT_EQ(sign(CompareNoCase(c.a, c.b)), c.sign) << ToNarrow(c.a) << " " << ToNarrow(c.b);
        EXPECT_EQ(sign(CompareNoCase(c.b, c.a)), -c.sign);
        EXPECT_EQ(sign(CompareNoCase(ToNarrow(c.a), ToNarrow(c.b))), c.sign);
    }
}

TEST(Text, TrimTakesWhiteSpaceFromBothEndsOnly)
{
    EXPECT_EQ(Trim(L" \t\r\n a b \v\f"), L"a b");
    EXPECT_EQ(Trim(L"\uFEFFkey"), L"key"); // a byte order mark
    EXPECT_EQ(Trim(L" \t"), L"");
    EXPECT_EQ(Trim("\t\xC3\xA9 x\n"), "\xC3\xA9 x");
    EXPECT_EQ(Trim(""), "");
}

TEST(Text, ASystemErrorHasWordsAndNoLineBreak)
{
    const CString text = SystemErrorText(2); // no such file, on every platform
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text, Trim(text));
    EXPECT_FALSE(SystemErrorText(0x1234567).empty());
}
