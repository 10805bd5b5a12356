#pragma once

#include "PictureSource.h"

#include <filesystem>
#include <string>
#include <vector>

namespace alidade {

/// True for the name of a picture file, by its extension.
bool IsPictureName(const std::filesystem::path& path);

/// Picture files, in the order given.
class CPictureFiles : public IPictureSource {
public:
    CPictureFiles(std::vector<std::filesystem::path> files, eREPLAY_COLOR color);

    eNEXT Next(cv::Mat& picture) override;
    void Rewind() override { m_nNext = 0; }
    CString GetName() const override;
    CString Describe() const override;

private:
    bool Decode(const std::filesystem::path& path, cv::Mat& picture);

    std::vector<std::filesystem::path> m_files;
    std::size_t m_nNext = 0;
    std::string m_bytes; // of the file that is being decoded
    int m_nFlags;        // cv::ImreadModes
};

} // namespace alidade
