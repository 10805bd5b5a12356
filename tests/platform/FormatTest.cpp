#include "foundation/platform/Text.h"

#include <climits>
#include <cmath>

#include <gtest/gtest.h>

using namespace alidade;

TEST(Format, TextConversionsTakeEitherWidthInEitherFormat)
{
    const wchar_t* wide = L"\u00E9";
    const char* narrow = "\xC3\xA9";
    // Plain %s is the format's own kind, %S the other; h and l decide by themselves.
    EXPECT_EQ(Format(L"%s %S %ls %hs %lS %hS", wide, narrow, wide, narrow, wide, narrow),
              L"\u00E9 \u00E9 \u00E9 \u00E9 \u00E9 \u00E9");
    EXPECT_EQ(Format("%s %S %ls %hs", narrow, wide, wide, narrow), "\xC3\xA9 \xC3\xA9 \xC3\xA9 \xC3\xA9");
    EXPECT_EQ(Format(L"%c%C%lc|%3c|%-3c|", L'\u20AC', 'b', L'c', L'd', L'e'), L"\u20ACbc|  d|e  |");
    EXPECT_EQ(Format("%c%C|", 'a', L'\u20AC'), "a\xE2\x82\xAC|");
    EXPECT_EQ(Format(L"%s|%S|%5.2s", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr),
                     L"abc"),
              L"(null)|(null)|   ab");
    EXPECT_EQ(Format("%s", static_cast<const char*>(nullptr)), "(null)");
}

TEST(Format, WidthFlagsAndPrecision)
{
    EXPECT_EQ(Format(L"[%5s][%-5s][%.2s][%*s][%-*s][%*s]", L"ab", L"ab", L"abc", 4, L"x", 3, L"y", -3, L"z"),
              L"[   ab][ab   ][ab][   x][y  ][z  ]");
    EXPECT_EQ(Format("[%05d][%-5d][%+d][% d][%.3d][%x][%#X][%o]", 42, 42, 42, 42, 7, 255, 255, 8),
              "[00042][42   ][+42][ 42][007][ff][0XFF][10]");
    EXPECT_EQ(Format("%.3f|%8.2f|%e|%g|%.*f|%.*f", 1.5, -2.345, 12345.678, 0.0001, 1, 2.25, -1, 0.5),
              "1.500|   -2.35|1.234568e+04|0.0001|2.2|0.500000");
    EXPECT_EQ(Format("%Lf", 2.5L), "2.500000");
    EXPECT_EQ(Format("100%% of %d%%", 5), "100% of 5%");
    EXPECT_EQ(Format(L"%s", L"%d %s"), L"%d %s"); // what is put in is not a format
}

TEST(Format, APrecisionBoundsTextThatDoesNotEndInANull)
{
    const char raw[4] = {'a', 'b', 'c', 'd'};
    const wchar_t rawWide[2] = {L'x', L'y'};
    EXPECT_EQ(Format("%.4s|%.*s", raw, 2, raw), "abcd|ab");
    EXPECT_EQ(Format(L"%.2s|%.3S", rawWide, raw), L"xy|abc");
}

TEST(Format, IntegersOfEveryWidth)
{
    const unsigned long long most = ULLONG_MAX;
    EXPECT_EQ(Format("%lld %llu %llx", LLONG_MIN, most, most),
              "-9223372036854775808 18446744073709551615 ffffffffffffffff");
    EXPECT_EQ(Format(L"%I64d %I64u %I32u", LLONG_MIN, most, 7u),
              L"-9223372036854775808 18446744073709551615 7");
    EXPECT_EQ(Format("%zu %td %jd", std::size_t(SIZE_MAX), std::ptrdiff_t(-1), std::intmax_t(-2)),
              "18446744073709551615 -1 -2");
    EXPECT_EQ(Format("%ld %lu", -5L, 5UL), "-5 5");
    EXPECT_EQ(Format("%hd %hu %hhd %hhu", 0x1FFFF, 0x1FFFF, 0x1FF, 0x1FF), "-1 65535 -1 255");
    EXPECT_EQ(Format("%d %u %i", INT_MIN, UINT_MAX, -1), "-2147483648 4294967295 -1");
    EXPECT_NE(Format("%p", static_cast<void*>(&errno)), "");
}

TEST(Format, AMalformedFormatIsShownAsItStands)
{
    for (const char* format : {"50%", "%", "%5", "%y", "%-", "%.", "%ll", "%99999999999d", "%1$d"}) {
        EXPECT_EQ(Format(format, 1, 2), format);
    }
    EXPECT_EQ(Format(L"a %q b"), L"a %q b");
    EXPECT_EQ(Format(""), "");
}
