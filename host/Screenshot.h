#pragma once

#include "foundation/platform/Types.h"

class QWidget;

namespace alidade {

/// Writes what a window shows as a picture, in the format that the file's name ends in, and replaces the file
/// as a whole. Window's thread.
/// @param error  receives the reason of a failure
int WriteScreenshot(QWidget& window, const CString& file, CString& error);

} // namespace alidade
