#include "PictureFiles.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <opencv2/imgcodecs.hpp>

namespace alidade {
namespace {

constexpr std::wstring_view kExtensions[] = {
    L".bmp", L".dib", L".exr", L".hdr", L".jp2", L".jpe", L".jpeg", L".jpg", L".pbm",  L".pfm",
    L".pgm", L".png", L".pnm", L".ppm", L".pxm", L".ras", L".sr",   L".tif", L".tiff", L".webp",
};

int DecoderFlags(eREPLAY_COLOR color)
{
    switch (color) {
    case eREPLAY_COLOR::GRAY:
        return cv::IMREAD_GRAYSCALE;
    case eREPLAY_COLOR::UNCHANGED:
        // Not IMREAD_UNCHANGED, which keeps transparency and ignores how the camera was held.
        return cv::IMREAD_ANYDEPTH | cv::IMREAD_ANYCOLOR;
    default:
        return cv::IMREAD_COLOR;
    }
}

} // namespace

bool IsPictureName(const std::filesystem::path& path)
{
    const CString extension = FromPath(path.extension());
    return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                       [&](std::wstring_view known) { return CompareNoCase(extension, known) == 0; });
}

CPictureFiles::CPictureFiles(std::vector<std::filesystem::path> files, eREPLAY_COLOR color)
    : m_files(std::move(files)), m_nFlags(DecoderFlags(color))
{
}

IPictureSource::eNEXT CPictureFiles::Next(cv::Mat& picture)
{
    if (m_nNext >= m_files.size()) {
        return END;
    }
    return Decode(m_files[m_nNext++], picture) ? PICTURE : UNREADABLE;
}

bool CPictureFiles::Decode(const std::filesystem::path& path, cv::Mat& picture)
{
    // Decoded from memory: the codecs' own file access takes no wide names everywhere.
    if (!ReadWholeFile(path, m_bytes) || m_bytes.empty()) {
        return false;
    }
    const cv::Mat encoded(1, static_cast<int>(m_bytes.size()), CV_8U, m_bytes.data());
    // Given a picture, the decoder would return that one when it fails.
    picture.release();
    try {
        const cv::Mat decoded = cv::imdecode(encoded, m_nFlags, &picture);
        return !decoded.empty() && (decoded.channels() == 1 || decoded.channels() == 3);
    } catch (const cv::Exception&) {
        // Damaged, or larger than the library's limits.
        return false;
    }
}

CString CPictureFiles::GetName() const
{
    return m_nNext > 0 ? FromPath(m_files[m_nNext - 1]) : CString();
}

CString CPictureFiles::Describe() const
{
    return m_files.size() == 1 ? CString(L"1 picture")
                               : Format(L"%d pictures", static_cast<int>(m_files.size()));
}

} // namespace alidade
