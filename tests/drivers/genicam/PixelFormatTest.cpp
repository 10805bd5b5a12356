#include "PixelFormat.h"

#include <arv.h>
#include <gtest/gtest.h>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <random>

namespace alidade {
namespace {

/// Memory of exactly this size, so that the address sanitizer sees a read past its end.
struct CExactBytes {
    explicit CExactBytes(std::size_t size) : data(new BYTE[size]()), size(size) {}
    std::unique_ptr<BYTE[]> data;
    std::size_t size;
};

/// The other way about, bit by bit: where bit `k` of pixel `i` of a run lies.
std::size_t BitPlace(ePIXEL_PACKING packing, std::size_t i, unsigned k)
{
    switch (packing) {
    case PACKING_LSB10:
        return i * 10 + k;
    case PACKING_LSB12:
        return i * 12 + k;
    case PACKING_GEV10:
    case PACKING_GEV12: {
        // Bytes: high bits of the even pixel, low bits of both, high bits of the odd pixel.
        const unsigned low = packing == PACKING_GEV10 ? 2 : 4;
        const std::size_t group = i / 2 * 24;
        if (k < low) {
            return group + 8 + (i % 2) * 4 + k;
        }
        return group + (i % 2) * 16 + k - low;
    }
    default:
        return 0;
    }
}

unsigned Depth(ePIXEL_PACKING packing)
{
    return packing == PACKING_LSB10 || packing == PACKING_GEV10 ? 10 : 12;
}

TEST(PixelFormat, PackedPixelsKeepTheirValuesAtEveryWidth)
{
    std::mt19937 random(7);
    for (const char* name : {"Mono10Packed", "Mono12Packed", "Mono10p", "Mono12p"}) {
        const T_PIXEL_FORMAT& format = *FindPixelFormat(name);
        for (const int padding : {0, 3}) {
            for (int width = 1; width <= 9; ++width) {
                const int height = 5;
                T_RAW_FRAME frame{nullptr, 0, width, height, padding};
                CExactBytes bytes(GetFrameBytes(format, frame));
                const std::size_t stride =
                    (static_cast<std::size_t>(width) * format.GetBitsPerPixel() + 7) / 8 + padding;
                cv::Mat expected(height, width, CV_16UC1);
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        const unsigned value = random() & ((1u << Depth(format.packing)) - 1);
                        expected.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(value);
                        const std::size_t index = padding == 0 ? static_cast<std::size_t>(y) * width + x : x;
                        const std::size_t start = padding == 0 ? 0 : y * stride * 8;
                        for (unsigned k = 0; k < Depth(format.packing); ++k) {
                            const std::size_t bit = start + BitPlace(format.packing, index, k);
                            bytes.data[bit / 8] |= static_cast<BYTE>((value >> k & 1) << bit % 8);
                        }
                    }
                }
                frame.pData = bytes.data.get();
                frame.nSize = bytes.size;
                cv::Mat image;
                ASSERT_TRUE(CFrameConverter().Convert(format, frame, image));
                EXPECT_EQ(cv::norm(image, expected, cv::NORM_INF), 0) << name << ", width " << width;
            }
        }
    }
}

TEST(PixelFormat, KnownBytesOfThePackedFormats)
{
    const BYTE bytes[] = {0xAB, 0x21, 0xCD, 0x00, 0x00};
    const struct {
        const char* name;
        std::uint16_t first, second;
    } cases[] = {{"Mono12Packed", 0xAB1, 0xCD2},
                 {"Mono10Packed", 0xAB << 2 | 1, 0xCD << 2 | 2},
                 {"Mono12p", 0x1AB, 0xCD2},
                 {"Mono10p", 0x1AB, 0x348}};
    for (const auto& c : cases) {
        cv::Mat image;
        ASSERT_TRUE(
            CFrameConverter().Convert(*FindPixelFormat(c.name), {bytes, sizeof bytes, 2, 1, 0}, image));
        EXPECT_EQ(image.at<std::uint16_t>(0, 0), c.first) << c.name;
        EXPECT_EQ(image.at<std::uint16_t>(0, 1), c.second) << c.name;
    }
}

TEST(PixelFormat, AFrameWithTooFewBytesOrImpossibleSidesIsRefused)
{
    for (const T_PIXEL_FORMAT& format : GetPixelFormats()) {
        T_RAW_FRAME frame{nullptr, 0, 33, 17, 0};
        CExactBytes bytes(GetFrameBytes(format, frame));
        frame.pData = bytes.data.get();
        cv::Mat image;
        CFrameConverter converter;
        frame.nSize = bytes.size - 1;
        EXPECT_FALSE(converter.Convert(format, frame, image)) << format.szName;
        EXPECT_TRUE(image.empty());
        frame.nSize = bytes.size;
        EXPECT_TRUE(converter.Convert(format, frame, image)) << format.szName;
        EXPECT_EQ(image.type(), format.nType) << format.szName;
        EXPECT_EQ(image.size(), cv::Size(33, 17));
    }
    for (const T_RAW_FRAME& frame :
         {T_RAW_FRAME{nullptr, 0, 0, 5, 0}, T_RAW_FRAME{nullptr, 0, 5, -1, 0},
          T_RAW_FRAME{nullptr, 0, 65535, 65535, 0}, T_RAW_FRAME{nullptr, 0, 65536, 1, 0},
          T_RAW_FRAME{nullptr, 0, 5, 5, -1}}) {
        EXPECT_EQ(GetFrameBytes(*FindPixelFormat("Mono8"), frame), 0u);
    }
}

TEST(PixelFormat, ColoursAreDeliveredAsBlueGreenRed)
{
    const cv::Vec3i bgr(30, 120, 210);
    const BYTE rgbBytes[] = {210, 120, 30};
    const BYTE bgrBytes[] = {30, 120, 210};
    cv::Mat image;
    ASSERT_TRUE(CFrameConverter().Convert(*FindPixelFormat("RGB8"), {rgbBytes, 3, 1, 1, 0}, image));
    EXPECT_EQ(cv::Vec3i(image.at<cv::Vec3b>(0, 0)), bgr);
    ASSERT_TRUE(CFrameConverter().Convert(*FindPixelFormat("BGR8"), {bgrBytes, 3, 1, 1, 0}, image));
    EXPECT_EQ(cv::Vec3i(image.at<cv::Vec3b>(0, 0)), bgr);

    // A mosaic of one colour is that colour all over; the name tells the colours of its first two pixels.
    const struct {
        const char* mosaic;
        int colours[4]; // index into blue, green, red: first line, second line
    } mosaics[] = {{"RG", {2, 1, 1, 0}}, {"BG", {0, 1, 1, 2}}, {"GR", {1, 2, 0, 1}}, {"GB", {1, 0, 2, 1}}};
    for (const auto& mosaic : mosaics) {
        cv::Mat sent(8, 8, CV_8UC1);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                sent.at<BYTE>(y, x) = static_cast<BYTE>(bgr[mosaic.colours[y % 2 * 2 + x % 2]]);
            }
        }
        cv::Mat sent16;
        sent.convertTo(sent16, CV_16U, 16);
        const std::string name = std::string("Bayer") + mosaic.mosaic;
        ASSERT_TRUE(CFrameConverter().Convert(*FindPixelFormat(name + "8"), {sent.data, 64, 8, 8, 0}, image));
        EXPECT_EQ(cv::Vec3i(image.at<cv::Vec3b>(4, 4)), bgr) << name;
        ASSERT_TRUE(
            CFrameConverter().Convert(*FindPixelFormat(name + "12"), {sent16.data, 128, 8, 8, 0}, image));
        EXPECT_EQ(cv::Vec3i(image.at<cv::Vec3w>(3, 4)), 16 * bgr) << name;
    }
}

TEST(PixelFormat, LinesWithPaddingAndFramesInTheSameMemory)
{
    BYTE bytes[4 * 5];
    for (int i = 0; i < 20; ++i) {
        bytes[i] = static_cast<BYTE>(i);
    }
    CFrameConverter converter;
    cv::Mat image;
    ASSERT_TRUE(converter.Convert(*FindPixelFormat("Mono8"), {bytes, sizeof bytes, 3, 4, 2}, image));
    EXPECT_EQ(image.at<BYTE>(3, 2), 17);
    const BYTE* const memory = image.data;
    ASSERT_TRUE(converter.Convert(*FindPixelFormat("Mono8"), {bytes, sizeof bytes, 3, 4, 0}, image));
    EXPECT_EQ(image.data, memory);
    EXPECT_EQ(image.at<BYTE>(3, 2), 11);
}

TEST(PixelFormat, CodesAreThoseOfTheCameraLibrary)
{
    const struct {
        const char* name;
        ArvPixelFormat code;
    } cases[] = {{"Mono8", ARV_PIXEL_FORMAT_MONO_8},
                 {"Mono10", ARV_PIXEL_FORMAT_MONO_10},
                 {"Mono10Packed", ARV_PIXEL_FORMAT_MONO_10_PACKED},
                 {"Mono12", ARV_PIXEL_FORMAT_MONO_12},
                 {"Mono12Packed", ARV_PIXEL_FORMAT_MONO_12_PACKED},
                 {"Mono14", ARV_PIXEL_FORMAT_MONO_14},
                 {"Mono16", ARV_PIXEL_FORMAT_MONO_16},
                 {"RGB8", ARV_PIXEL_FORMAT_RGB_8_PACKED},
                 {"BGR8", ARV_PIXEL_FORMAT_BGR_8_PACKED},
                 {"BayerGR8", ARV_PIXEL_FORMAT_BAYER_GR_8},
                 {"BayerRG8", ARV_PIXEL_FORMAT_BAYER_RG_8},
                 {"BayerGB8", ARV_PIXEL_FORMAT_BAYER_GB_8},
                 {"BayerBG8", ARV_PIXEL_FORMAT_BAYER_BG_8},
                 {"BayerGR10", ARV_PIXEL_FORMAT_BAYER_GR_10},
                 {"BayerBG12", ARV_PIXEL_FORMAT_BAYER_BG_12},
                 {"BayerRG16", ARV_PIXEL_FORMAT_BAYER_RG_16},
                 {"BayerGB10Packed", ARV_PIXEL_FORMAT_BAYER_GB_10_PACKED},
                 {"BayerBG12Packed", ARV_PIXEL_FORMAT_BAYER_BG_12_PACKED},
                 {"BayerGR10p", ARV_PIXEL_FORMAT_BAYER_GR_10P},
                 {"BayerRG10p", ARV_PIXEL_FORMAT_BAYER_RG_10P},
                 {"BayerGB12p", ARV_PIXEL_FORMAT_BAYER_GB_12P},
                 {"BayerBG12p", ARV_PIXEL_FORMAT_BAYER_BG_12P}};
    for (const auto& c : cases) {
        ASSERT_NE(FindPixelFormat(c.name), nullptr) << c.name;
        EXPECT_EQ(FindPixelFormat(static_cast<DWORD>(c.code)), FindPixelFormat(c.name)) << c.name;
    }
    EXPECT_EQ(FindPixelFormat(static_cast<DWORD>(ARV_PIXEL_FORMAT_YUV_422_PACKED)), nullptr);
}

} // namespace
} // namespace alidade
