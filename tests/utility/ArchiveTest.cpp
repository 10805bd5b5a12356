#include "foundation/utility/Archive.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace alidade {
namespace {

CString ReadText(const std::string& bytes)
{
    CArchiveU archive(bytes.data(), bytes.size());
    CString text = archive.ReadString();
    EXPECT_EQ(archive.GetRemaining(), 0u);
    return text;
}

TEST(Archive, NumbersAreLittleEndianAndReadBack)
{
    CArchiveU out;
    out.Write(std::uint8_t{0xAB});
    out.Write(std::int16_t{-2});
    out.Write(std::uint32_t{0x12345678});
    out.Write(std::numeric_limits<std::int64_t>::min());
    out.Write(-0.5);
    out.WriteBytes("raw", 3);
    const std::string& bytes = out.GetData();
    EXPECT_EQ(bytes.substr(0, 7), "\xAB\xFE\xFF\x78\x56\x34\x12");
    CArchiveU in(bytes.data(), bytes.size());
    EXPECT_EQ(in.Read<std::uint8_t>(), 0xAB);
    EXPECT_EQ(in.Read<std::int16_t>(), -2);
    EXPECT_EQ(in.Read<std::uint32_t>(), 0x12345678u);
    EXPECT_EQ(in.Read<std::int64_t>(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(in.Read<double>(), -0.5);
    char raw[3];
    in.ReadBytes(raw, 3);
    EXPECT_EQ(std::string(raw, 3), "raw");
    EXPECT_EQ(in.GetRemaining(), 0u);
    EXPECT_THROW(in.Read<std::uint8_t>(), CArchiveException);
}

TEST(Archive, TextTakesTheShortestLengthItFitsAndReadsBack)
{
    const struct {
        std::size_t length;
        std::string head;
    } rows[] = {
        {0, std::string("\xFF\xFE\xFF\x00", 4)},
        {254, "\xFF\xFE\xFF\xFE"},
        {255, std::string("\xFF\xFE\xFF\xFF\xFF\x00", 6)},
        {0xFFFD, "\xFF\xFE\xFF\xFF\xFD\xFF"},
        {0xFFFE, std::string("\xFF\xFE\xFF\xFF\xFF\xFF\xFE\xFF\x00\x00", 10)},
        {0x12345, std::string("\xFF\xFE\xFF\xFF\xFF\xFF\x45\x23\x01\x00", 10)},
    };
    for (const auto& row : rows) {
        CArchiveU out;
        const CString text(row.length, L'\u6F22');
        out.WriteString(text);
        EXPECT_EQ(out.GetData().substr(0, row.head.size()), row.head);
        EXPECT_EQ(out.GetData().size(), row.head.size() + 2 * row.length);
        EXPECT_EQ(ReadText(out.GetData()), text);
    }
    CArchiveU out;
    out.WriteString(L"\U0001F4F7");
    EXPECT_EQ(out.GetData(), "\xFF\xFE\xFF\x02\x3D\xD8\xF7\xDC");
    EXPECT_EQ(ReadText(out.GetData()), L"\U0001F4F7");
}

TEST(Archive, NarrowTextIsUtf8OrElseWindows1252)
{
    EXPECT_EQ(ReadText(std::string(1, '\0')), L"");
    EXPECT_EQ(ReadText("\x03"
                       "a\xC3\xA4"),
              L"a\u00E4");
    EXPECT_EQ(ReadText("\x04"
                       "a\xE4\x80\x99"),
              L"a\u4019");
    EXPECT_EQ(ReadText("\x04"
                       "\xE4\x80\x9C\x81"),
              L"\u00E4\u20AC\u0153\u0081");
    EXPECT_EQ(ReadText(std::string("\xFF\x03\x00"
                                   "abc",
                                   6)),
              L"abc");
    EXPECT_EQ(ReadText(std::string("\xFF\xFF\xFF\x03\x00\x00\x00"
                                   "abc",
                                   10)),
              L"abc");
    // A 64-bit length, and wide text whose length takes more bytes than it needs.
    EXPECT_EQ(ReadText(std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\0\0\0\0\0\0\0z", 16)), L"z");
    EXPECT_EQ(ReadText(std::string("\xFF\xFE\xFF\xFF\x01\x00z\x00", 8)), L"z");
}

TEST(Archive, TextThatIsCutOrTooLongIsRefusedWithoutAllocatingIt)
{
    const std::string rows[] = {
        "",
        "\x05"
        "abc",
        "\xFF",
        "\xFF\xFE",
        "\xFF\xFE\xFF",
        "\xFF\xFE\xFF\x02z",
        "\xFF\xFE\xFF\xFF\xFE\xFF\x01z",                                            // marked as wide twice
        "\xFF\xFF\xFF\xFF\xFF\xFF\x7Fz",                                            // 2 GB
        "\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", // 2^64 - 1 wide ones
        std::string("\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\0\0\0\0\0\0\x80zz",
                    20), // twice that wraps to 2
    };
    for (const std::string& bytes : rows) {
        CArchiveU archive(bytes.data(), bytes.size());
        EXPECT_THROW(archive.ReadString(), CArchiveException) << ::testing::PrintToString(bytes);
    }
}

TEST(Archive, ReadingAndWritingAreNotMixedUp)
{
    CArchiveU out;
    EXPECT_TRUE(out.IsStoring());
    EXPECT_THROW(out.Read<BYTE>(), CArchiveException);
    CArchiveU in("x", 1);
    EXPECT_FALSE(in.IsStoring());
    EXPECT_THROW(in.Write(BYTE{1}), CArchiveException);
    EXPECT_EQ(in.GetRemaining(), 1u);
    EXPECT_EQ(CArchiveU(nullptr, 5).GetRemaining(), 0u);
}

} // namespace
} // namespace alidade
