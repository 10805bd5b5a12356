#include "PictureWorkPiece.h"
#include "Wafer.h"

#include "foundation/utility/Strings.h"

#include <stdexcept>

namespace alidade {

std::unique_ptr<IWorkPiece> MakeWorkPiece(const T_SCENE_SETTINGS& settings, CString& message)
{
    if (settings.bPicture) {
        auto picture = std::make_unique<CPictureWorkPiece>();
        return picture->Open(settings, message) ? std::move(picture) : nullptr;
    }
    try {
        return std::make_unique<CWafer>(settings);
    } catch (const std::length_error& error) {
        message = L"Scene: " + GetErrorMessage(error);
        return nullptr;
    }
}

} // namespace alidade
