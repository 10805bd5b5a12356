#include "acquisition/GrabberSettings.h"

namespace alidade {
namespace {

constexpr T_DRIVER_SETTING kSettings[] = {
    {L"Image.FlipX", L"boolean", L"false", L"True;False", false, L"Mirror left to right"},
    {L"Image.FlipY", L"boolean", L"false", L"True;False", false, L"Mirror top to bottom"},
    {L"Image.Rotate", L"integer", L"0", L"0;1;-1", true,
     L"Quarter turn behind the mirrors: above 0 anticlockwise, below 0 clockwise"},
    // Spelt as installed machines have it.
    {L"Image.RotateArbitraty", L"boolean", L"false", L"True;False", false, L"Rotate by Image.RotationAngle"},
    {L"Image.RotationAngle", L"double", L"0", L"", true, L"Degrees, anticlockwise"},
    {L"Image.RotateClip", L"boolean", L"false", L"True;False", false,
     L"Crop to the largest upright rectangle that the rotated image fills"},
};

} // namespace

std::span<const T_DRIVER_SETTING> GetGrabberSettingTable()
{
    return kSettings;
}

} // namespace alidade
