#pragma once

#include "foundation/bus/IPVariable.h"

#include <opencv2/core.hpp>

namespace alidade {

/// Writes an image into a variable of matrix type, as its children "rows", "cols", "type" (all int; the type
/// is OpenCV's word, masked with 0xfff) and "data" (raw). What the variable held as children is gone; one of
/// another type becomes a matrix of the same name. The rows go without gaps, copied once into memory that
/// copies of the variable share. Reentrant.
/// @return 0 for an empty image, one of more than two dimensions or of 4 GiB; the variable then has no
/// children
ALIDADE_FOUNDATION_API int ConvertMatToVar(CIPVariable& variable, const cv::Mat& image);

/// Reads an image from a variable of matrix type into memory of its own.
/// A missing "data", or one that is no raw block, gives a black image; a short block leaves the rest black.
/// @return 0 when the variable is not of matrix type, has less than one row or column, a type that no image
/// has,
///         or more than 1 GiB; the image is then empty
ALIDADE_FOUNDATION_API int ConvertVarToMat(const CIPVariable& variable, cv::Mat& image);

} // namespace alidade
