#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"

#include <QCursor>
#include <QImage>
#include <optional>
#include <span>

namespace alidade {

/// A cursor from a file of the Windows form (.cur) with its hot spot; a relative path counts from the task's
/// folder, which is the program's. What cannot be read gives `fallback`, without a message. Bound to the
/// window's thread.
ALIDADE_API QCursor LoadCursorFile(const wchar_t* path, const QCursor& fallback);
/// The cross that the library carries, 32 by 32 px.
ALIDADE_API QCursor GetCrossCursor();

/// The picture of a cursor, 32 bits with opacity.
struct T_CURSOR_PICTURE {
    QImage image;
    QPoint hotSpot; // px within the image
};

/// Reads a file of the Windows form from memory, which need not be what it says. Of several pictures it takes
/// the one nearest to 32 by 32 px, of equal ones that with more colours. Pixels that would invert the screen
/// become black with a white rim. Reentrant.
/// @return none for anything that is no whole cursor: 1 to 256 px a side, 1, 4, 8, 24, 32 bits or PNG
ALIDADE_API std::optional<T_CURSOR_PICTURE> ReadCursor(std::span<const BYTE> file);

} // namespace alidade
