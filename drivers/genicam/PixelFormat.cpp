#include "PixelFormat.h"

#include "foundation/math/ImageCopy.h"

#include <bit>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

static_assert(std::endian::native == std::endian::little, "words of the camera are taken as they are");

#define BAYER_FORMATS(suffix, packing, depth, gr, rg, gb, bg)                                                \
    {"BayerGR" suffix, gr, packing, CV_MAKETYPE(depth, 3), cv::COLOR_BayerGRBG2BGR},                         \
        {"BayerRG" suffix, rg, packing, CV_MAKETYPE(depth, 3), cv::COLOR_BayerRGGB2BGR},                     \
        {"BayerGB" suffix, gb, packing, CV_MAKETYPE(depth, 3), cv::COLOR_BayerGBRG2BGR},                     \
    {                                                                                                        \
        "BayerBG" suffix, bg, packing, CV_MAKETYPE(depth, 3), cv::COLOR_BayerBGGR2BGR                        \
    }

constexpr T_PIXEL_FORMAT kFormats[] = {
    {"Mono8", 0x01080001, PACKING_WHOLE, CV_8UC1, -1},
    {"Mono10", 0x01100003, PACKING_WHOLE, CV_16UC1, -1},
    {"Mono12", 0x01100005, PACKING_WHOLE, CV_16UC1, -1},
    {"Mono14", 0x01100025, PACKING_WHOLE, CV_16UC1, -1},
    {"Mono16", 0x01100007, PACKING_WHOLE, CV_16UC1, -1},
    {"Mono10Packed", 0x010C0004, PACKING_GEV10, CV_16UC1, -1},
    {"Mono12Packed", 0x010C0006, PACKING_GEV12, CV_16UC1, -1},
    {"Mono10p", 0x010A0046, PACKING_LSB10, CV_16UC1, -1},
    {"Mono12p", 0x010C0047, PACKING_LSB12, CV_16UC1, -1},
    {"RGB8", 0x02180014, PACKING_WHOLE, CV_8UC3, cv::COLOR_RGB2BGR},
    {"BGR8", 0x02180015, PACKING_WHOLE, CV_8UC3, -1},
    BAYER_FORMATS("8", PACKING_WHOLE, CV_8U, 0x01080008, 0x01080009, 0x0108000A, 0x0108000B),
    BAYER_FORMATS("10", PACKING_WHOLE, CV_16U, 0x0110000C, 0x0110000D, 0x0110000E, 0x0110000F),
    BAYER_FORMATS("12", PACKING_WHOLE, CV_16U, 0x01100010, 0x01100011, 0x01100012, 0x01100013),
    BAYER_FORMATS("16", PACKING_WHOLE, CV_16U, 0x0110002E, 0x0110002F, 0x01100030, 0x01100031),
    BAYER_FORMATS("10Packed", PACKING_GEV10, CV_16U, 0x010C0026, 0x010C0027, 0x010C0028, 0x010C0029),
    BAYER_FORMATS("12Packed", PACKING_GEV12, CV_16U, 0x010C002A, 0x010C002B, 0x010C002C, 0x010C002D),
    BAYER_FORMATS("10p", PACKING_LSB10, CV_16U, 0x010A0056, 0x010A0058, 0x010A0054, 0x010A0052),
    BAYER_FORMATS("12p", PACKING_LSB12, CV_16U, 0x010C0057, 0x010C0059, 0x010C0055, 0x010C0053),
};
#undef BAYER_FORMATS

// A packing: the pixel at an index of a run, and a whole group of pixels from its first byte.

struct SGev10 {
    static constexpr std::size_t kPixels = 2, kBytes = 3;
    static void Group(const BYTE* p, std::uint16_t* out)
    {
        out[0] = static_cast<std::uint16_t>(p[0] << 2 | (p[1] & 3));
        out[1] = static_cast<std::uint16_t>(p[2] << 2 | (p[1] >> 4 & 3));
    }
    static std::uint16_t At(const BYTE* p, std::size_t i)
    {
        p += i / 2 * 3;
        return static_cast<std::uint16_t>(i % 2 == 0 ? p[0] << 2 | (p[1] & 3) : p[2] << 2 | (p[1] >> 4 & 3));
    }
};

struct SGev12 {
    static constexpr std::size_t kPixels = 2, kBytes = 3;
    static void Group(const BYTE* p, std::uint16_t* out)
    {
        out[0] = static_cast<std::uint16_t>(p[0] << 4 | (p[1] & 15));
        out[1] = static_cast<std::uint16_t>(p[2] << 4 | p[1] >> 4);
    }
    static std::uint16_t At(const BYTE* p, std::size_t i)
    {
        p += i / 2 * 3;
        return static_cast<std::uint16_t>(i % 2 == 0 ? p[0] << 4 | (p[1] & 15) : p[2] << 4 | p[1] >> 4);
    }
};

/// `Bits` to a pixel, low bits first; a pixel touches two bytes.
template <unsigned Bits, std::size_t Pixels>
struct SLsb {
    static constexpr std::size_t kPixels = Pixels, kBytes = Pixels * Bits / 8;
    static void Group(const BYTE* p, std::uint16_t* out)
    {
        for (std::size_t i = 0; i < kPixels; ++i) {
            out[i] = At(p, i);
        }
    }
    static std::uint16_t At(const BYTE* p, std::size_t i)
    {
        const std::size_t bit = i * Bits;
        const unsigned word = p[bit / 8] | p[bit / 8 + 1] << 8;
        return static_cast<std::uint16_t>(word >> bit % 8 & ((1u << Bits) - 1));
    }
};

template <class Packing>
void UnpackRun(const BYTE* data, std::size_t first, std::size_t count, std::uint16_t* out)
{
    std::size_t i = first;
    const std::size_t end = first + count;
    for (; i < end && i % Packing::kPixels != 0; ++i) {
        *out++ = Packing::At(data, i);
    }
    for (; i + Packing::kPixels <= end; i += Packing::kPixels, out += Packing::kPixels) {
        Packing::Group(data + i / Packing::kPixels * Packing::kBytes, out);
    }
    for (; i < end; ++i) {
        *out++ = Packing::At(data, i);
    }
}

std::size_t LineBytes(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame)
{
    return (static_cast<std::size_t>(frame.nWidth) * format.GetBitsPerPixel() + 7) / 8 + frame.nPaddingX;
}

void Unpack(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame, cv::Mat& image)
{
    image.create(frame.nHeight, frame.nWidth, CV_16UC1);
    const auto run = format.packing == PACKING_GEV10   ? &UnpackRun<SGev10>
                     : format.packing == PACKING_GEV12 ? &UnpackRun<SGev12>
                     : format.packing == PACKING_LSB10 ? &UnpackRun<SLsb<10, 4>>
                                                       : &UnpackRun<SLsb<12, 2>>;
    const auto width = static_cast<std::size_t>(frame.nWidth);
    for (int y = 0; y < frame.nHeight; ++y) {
        // Without padding the pixels of all lines are one run, and a line may begin inside a byte.
        const std::size_t line = static_cast<std::size_t>(y);
        if (frame.nPaddingX == 0) {
            run(frame.pData, line * width, width, image.ptr<std::uint16_t>(y));
        } else {
            run(frame.pData + line * LineBytes(format, frame), 0, width, image.ptr<std::uint16_t>(y));
        }
    }
}

} // namespace

std::span<const T_PIXEL_FORMAT> GetPixelFormats()
{
    return kFormats;
}

const T_PIXEL_FORMAT* FindPixelFormat(std::string_view name)
{
    for (const T_PIXEL_FORMAT& format : kFormats) {
        if (name == format.szName) {
            return &format;
        }
    }
    return nullptr;
}

const T_PIXEL_FORMAT* FindPixelFormat(DWORD code)
{
    for (const T_PIXEL_FORMAT& format : kFormats) {
        if (code == format.dwCode) {
            return &format;
        }
    }
    return nullptr;
}

std::size_t GetFrameBytes(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame)
{
    if (frame.nWidth < 1 || frame.nHeight < 1 || frame.nWidth > kMaxFrameSide ||
        frame.nHeight > kMaxFrameSide || frame.nPaddingX < 0 || frame.nPaddingX > kMaxFrameSide) {
        return 0;
    }
    const auto height = static_cast<std::size_t>(frame.nHeight);
    // The last line may come without its padding.
    const std::size_t bytes =
        frame.nPaddingX == 0
            ? (height * static_cast<std::size_t>(frame.nWidth) * format.GetBitsPerPixel() + 7) / 8
            : height * LineBytes(format, frame) - frame.nPaddingX;
    return bytes <= kMaxFrameBytes ? bytes : 0;
}

bool CFrameConverter::Convert(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame, cv::Mat& image)
{
    const std::size_t needed = GetFrameBytes(format, frame);
    if (needed == 0 || frame.pData == nullptr || frame.nSize < needed) {
        return false;
    }
    if (format.packing != PACKING_WHOLE) {
        cv::Mat& target = format.nConversion < 0 ? image : m_unpacked;
        Unpack(format, frame, target);
        if (format.nConversion >= 0) {
            cv::cvtColor(m_unpacked, image, format.nConversion);
        }
        return true;
    }
    const int depth = CV_MAT_DEPTH(format.nType);
    const int channels = format.GetBitsPerPixel() / (8 * CV_ELEM_SIZE1(depth));
    const cv::Mat sent(frame.nHeight, frame.nWidth, CV_MAKETYPE(depth, channels),
                       const_cast<BYTE*>(frame.pData), LineBytes(format, frame));
    if (format.nConversion >= 0) {
        cv::cvtColor(sent, image, format.nConversion);
    } else {
        CopyImage(sent, image);
    }
    return true;
}

} // namespace alidade
