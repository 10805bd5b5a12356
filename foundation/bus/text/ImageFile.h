#pragma once

#include "foundation/bus/ImageVariable.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <opencv2/imgcodecs.hpp>

namespace alidade {

/// Reads a picture file into a variable of matrix type, with its own depth and channels: the loader of
/// ParseCommandArguments. Here and not in the library, which does without the codecs. Reentrant.
/// @return false, with one sentence, when it cannot be read
inline bool LoadImageVariable(const CString& path, CIPVariable& image, CString& error)
{
    std::string bytes;
    CString reason;
    if (!ReadWholeFile(ToPath(path), bytes, &reason)) {
        error = L"cannot read the picture " + path + L": " + reason;
        return false;
    }
    cv::Mat picture;
    try {
        if (!bytes.empty()) {
            picture = cv::imdecode(std::vector<char>(bytes.begin(), bytes.end()), cv::IMREAD_UNCHANGED);
        }
    } catch (const cv::Exception&) {
        picture.release(); // damaged beyond what the decoder takes
    }
    if (!ConvertMatToVar(image, picture)) {
        error = L"cannot read the picture " + path;
        return false;
    }
    return true;
}

} // namespace alidade
