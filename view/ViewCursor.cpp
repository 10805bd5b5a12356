#include "view/ViewCursor.h"

#include "foundation/bus/IPTask.h"
#include "foundation/platform/Text.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPixmap>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <tuple>
#include <vector>

namespace alidade {
namespace {

constexpr std::size_t kMostBytes = 4 << 20; // of a file
constexpr int kMostSide = 256;              // px
constexpr int kUsualSide = 32;
constexpr std::size_t kHeaderSize = 6, kEntrySize = 16, kBitmapHeaderSize = 40;
constexpr unsigned kCursorType = 2;
constexpr std::size_t kMostPictures = 64; // in one file

/// Little-endian bytes. Whoever reads has checked the size.
class CBytes {
public:
    explicit CBytes(std::span<const BYTE> bytes) : m_bytes(bytes) {}
    std::size_t GetSize() const { return m_bytes.size(); }
    BYTE At(std::size_t at) const { return m_bytes[at]; }
    unsigned Word(std::size_t at) const { return m_bytes[at] | m_bytes[at + 1] << 8; }
    std::uint32_t Long(std::size_t at) const
    {
        return Word(at) | static_cast<std::uint32_t>(Word(at + 2)) << 16;
    }
    /// Empty when it does not lie within the bytes.
    CBytes Part(std::size_t at, std::size_t size) const
    {
        return CBytes(at <= m_bytes.size() && size <= m_bytes.size() - at ? m_bytes.subspan(at, size)
                                                                          : std::span<const BYTE>());
    }
    const BYTE* Data() const { return m_bytes.data(); }

private:
    std::span<const BYTE> m_bytes;
};

/// The header of a picture within the file.
struct T_BITMAP {
    int width, height;
    unsigned bits;
    std::size_t palette, colors; // offset, number of entries
    std::size_t picture, pictureStride;
    std::size_t mask, maskStride;
};

std::size_t GetStride(int width, unsigned bits)
{
    return (static_cast<std::size_t>(width) * bits + 31) / 32 * 4;
}

std::optional<T_BITMAP> ReadHeader(const CBytes& data)
{
    if (data.GetSize() < kBitmapHeaderSize || data.Long(0) < kBitmapHeaderSize ||
        data.Long(0) > data.GetSize()) {
        return std::nullopt;
    }
    T_BITMAP bitmap{};
    const std::uint32_t width = data.Long(4), height = data.Long(8) / 2; // with the mask below the picture
    const unsigned bits = bitmap.bits = data.Word(14);
    const std::uint32_t compression = data.Long(16), colors = data.Long(32);
    if (width < 1 || width > kMostSide || height < 1 || height > kMostSide || compression != 0 ||
        (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32)) {
        return std::nullopt;
    }
    bitmap.width = static_cast<int>(width);
    bitmap.height = static_cast<int>(height);
    const std::uint32_t most = bits <= 8 ? 1u << bits : 0;
    if (colors > most && bits <= 8) {
        return std::nullopt;
    }
    bitmap.palette = data.Long(0);
    bitmap.colors = bits <= 8 ? (colors != 0 ? colors : most) : 0;
    bitmap.picture = bitmap.palette + bitmap.colors * 4;
    bitmap.pictureStride = GetStride(bitmap.width, bits);
    bitmap.mask = bitmap.picture + bitmap.pictureStride * height;
    bitmap.maskStride = GetStride(bitmap.width, 1);
    if (bitmap.mask + bitmap.maskStride * height > data.GetSize()) {
        return std::nullopt;
    }
    return bitmap;
}

/// The colour of a pixel of a row that begins at `row`, with the file's opacity, or 0 where it has none.
QRgb ReadColor(const CBytes& data, const T_BITMAP& bitmap, std::size_t row, int x)
{
    std::size_t at = 0;
    if (bitmap.bits > 8) {
        at = row + static_cast<std::size_t>(x) * bitmap.bits / 8;
    } else {
        const std::size_t bit = static_cast<std::size_t>(x) * bitmap.bits;
        const unsigned shift = 8 - bitmap.bits - bit % 8;
        const std::size_t index = data.At(row + bit / 8) >> shift & ((1u << bitmap.bits) - 1);
        if (index >= bitmap.colors) {
            return 0;
        }
        at = bitmap.palette + index * 4;
    }
    return qRgba(data.At(at + 2), data.At(at + 1), data.At(at), bitmap.bits == 32 ? data.At(at + 3) : 0);
}

void RimWhite(QImage& image, const std::vector<QPoint>& inverted)
{
    for (const QPoint& at : inverted) {
        for (int y = at.y() - 1; y <= at.y() + 1; ++y) {
            for (int x = at.x() - 1; x <= at.x() + 1; ++x) {
                if (image.valid(x, y) && qAlpha(image.pixel(x, y)) == 0) {
                    image.setPixel(x, y, qRgba(255, 255, 255, 255));
                }
            }
        }
    }
}

QImage ReadBitmap(const CBytes& data)
{
    const std::optional<T_BITMAP> header = ReadHeader(data);
    if (!header) {
        return {};
    }
    const T_BITMAP& bitmap = *header;
    QImage image(bitmap.width, bitmap.height, QImage::Format_ARGB32);
    if (image.isNull()) {
        return {};
    }
    bool hasAlpha = false;
    std::vector<QPoint> inverted;
    std::vector<QRgb> masked(static_cast<std::size_t>(bitmap.width) * bitmap.height); // if without opacity
    for (int y = 0; y < bitmap.height; ++y) {
        const std::size_t fromBelow = bitmap.height - 1 - y;
        const std::size_t row = bitmap.picture + fromBelow * bitmap.pictureStride;
        const std::size_t mask = bitmap.mask + fromBelow * bitmap.maskStride;
        for (int x = 0; x < bitmap.width; ++x) {
            const QRgb color = ReadColor(data, bitmap, row, x);
            hasAlpha = hasAlpha || qAlpha(color) != 0;
            image.setPixel(x, y, color);
            const bool clear = (data.At(mask + x / 8) >> (7 - x % 8) & 1) != 0;
            const QRgb opaque = color | 0xff000000u;
            if (clear && opaque != 0xff000000u) {
                inverted.emplace_back(x, y);
            }
            masked[static_cast<std::size_t>(y) * bitmap.width + x] = !clear                  ? opaque
                                                                     : opaque != 0xff000000u ? 0xff000000u
                                                                                             : 0;
        }
    }
    if (!hasAlpha) {
        for (int y = 0; y < bitmap.height; ++y) {
            std::copy_n(masked.begin() + static_cast<std::ptrdiff_t>(y) * bitmap.width, bitmap.width,
                        reinterpret_cast<QRgb*>(image.scanLine(y)));
        }
        RimWhite(image, inverted);
    }
    return image;
}

QImage ReadPng(const CBytes& data)
{
    // The size is looked at first: a small file may stand for a very large picture.
    constexpr std::size_t kSizeAt = 16;
    const auto side = [&](std::size_t at) {
        return static_cast<std::uint32_t>(data.At(at)) << 24 | data.At(at + 1) << 16 | data.At(at + 2) << 8 |
               data.At(at + 3);
    };
    if (data.GetSize() < kSizeAt + 8 || side(kSizeAt) > kMostSide || side(kSizeAt + 4) > kMostSide) {
        return {};
    }
    QImage image;
    image.loadFromData(data.Data(), static_cast<int>(data.GetSize()), "PNG");
    return image.convertToFormat(QImage::Format_ARGB32);
}

} // namespace

std::optional<T_CURSOR_PICTURE> ReadCursor(std::span<const BYTE> file)
{
    const CBytes bytes(file);
    if (bytes.GetSize() < kHeaderSize || bytes.Word(0) != 0 || bytes.Word(2) != kCursorType) {
        return std::nullopt;
    }
    const std::size_t count = bytes.Word(4);
    if (count == 0 || count > kMostPictures || bytes.Part(kHeaderSize, count * kEntrySize).GetSize() == 0) {
        return std::nullopt;
    }
    std::optional<T_CURSOR_PICTURE> best;
    std::tuple<int, int> bestRank;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = kHeaderSize + i * kEntrySize;
        const int side = bytes.At(entry) != 0 ? bytes.At(entry) : kMostSide;
        const CBytes data = bytes.Part(bytes.Long(entry + 12), bytes.Long(entry + 8));
        const bool isPng = data.GetSize() >= 4 && data.Long(0) == 0x474e5089u;
        const int bits = isPng ? kUsualSide : data.GetSize() >= kBitmapHeaderSize ? data.Word(14) : 0;
        const std::tuple<int, int> rank(std::abs(side - kUsualSide), -bits);
        if (best && bestRank <= rank) {
            continue;
        }
        const QImage image = isPng ? ReadPng(data) : ReadBitmap(data);
        if (!image.isNull()) {
            const QPoint hotSpot(std::min<int>(bytes.Word(entry + 4), image.width() - 1),
                                 std::min<int>(bytes.Word(entry + 6), image.height() - 1));
            best = T_CURSOR_PICTURE{image, hotSpot};
            bestRank = rank;
        }
    }
    return best;
}

QCursor LoadCursorFile(const wchar_t* path, const QCursor& fallback)
{
    if (path == nullptr || *path == L'\0') {
        return fallback;
    }
    const IIPTask task(QCoreApplication::applicationDirPath().toStdWString().c_str());
    std::ifstream stream(ToPath(task.GetAbsPath(path)), std::ios::binary);
    std::vector<BYTE> file(kMostBytes);
    stream.read(reinterpret_cast<char*>(file.data()), static_cast<std::streamsize>(file.size()));
    file.resize(stream.bad() ? 0 : static_cast<std::size_t>(stream.gcount()));
    const std::optional<T_CURSOR_PICTURE> cursor = ReadCursor(file);
    return cursor ? QCursor(QPixmap::fromImage(cursor->image), cursor->hotSpot.x(), cursor->hotSpot.y())
                  : fallback;
}

QCursor GetCrossCursor()
{
    constexpr int kCenter = kUsualSide / 2;
    constexpr int kGap = 3; // the pixel that is pointed at stays in sight
    constexpr int kArm = 12;
    constexpr int kNear = kCenter + kGap, kFar = kCenter - kGap - kArm + 1;
    const QRect arms[] = {{kNear, kCenter, kArm, 1},
                          {kFar, kCenter, kArm, 1},
                          {kCenter, kNear, 1, kArm},
                          {kCenter, kFar, 1, kArm}};
    QImage image(kUsualSide, kUsualSide, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter dc(&image);
    for (const QRect& arm : arms) {
        dc.fillRect(arm.adjusted(-1, -1, 1, 1), Qt::white);
    }
    for (const QRect& arm : arms) {
        dc.fillRect(arm, Qt::black);
    }
    dc.end();
    return QCursor(QPixmap::fromImage(image), kCenter, kCenter);
}

} // namespace alidade
