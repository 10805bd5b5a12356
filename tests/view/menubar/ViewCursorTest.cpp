#include "view/ViewCursor.h"
#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"
#include "tests/widgets/UiHarness.h"

#include <QPixmap>
#include <fstream>

namespace alidade {
namespace {

using Bytes = std::vector<BYTE>;

void Put(Bytes& bytes, std::uint32_t value, int count)
{
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<BYTE>(value >> 8 * i));
    }
}

/// A picture of 3 by 2 px: the upper row red, green, clear; the lower row blue, black, clear.
Bytes MakeBitmap(unsigned bits)
{
    const std::uint32_t colors[2][3] = {{0xff0000, 0x00ff00, 0}, {0x0000ff, 0, 0}};
    Bytes bytes;
    Put(bytes, 40, 4), Put(bytes, 3, 4), Put(bytes, 4, 4), Put(bytes, 1, 2), Put(bytes, bits, 2);
    bytes.resize(40);
    if (bits <= 8) { // 1 bit: black and white
        for (std::uint32_t i = 0; i < 1u << bits; ++i) {
            Put(bytes,
                bits == 1 ? i * 0xffffff
                : i == 1  ? 0xff0000
                : i == 2  ? 0x00ff00
                : i == 3  ? 0x0000ff
                          : 0,
                4);
        }
    }
    for (int y = 1; y >= 0; --y) {
        Bytes row;
        unsigned packed = 0;
        for (int x = 0; x < 3; ++x) {
            const std::uint32_t color = colors[y][x];
            const unsigned index = bits == 1           ? color != 0
                                   : color == 0xff0000 ? 1
                                   : color == 0x00ff00 ? 2
                                   : color != 0        ? 3
                                                       : 0;
            if (bits > 8) {
                Put(row, color | (bits == 32 && x < 2 ? 0xff000000u : 0), static_cast<int>(bits) / 8);
            } else if (bits == 8) {
                Put(row, index, 1);
            } else {
                packed |= index << (8 / bits * bits - bits * (x + 1)) % 8;
                if (bits == 4 && x == 1) {
                    Put(row, packed, 1);
                    packed = 0;
                }
            }
        }
        if (bits < 8) {
            Put(row, packed, 1);
        }
        row.resize((row.size() + 3) / 4 * 4);
        bytes.insert(bytes.end(), row.begin(), row.end());
    }
    for (int y = 0; y < 2; ++y) {
        Put(bytes, 0x20, 4); // the third px of each row is clear
    }
    return bytes;
}

Bytes MakeCursor(const std::vector<Bytes>& pictures)
{
    Bytes file;
    Put(file, 0, 2), Put(file, 2, 2), Put(file, static_cast<std::uint32_t>(pictures.size()), 2);
    std::size_t offset = 6 + 16 * pictures.size();
    for (const Bytes& picture : pictures) {
        Put(file, 3, 1), Put(file, 2, 1), Put(file, 0, 2), Put(file, 1, 2), Put(file, 1, 2);
        Put(file, static_cast<std::uint32_t>(picture.size()), 4),
            Put(file, static_cast<std::uint32_t>(offset), 4);
        offset += picture.size();
    }
    for (const Bytes& picture : pictures) {
        file.insert(file.end(), picture.begin(), picture.end());
    }
    return file;
}

TEST(ViewCursor, ReadsEveryDepth)
{
    for (const unsigned bits : {1u, 4u, 8u, 24u, 32u}) {
        const auto cursor = ReadCursor(MakeCursor({MakeBitmap(bits)}));
        ASSERT_TRUE(cursor) << bits;
        EXPECT_EQ(cursor->hotSpot, QPoint(1, 1));
        ASSERT_EQ(cursor->image.size(), QSize(3, 2));
        const QRgb white = qRgb(255, 255, 255);
        const QRgb expected[2][3] = {
            {bits == 1 ? white : qRgb(255, 0, 0), bits == 1 ? white : qRgb(0, 255, 0), 0},
            {bits == 1 ? white : qRgb(0, 0, 255), qRgb(0, 0, 0), 0}};
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 3; ++x) {
                EXPECT_EQ(cursor->image.pixel(x, y), expected[y][x]) << bits << ": " << x << "," << y;
            }
        }
    }
    EXPECT_EQ(ReadCursor(MakeCursor({MakeBitmap(1), MakeBitmap(24)}))->image.pixel(0, 0), qRgb(255, 0, 0))
        << "the one with more colours";
}

TEST(ViewCursor, InvertingPixelsStandOutOnAnyPicture)
{
    Bytes bitmap = MakeBitmap(1);
    bitmap[bitmap.size() - 4] = 0xe0; // the upper row is clear: its white px invert, its black one does not
    const auto cursor = ReadCursor(MakeCursor({bitmap}));
    ASSERT_TRUE(cursor);
    EXPECT_EQ(cursor->image.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(cursor->image.pixel(2, 0), qRgb(255, 255, 255)) << "the rim";
}

TEST(ViewCursor, WhatIsNoWholeCursorGivesNone)
{
    const Bytes good = MakeCursor({MakeBitmap(32)});
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(ReadCursor(std::span(good).first(size))) << size;
    }
    const struct {
        const char* what;
        std::size_t at;
        Bytes bytes;
    } rows[] = {
        {"an icon", 2, {1}},
        {"no pictures", 4, {0}},
        {"more pictures than there are", 4, {0xff, 0xff}},
        {"a size beyond the file", 14, {0xff, 0xff, 0xff, 0xff}},
        {"an offset beyond the file", 18, {0xff, 0xff, 0xff, 0xff}},
        {"a header beyond the file", 22, {0xff, 0xff, 0xff, 0xff}},
        {"no width", 26, {0}},
        {"a huge width", 26, {0xff, 0xff, 0xff, 0x7f}},
        {"a negative height", 30, {0xff, 0xff, 0xff, 0xff}},
        {"a depth that there is not", 36, {7}},
        {"compression", 38, {1}},
        {"a PNG that is none", 22, {0x89, 'P', 'N', 'G'}},
    };
    for (const auto& row : rows) {
        Bytes bad = good;
        std::copy(row.bytes.begin(), row.bytes.end(), bad.begin() + static_cast<std::ptrdiff_t>(row.at));
        EXPECT_FALSE(ReadCursor(bad)) << row.what;
    }
    Bytes palette = MakeCursor({MakeBitmap(8)});
    std::fill_n(palette.begin() + 22 + 32, 4, BYTE{0xff});
    EXPECT_FALSE(ReadCursor(palette)) << "more colours than a depth has";
    Bytes far = good;
    far[10] = far[11] = 0xff;
    EXPECT_EQ(ReadCursor(far)->hotSpot, QPoint(2, 1)) << "a hot spot beyond the picture is held within";
}

TEST(ViewCursor, TheFilesBesideTheProgramsAreFound)
{
    const QCursor fallback(Qt::ForbiddenCursor);
    for (const wchar_t* path : {L"..\\icon\\vision.cur", L"..\\icon\\vision.size.cur"}) {
        const QCursor cursor = LoadCursorFile(path, fallback);
        ASSERT_EQ(cursor.shape(), Qt::BitmapCursor);
        EXPECT_EQ(cursor.hotSpot(), QPoint(16, 16));
        EXPECT_EQ(cursor.pixmap().size(), QSize(32, 32));
    }
    const CTempFolder folder;
    for (const CString& path : {CString(), CString(L"..\\icon\\none.cur"), FromPath(folder.Path())}) {
        EXPECT_EQ(LoadCursorFile(path.c_str(), fallback).shape(), Qt::ForbiddenCursor) << ToNarrow(path);
    }
    EXPECT_EQ(LoadCursorFile(nullptr, fallback).shape(), Qt::ForbiddenCursor);
}

TEST(ViewCursor, TheCrossIsSymmetricAboutItsHotSpot)
{
    const QCursor cursor = GetCrossCursor();
    const QImage image = cursor.pixmap().toImage();
    const QPoint c = cursor.hotSpot();
    EXPECT_EQ(c, QPoint(16, 16));
    int dark = 0;
    for (int dy = -15; dy <= 15; ++dy) {
        for (int dx = -15; dx <= 15; ++dx) {
            const QRgb pixel = image.pixel(c.x() + dx, c.y() + dy);
            EXPECT_EQ(pixel, image.pixel(c.x() - dx, c.y() - dy));
            EXPECT_EQ(pixel, image.pixel(c.x() + dy, c.y() + dx));
            dark += pixel == qRgb(0, 0, 0);
        }
    }
    EXPECT_GT(dark, 40);
}

} // namespace
} // namespace alidade
