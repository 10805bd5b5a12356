#include "host/PictureWriter.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"
#include "host/OutputCheck.h"

#include <algorithm>
#include <opencv2/imgcodecs.hpp>

namespace alidade {
namespace {

/// What each format keeps without loss of depth. The encoders themselves would quietly cut deeper pixels.
constexpr struct {
    std::wstring_view extension;
    unsigned depths; // bit n: depth n
} kFormats[] = {
    {L".bmp", 1u << CV_8U},
    {L".jpeg", 1u << CV_8U},
    {L".jpg", 1u << CV_8U},
    {L".png", 1u << CV_8U | 1u << CV_16U},
    {L".tif", 1u << CV_8U | 1u << CV_16U | 1u << CV_32F | 1u << CV_64F},
    {L".tiff", 1u << CV_8U | 1u << CV_16U | 1u << CV_32F | 1u << CV_64F},
    {L".webp", 1u << CV_8U},
};

unsigned DepthsOf(std::wstring_view extension)
{
    const auto format = std::find_if(std::begin(kFormats), std::end(kFormats),
                                     [&](const auto& known) { return known.extension == extension; });
    return format != std::end(kFormats) ? format->depths : 0;
}

} // namespace

CPictureWriter::CPictureWriter(CFileNamePattern pattern)
    : m_pattern(std::move(pattern)), m_strExtension(m_pattern.GetExtension())
{
}

bool CPictureWriter::IsFormatKnown() const
{
    return DepthsOf(m_strExtension) != 0;
}

int CPictureWriter::Check(CString& error) const
{
    return CheckFolder(m_pattern.GetFolder(), error);
}

int CPictureWriter::CheckType(int type, CString& error) const
{
    const int channels = CV_MAT_CN(type);
    if ((DepthsOf(m_strExtension) >> CV_MAT_DEPTH(type) & 1) != 0 && (channels == 1 || channels == 3)) {
        return 1;
    }
    error = Format(L"frames of type %s cannot be kept in %s files", ToWide(cv::typeToString(type)).c_str(),
                   m_strExtension.c_str());
    return 0;
}

int CPictureWriter::Write(const cv::Mat& image, std::uint32_t number, CString& error)
{
    const std::filesystem::path file = GetFile(number);
    CString reason;
    try {
        if (cv::imencode(ToNarrow(m_strExtension), image, m_encoded)) {
            const std::string_view bytes(reinterpret_cast<const char*>(m_encoded.data()), m_encoded.size());
            if (ReplaceFileWith(file, bytes, &reason)) {
                return 1;
            }
        } else {
            reason = L"the picture cannot be encoded";
        }
    } catch (const std::exception& exception) {
        reason = GetErrorMessage(exception);
    }
    error = Format(L"%s cannot be written: %s", FromPath(file).c_str(), reason.c_str());
    return 0;
}

} // namespace alidade
