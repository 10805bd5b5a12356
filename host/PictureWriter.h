#pragma once

#include "host/FileNamePattern.h"

#include <opencv2/core.hpp>
#include <vector>

namespace alidade {

/// Writes frames as numbered picture files; each is written beside its place and then renamed, so that none
/// is ever seen half written. Bound to one thread.
class CPictureWriter {
public:
    explicit CPictureWriter(CFileNamePattern pattern);

    /// Sees that the format is known and the folder can be written to, before the first frame.
    int Check(CString& error) const;
    /// Sees that the format keeps pixels of this OpenCV type.
    int CheckType(int type, CString& error) const;
    /// @return 1, or 0 with the reason in `error`
    int Write(const cv::Mat& image, std::uint32_t number, CString& error);

    std::filesystem::path GetFile(std::uint32_t number) const { return m_pattern.GetFile(number); }
    /// True when the name is that of a format that can be written.
    bool IsFormatKnown() const;

private:
    CFileNamePattern m_pattern;
    CString m_strExtension;
    std::vector<BYTE> m_encoded;
};

} // namespace alidade
