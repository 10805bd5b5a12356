#include "foundation/utility/Strings.h"
#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace alidade {
namespace {

std::vector<CString> Texts(const TList<CString, int, int>& list)
{
    std::vector<CString> texts;
    for (const CString* text : list) {
        texts.push_back(*text);
    }
    return texts;
}

using Texts_t = std::vector<CString>;

TEST(Strings, SplitsAtEachSeparator)
{
    const struct {
        const wchar_t* text;
        Texts_t pieces;
    } rows[] = {
        {L"a,b,c", {L"a", L"b", L"c"}},
        {L",a,,", {L"", L"a", L"", L""}},
        {L"abc", {L"abc"}},
        {L",", {L"", L""}},
        {L"", {}},
        {nullptr, {}},
    };
    for (const auto& row : rows) {
        TList<CString, int, int> list;
        list.Insert(new CString(L"old"));
        SplitString(row.text, L',', list);
        EXPECT_EQ(Texts(list), row.pieces);
        Texts_t pieces{L"old"};
        SplitString(row.text, L',', pieces);
        EXPECT_EQ(pieces, row.pieces);
    }
}

TEST(Strings, FiltersByWildcardsAndTellsWhatTheyStoodFor)
{
    const struct {
        const wchar_t* text;
        const wchar_t* pattern;
        int flags;
        int result;
        Texts_t captures;
    } rows[] = {
        {L"FG.Replay.zbr.64R.dll", L"FG.*.zbr.64R.dll", 0, 1, {L"Replay"}},
        {L"FG.a.zbr.64R.dll.zbr.64R.dll", L"FG.*.zbr.64R.dll", 0, 1, {L"a.zbr.64R.dll"}},
        {L"fg.replay.ZBR.64r.dll", L"FG.*.zbr.64R.dll", 0, 0, {}},
        {L"fg.replay.ZBR.64r.dll", L"FG.*.zbr.64R.dll", 1, 1, {L"replay"}},
        {L"FG.Replay.zbr.64R.dll.bak", L"FG.*.zbr.64R.dll", 0, 0, {}},
        {L"img_012.png", L"img_???.*", 0, 1, {L"0", L"1", L"2", L"png"}},
        {L"img_01.png", L"img_???.*", 0, 0, {}},
        {L"abcabc", L"*b*c", 0, 1, {L"a", L"cab"}},
        {L"aXbXc", L"*X?*", 0, 1, {L"a", L"b", L"Xc"}},
        {L"abXX", L"*?X", 0, 1, {L"ab", L"X"}},
        {L"abc", L"***", 0, 1, {L"", L"", L"abc"}},
        {L"x.jpg", L"*.png|*.jpg", 0, 1, {L"x"}},
        {L"x.gif", L"*.png|*.jpg", 0, 0, {}},
        {L"", L"", 0, 1, {}},
        {L"", L"*", 0, 1, {L""}},
        {L"", L"?", 0, 0, {}},
        {L"", L"a|", 0, 1, {}},
        {L"a", L"", 0, 0, {}},
        {L"[a]", L"[a]", 0, 1, {}},
        {nullptr, L"*", 0, 0, {}},
        {L"a", nullptr, 0, 0, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.pattern != nullptr ? ToNarrow(row.pattern) : "null");
        TList<CString, int, int> captures;
        captures.Insert(new CString(L"first"));
        EXPECT_EQ(FilterString(row.text, row.pattern, captures, row.flags), row.result);
        Texts_t wanted{L"first"};
        wanted.insert(wanted.end(), row.captures.begin(), row.captures.end());
        EXPECT_EQ(Texts(captures), wanted);
    }
}

TEST(Strings, APatternOfManyStarsDoesNotTakeForever)
{
    CString pattern;
    for (int i = 0; i < 100; ++i) {
        pattern += L"*a";
    }
    TList<CString, int, int> captures;
    EXPECT_EQ(FilterString(CString(20000, L'a').c_str(), (pattern + L"b").c_str(), captures), 0);
}

TEST(Strings, WritesNumbersInTheirShortestForm)
{
    EXPECT_EQ(DtoA(-2147483647 - 1), L"-2147483648");
    EXPECT_EQ(DtoA(0), L"0");
    EXPECT_EQ(DtoA(0.1), L"0.1");
    EXPECT_EQ(DtoA(-250.0), L"-250");
    EXPECT_EQ(DtoA(1e300), L"1e+300");
    EXPECT_EQ(DtoA(1.0 / 3), L"0.3333333333333333");
}

TEST(Strings, TranslatesEscapeSequences)
{
    const struct {
        const wchar_t* text;
        CString out;
        int read;
        wchar_t stop = 0;
        const wchar_t* separator = nullptr;
    } rows[] = {
        {L"exp 5\\r\\n", L"exp 5\r\n", 9},
        {L"\\t\\a\\b\\f\\v\\\\\\\"\\'", L"\t\a\b\f\v\\\"'", 16},
        {L"a\\0b", CString(L"a\0b", 3), 4},
        {L"\\x41\\x4g\\x1", L"A\x04g\x01", 11},
        {L"\\u00e4\\uD83D\\uDCF7", L"\u00E4\U0001F4F7", 18},
        {L"\\q\\x\\u12\\", L"\\q\\x\\u12\\", 9},
        {L"ab;cd", L"ab", 2, L';'},
        {L"a\\\";b\"c", L"a\";b", 5, L'"'},
        {L"41 42,\\x20", L"4142 ", 10, 0, L" ,"},
        {L"", L"", 0},
        {nullptr, L"", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text != nullptr ? ToNarrow(row.text) : "null");
        CString out = L"old";
        EXPECT_EQ(TranslateEscapeCharacters(row.text, out, row.stop, row.separator), row.read);
        EXPECT_EQ(out, row.out);
    }
    CString text = L"a\\n"; // in place
    TranslateEscapeCharacters(text.c_str(), text);
    EXPECT_EQ(text, L"a\n");
}

TEST(Strings, DumpsBytesInHex)
{
    TList<CString, int, int> lines;
    MakeDataToHexForm(lines, "0123456789abcdef\x00\x7F\xFF", 19);
    EXPECT_EQ(Texts(lines),
              (Texts_t{L"00000000  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  |0123456789abcdef|",
                       L"00000010  00 7F FF                                         |...|"}));
    lines.DeleteAll();
    MakeDataToHexForm(lines, "abc", 3, 2, 0);
    EXPECT_EQ(Texts(lines), (Texts_t{L"00000000  61 62", L"00000002  63"}));
    lines.DeleteAll();
    MakeDataToHexForm(lines, nullptr, 5);
    MakeDataToHexForm(lines, "x", 0);
    EXPECT_EQ(lines.Count(), 0);
}

TEST(Strings, TellsWhatAnExceptionSays)
{
    EXPECT_EQ(GetErrorMessage(std::runtime_error("\xC3\xA4")), L"\u00E4");
    EXPECT_EQ(GetCurrentErrorMessage(), L"");
    try {
        try {
            throw std::runtime_error("inner");
        } catch (...) {
            std::throw_with_nested(std::runtime_error("outer"));
        }
    } catch (...) {
        EXPECT_EQ(GetCurrentErrorMessage(), L"outer: inner");
    }
    try {
        throw 5;
    } catch (...) {
        EXPECT_EQ(GetCurrentErrorMessage(), L"unknown error");
    }
}

} // namespace
} // namespace alidade
