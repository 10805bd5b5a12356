#pragma once

#include "foundation/platform/Types.h"

#include <opencv2/core.hpp>
#include <span>
#include <string_view>

namespace alidade {

/// How the pixels of a frame lie in memory.
enum ePIXEL_PACKING {
    PACKING_WHOLE, // whole bytes or little-endian 16-bit words
    PACKING_GEV10, // GigE Vision "Packed": two pixels in three bytes, high bits first
    PACKING_GEV12,
    PACKING_LSB10, // "p": pixels one after the other, low bits first
    PACKING_LSB12,
};

/// One pixel format of the camera and what becomes of it.
struct T_PIXEL_FORMAT {
    const char* szName; // by the Pixel Format Naming Convention
    DWORD dwCode;       // 32-bit code of the same convention; bits 16 to 23 are the bits of a pixel
    ePIXEL_PACKING packing;
    int nType;       // OpenCV type of the delivered image
    int nConversion; // cv::ColorConversionCodes from the unpacked frame, -1: none

    int GetBitsPerPixel() const { return static_cast<int>(dwCode >> 16 & 0xFF); }
};

/// A frame as it came from the camera. The data are not owned.
struct T_RAW_FRAME {
    const BYTE* pData = nullptr;
    std::size_t nSize = 0; // bytes
    int nWidth = 0;        // px
    int nHeight = 0;       // px
    int nPaddingX = 0;     // bytes behind each line
};

/// The formats that the driver understands, in the order in which a user interface shows them.
std::span<const T_PIXEL_FORMAT> GetPixelFormats();
/// By name or by code; null when the driver does not know it.
const T_PIXEL_FORMAT* FindPixelFormat(std::string_view name);
const T_PIXEL_FORMAT* FindPixelFormat(DWORD code);

/// Bytes that a frame of this format needs, 0 for a frame that is refused for its dimensions.
std::size_t GetFrameBytes(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame);

/// Turns frames into images. Keeps its memory from frame to frame. Reentrant.
class CFrameConverter {
public:
    /// Writes the frame to `image`, which is reallocated only if size or type change. Values of 10 and 12
    /// bits keep their value in 16 bits: the maximum is 1023 or 4095.
    /// @return false, with `image` untouched, when the frame has fewer bytes than its dimensions ask for
    /// @throws cv::Exception, std::bad_alloc
    bool Convert(const T_PIXEL_FORMAT& format, const T_RAW_FRAME& frame, cv::Mat& image);

private:
    cv::Mat m_unpacked;
};

/// Longest side and largest size of a frame; a camera that announces more is refused.
inline constexpr int kMaxFrameSide = 65535;               // px
inline constexpr std::size_t kMaxFrameBytes = 1ull << 30; // bytes, as sent

} // namespace alidade
