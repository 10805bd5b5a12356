#include "SceneSettings.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <functional>
#include <vector>

namespace alidade {
namespace {

enum eROW {
    ROW_WIDTH,
    ROW_HEIGHT,
    ROW_COLOR,
    ROW_FRAME_RATE,
    ROW_DELAY,
    ROW_EXPOSURE,
    ROW_GAIN,
    ROW_NOISE,
    ROW_VIGNETTING,
    ROW_SEED,
    ROW_MM_PER_PIXEL,
    ROW_ROTATION,
    ROW_MIRROR,
    ROW_CENTER_X,
    ROW_CENTER_Y,
    ROW_DEFOCUS,
    ROW_FOCUS_Z,
    ROW_MACHINE,
    ROW_X,
    ROW_Y,
    ROW_Z,
    ROW_LENS,
    ROW_SURFACE_Z,
    ROW_TILT_X,
    ROW_TILT_Y,
    ROW_BUMP_HEIGHT,
    ROW_BUMP_X,
    ROW_BUMP_Y,
    ROW_BUMP_SIZE,
    ROW_WAVE_HEIGHT,
    ROW_WAVE_PERIOD,
    ROW_SLIT,
    ROW_SLIT_PULSE_X,
    ROW_SLIT_PULSE_Y,
    ROW_SLIT_ANGLE,
    ROW_SLIT_MM_PER_PULSE_X,
    ROW_SLIT_MM_PER_PULSE_Y,
    ROW_LASER,
    ROW_LASER_SIZE,
    ROW_DROP_PROBABILITY,
    ROW_DROP_EVERY,
    ROW_UNPLUG_AFTER,
    ROW_UNPLUG_AT,
    ROW_UNPLUG_FOR,
    ROW_WORK_PIECE,
    ROW_PICTURE,
    ROW_PICTURE_MM_PER_PIXEL,
    ROW_WORK_PIECE_X,
    ROW_WORK_PIECE_Y,
    ROW_WORK_PIECE_ANGLE,
    ROW_WAFER_DIAMETER,
    ROW_DIE_X,
    ROW_DIE_Y,
    ROW_STREET,
    ROW_TRUTH_FILE,
};

constexpr T_DRIVER_SETTING kTable[] = {
    {L"Scene.Width", L"integer", L"1600", L"640;1600;2448", true, L"Frame width in pixels, 16 to 8192"},
    {L"Scene.Height", L"integer", L"1200", L"480;1200;2048", true, L"Frame height in pixels, 16 to 8192"},
    {L"Scene.Color", L"text", L"Gray", L"Gray;Color", false, L"8-bit grey or 8-bit colour"},
    {L"Scene.FrameRate", L"double", L"25", L"10;25;50", true, L"Exposures per second, 0.01 to 1000"},
    {L"Scene.Delay", L"integer", L"30", L"0;30;100", true,
     L"Milliseconds from exposure to delivery, 0 to 10000"},
    {L"Scene.Exposure", L"double", L"10", L"5;10;20", true,
     L"Exposure time in ms, 0.001 to 10000; brightness 1 at 10 ms and gain 1"},
    {L"Scene.Gain", L"double", L"1", L"0.5;1;2", true, L"Factor of brightness, 0 to 100"},
    {L"Scene.Noise", L"double", L"0", L"0;2;5", true,
     L"Standard deviation of the noise in grey levels, 0 to 40"},
    {L"Scene.Vignetting", L"double", L"0", L"0;0.2;0.5", true,
     L"Part of the brightness that the frame's corners lack, 0 to 1"},
    {L"Scene.Seed", L"integer", L"1", L"", true, L"Decides wafer, noise and dropped frames, 0 to 2147483647"},
    {L"Scene.MmPerPixel", L"text", L"0.005, 0.0025, 0.001, 0.0005, 0.00025", L"", true,
     L"By lens: mm per pixel, 0.000001 to 1"},
    {L"Scene.Rotation", L"text", L"0", L"", true,
     L"By lens: turn of the image against the stage, -360 to 360 degrees"},
    {L"Scene.Mirror", L"text", L"Y", L"None;X;Y;XY", true,
     L"By lens: image axes that run against those of the stage"},
    {L"Scene.CenterX", L"text", L"0", L"", true,
     L"By lens: laser centre against the frame's centre, mm along the stage's X, -100 to 100"},
    {L"Scene.CenterY", L"text", L"0", L"", true, L"By lens: the same along the stage's Y"},
    {L"Scene.Defocus", L"text", L"0.05, 0.1, 0.15, 0.2, 0.3", L"", true,
     L"By lens: standard deviation of the blur, mm for each mm out of focus, 0 to 10"},
    {L"Scene.FocusZ", L"text", L"0", L"", true,
     L"By lens: Z in focus on a surface of height 0, mm, -1000 to 1000"},
    {L"Scene.Machine", L"text", L"Tavro", L"Tavro", true,
     L"Family of the shared blocks that tell the positions; empty: the fixed ones below"},
    {L"Scene.X", L"double", L"0", L"", true, L"Stage X in mm while there is no machine, -1000000 to 1000000"},
    {L"Scene.Y", L"double", L"0", L"", true, L"Stage Y, likewise"},
    {L"Scene.Z", L"double", L"0", L"", true, L"Z, likewise"},
    {L"Scene.Lens", L"integer", L"0", L"", true, L"Lens while there is no machine, 0 to 9"},
    {L"Scene.SurfaceZ", L"double", L"0", L"", true, L"Height of the surface in mm, -1000 to 1000"},
    {L"Scene.TiltX", L"double", L"0", L"", true, L"Rise of the surface along X, mm per m, -100 to 100"},
    {L"Scene.TiltY", L"double", L"0", L"", true, L"Rise of the surface along Y, mm per m, -100 to 100"},
    {L"Scene.BumpHeight", L"double", L"0", L"", true, L"Height of a smooth bump in mm, -100 to 100"},
    {L"Scene.BumpX", L"double", L"0", L"", true, L"Stage X of the bump in mm, -1000000 to 1000000"},
    {L"Scene.BumpY", L"double", L"0", L"", true, L"Stage Y of the bump, likewise"},
    {L"Scene.BumpSize", L"double", L"5", L"", true, L"Standard deviation of the bump in mm, 0.001 to 10000"},
    {L"Scene.WaveHeight", L"double", L"0", L"", true, L"Amplitude of the waviness in mm, -100 to 100"},
    {L"Scene.WavePeriod", L"double", L"10", L"", true, L"Period of the waviness in mm, 0.001 to 10000"},
    {L"Scene.Slit", L"text", L"Machine", L"Machine;On;Off", false,
     L"The slit's light: as the machine says, or forced"},
    {L"Scene.SlitPulseX", L"double", L"1000", L"", true,
     L"Opening of the slit in X in pulses while there is no machine, 0 to 1000000000"},
    {L"Scene.SlitPulseY", L"double", L"600", L"", true, L"Opening of the slit in Y, likewise"},
    {L"Scene.SlitAngle", L"double", L"0", L"", true,
     L"Angle of the slit in degrees while there is no machine, -360 to 360"},
    {L"Scene.SlitMmPerPulseX", L"double", L"0.001", L"", true,
     L"mm for each pulse of the slit in X, 0.000000001 to 1000"},
    {L"Scene.SlitMmPerPulseY", L"double", L"0.001", L"", true,
     L"mm for each pulse of the slit in Y, likewise"},
    {L"Scene.Laser", L"text", L"Machine", L"Machine;On;Off", false,
     L"The laser spot: as the machine says, or forced"},
    {L"Scene.LaserSize", L"double", L"0.05", L"", true,
     L"Diameter of the laser spot at 1/e^2 in mm, 0.000001 to 100"},
    {L"Scene.DropProbability", L"double", L"0", L"", true, L"Part of the frames that get lost, 0 to 1"},
    {L"Scene.DropEvery", L"integer", L"0", L"", true, L"Every n-th frame gets lost; 0: none, to 1000000000"},
    {L"Scene.UnplugAfter", L"integer", L"0", L"", true,
     L"The camera goes away after each run of so many frames; 0: never, to 1000000000"},
    {L"Scene.UnplugAt", L"integer", L"0", L"", true,
     L"The camera goes away once, so many ms after capture was first started; 0: never, to 1000000000"},
    {L"Scene.UnplugFor", L"integer", L"1000", L"", true,
     L"Milliseconds until the camera is back, 1 to 1000000000"},
    {L"Scene.WorkPiece", L"text", L"Wafer", L"Wafer;Picture", false, L"What lies on the stage"},
    {L"Scene.Picture", L"text", L"", L"", true, L"Picture file that the work piece shows"},
    {L"Scene.PictureMmPerPixel", L"double", L"0.01", L"", true,
     L"mm for each pixel of the picture file, 0.000001 to 10"},
    {L"Scene.WorkPieceX", L"double", L"0", L"", true,
     L"Stage X of the work piece's centre in mm, -1000000 to 1000000"},
    {L"Scene.WorkPieceY", L"double", L"0", L"", true, L"Stage Y of the work piece's centre, likewise"},
    {L"Scene.WorkPieceAngle", L"double", L"0", L"", true,
     L"Turn of the work piece from X towards Y, -360 to 360 degrees"},
    {L"Scene.WaferDiameter", L"double", L"50", L"50;100;200;300", true,
     L"Diameter of the wafer in mm, 0.1 to 1000"},
    {L"Scene.DieX", L"double", L"4", L"", true, L"Pitch of the dies in X in mm, 0.01 to 1000"},
    {L"Scene.DieY", L"double", L"3", L"", true, L"Pitch of the dies in Y in mm, 0.01 to 1000"},
    {L"Scene.Street", L"double", L"0.2", L"", true,
     L"Width of the streets in mm, above 0 and below half of either pitch"},
    {L"Scene.TruthFile", L"text", L"", L"", true, L"JSON file that all that is known is written to"},
};

/// The range of a number, and where it goes. A row that has none here is a text.
struct T_NUMBER {
    eROW row;
    double least, most;
    std::function<void(T_SCENE_SETTINGS&, double)> set;
};

const std::vector<T_NUMBER>& GetNumbers()
{
    using S = T_SCENE_SETTINGS;
    constexpr double kFar = 1e6, kMany = 1e9;
    static const std::vector<T_NUMBER> numbers = {
        {ROW_WIDTH, 16, 8192, [](S& s, double v) { s.nWidth = static_cast<int>(v); }},
        {ROW_HEIGHT, 16, 8192, [](S& s, double v) { s.nHeight = static_cast<int>(v); }},
        {ROW_FRAME_RATE, 0.01, 1000, [](S& s, double v) { s.dFrameRate = v; }},
        {ROW_DELAY, 0, 10000, [](S& s, double v) { s.nDelay = static_cast<int>(v); }},
        {ROW_EXPOSURE, 0.001, 10000, [](S& s, double v) { s.dExposure = v; }},
        {ROW_GAIN, 0, 100, [](S& s, double v) { s.dGain = v; }},
        {ROW_NOISE, 0, 40, [](S& s, double v) { s.dNoise = v; }},
        {ROW_VIGNETTING, 0, 1, [](S& s, double v) { s.dVignetting = v; }},
        {ROW_SEED, 0, 2147483647, [](S& s, double v) { s.nSeed = static_cast<int>(v); }},
        {ROW_X, -kFar, kFar, [](S& s, double v) { s.fixed.position.x = v; }},
        {ROW_Y, -kFar, kFar, [](S& s, double v) { s.fixed.position.y = v; }},
        {ROW_Z, -kFar, kFar, [](S& s, double v) { s.fixed.dZ = v; }},
        {ROW_LENS, 0, 9, [](S& s, double v) { s.fixed.nLens = static_cast<int>(v); }},
        {ROW_SURFACE_Z, -1000, 1000, [](S& s, double v) { s.surface.dZ = v; }},
        {ROW_TILT_X, -100, 100, [](S& s, double v) { s.surface.dTiltX = v; }},
        {ROW_TILT_Y, -100, 100, [](S& s, double v) { s.surface.dTiltY = v; }},
        {ROW_BUMP_HEIGHT, -100, 100, [](S& s, double v) { s.surface.dBumpHeight = v; }},
        {ROW_BUMP_X, -kFar, kFar, [](S& s, double v) { s.surface.dBumpX = v; }},
        {ROW_BUMP_Y, -kFar, kFar, [](S& s, double v) { s.surface.dBumpY = v; }},
        {ROW_BUMP_SIZE, 0.001, 10000, [](S& s, double v) { s.surface.dBumpSize = v; }},
        {ROW_WAVE_HEIGHT, -100, 100, [](S& s, double v) { s.surface.dWaveHeight = v; }},
        {ROW_WAVE_PERIOD, 0.001, 10000, [](S& s, double v) { s.surface.dWavePeriod = v; }},
        {ROW_SLIT_PULSE_X, 0, kMany, [](S& s, double v) { s.fixed.slitPulse.x = v; }},
        {ROW_SLIT_PULSE_Y, 0, kMany, [](S& s, double v) { s.fixed.slitPulse.y = v; }},
        {ROW_SLIT_ANGLE, -360, 360, [](S& s, double v) { s.fixed.dSlitAngle = v; }},
        {ROW_SLIT_MM_PER_PULSE_X, 1e-9, 1000, [](S& s, double v) { s.dSlitMmPerPulseX = v; }},
        {ROW_SLIT_MM_PER_PULSE_Y, 1e-9, 1000, [](S& s, double v) { s.dSlitMmPerPulseY = v; }},
        {ROW_LASER_SIZE, 1e-6, 100, [](S& s, double v) { s.dLaserSize = v; }},
        {ROW_DROP_PROBABILITY, 0, 1, [](S& s, double v) { s.dDropProbability = v; }},
        {ROW_DROP_EVERY, 0, kMany, [](S& s, double v) { s.nDropEvery = static_cast<int>(v); }},
        {ROW_UNPLUG_AFTER, 0, kMany, [](S& s, double v) { s.nUnplugAfter = static_cast<int>(v); }},
        {ROW_UNPLUG_AT, 0, kMany, [](S& s, double v) { s.nUnplugAt = static_cast<int>(v); }},
        {ROW_UNPLUG_FOR, 1, kMany, [](S& s, double v) { s.nUnplugFor = static_cast<int>(v); }},
        {ROW_PICTURE_MM_PER_PIXEL, 1e-6, 10, [](S& s, double v) { s.dPictureMmPerPixel = v; }},
        {ROW_WORK_PIECE_X, -kFar, kFar, [](S& s, double v) { s.workPiece.x = v; }},
        {ROW_WORK_PIECE_Y, -kFar, kFar, [](S& s, double v) { s.workPiece.y = v; }},
        {ROW_WORK_PIECE_ANGLE, -360, 360, [](S& s, double v) { s.dWorkPieceAngle = v; }},
        {ROW_WAFER_DIAMETER, 0.1, 1000, [](S& s, double v) { s.dWaferDiameter = v; }},
        {ROW_DIE_X, 0.01, 1000, [](S& s, double v) { s.diePitch.width = v; }},
        {ROW_DIE_Y, 0.01, 1000, [](S& s, double v) { s.diePitch.height = v; }},
        {ROW_STREET, 0, 1000, [](S& s, double v) { s.dStreet = v; }},
    };
    return numbers;
}

/// The range of a number that each lens has, and where it goes.
struct T_LENS_NUMBER {
    eROW row;
    double least, most;
    std::function<void(T_SCENE_LENS&, double)> set;
};

const std::vector<T_LENS_NUMBER>& GetLensNumbers()
{
    using L = T_SCENE_LENS;
    static const std::vector<T_LENS_NUMBER> numbers = {
        {ROW_MM_PER_PIXEL, 1e-6, 1, [](L& l, double v) { l.dMmPerPixel = v; }},
        {ROW_ROTATION, -360, 360, [](L& l, double v) { l.dRotation = v; }},
        {ROW_CENTER_X, -100, 100, [](L& l, double v) { l.centerOffset.x = v; }},
        {ROW_CENTER_Y, -100, 100, [](L& l, double v) { l.centerOffset.y = v; }},
        {ROW_DEFOCUS, 0, 10, [](L& l, double v) { l.dDefocus = v; }},
        {ROW_FOCUS_Z, -1000, 1000, [](L& l, double v) { l.dFocusZ = v; }},
    };
    return numbers;
}

/// Reads rows of one section; the first thing that is wrong ends in the message.
class CReader {
public:
    CReader(const CProfileSection& settings, CString& message) : m_settings(settings), m_message(message) {}

    CString Text(eROW row) const { return CString(Trim(ReadText(m_settings, kTable[row]))); }

    bool Number(const T_NUMBER& number, T_SCENE_SETTINGS& out) const
    {
        const double value = ReadDouble(m_settings, kTable[number.row]);
        if (!(value >= number.least && value <= number.most)) {
            return Refuse(number.row, Format(L"is not within %.10g and %.10g", number.least, number.most));
        }
        if (std::wstring_view(kTable[number.row].type) == L"integer" && value != std::floor(value)) {
            return Refuse(number.row, L"is no whole number");
        }
        number.set(out, value);
        return true;
    }

    /// One of the options of a row.
    bool Choice(eROW row, std::size_t& choice) const
    {
        CMFCPropertyGridProperty property(L"", L"", L"");
        property.AddOptions(kTable[row].options);
        const auto& options = property.GetOptions();
        const CString text = Text(row);
        for (choice = 0; choice < options.size(); ++choice) {
            if (CompareNoCase(text, options[choice]) == 0) {
                return true;
            }
        }
        return Refuse(row, Format(L"is none of %s", kTable[row].options));
    }

    /// The pieces of a list by lens: at least one and at most ten. The last one counts for the lenses left.
    bool List(eROW row, std::vector<CString>& pieces) const
    {
        constexpr const wchar_t* kSeparators = L", \t";
        const CString text = Text(row);
        pieces.clear();
        for (std::size_t at = text.find_first_not_of(kSeparators); at != text.npos;) {
            const std::size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
            pieces.push_back(text.substr(at, end - at));
            at = text.find_first_not_of(kSeparators, end);
        }
        if (pieces.empty() || pieces.size() > T_SCENE_SETTINGS::kLenses) {
            return Refuse(row, L"is no list of 1 to 10 values, one for each lens");
        }
        pieces.resize(T_SCENE_SETTINGS::kLenses, CString(pieces.back()));
        return true;
    }

    bool LensNumbers(const T_LENS_NUMBER& number, T_SCENE_SETTINGS& out) const
    {
        std::vector<CString> pieces;
        if (!List(number.row, pieces)) {
            return false;
        }
        for (std::size_t lens = 0; lens < pieces.size(); ++lens) {
            CProfileSection one;
            one.SetItemValue(L"Value", pieces[lens].c_str());
            const double value = one.GetItemValue(L"Value", std::nan(""));
            if (!(value >= number.least && value <= number.most)) {
                return Refuse(number.row, Format(L"has for lens %d no number within %.10g and %.10g",
                                                 static_cast<int>(lens), number.least, number.most));
            }
            number.set(out.lenses[lens], value);
        }
        return true;
    }

    bool Mirrors(T_SCENE_SETTINGS& out) const
    {
        std::vector<CString> pieces;
        if (!List(ROW_MIRROR, pieces)) {
            return false;
        }
        for (std::size_t lens = 0; lens < pieces.size(); ++lens) {
            const bool both = CompareNoCase(pieces[lens], L"XY") == 0;
            const bool x = both || CompareNoCase(pieces[lens], L"X") == 0;
            const bool y = both || CompareNoCase(pieces[lens], L"Y") == 0;
            if (!x && !y && CompareNoCase(pieces[lens], L"None") != 0) {
                return Refuse(ROW_MIRROR, Format(L"has for lens %d none of %s", static_cast<int>(lens),
                                                 kTable[ROW_MIRROR].options));
            }
            out.lenses[lens].bMirrorX = x;
            out.lenses[lens].bMirrorY = y;
        }
        return true;
    }

    bool Light(eROW row, eSCENE_LIGHT& light) const
    {
        std::size_t choice = 0;
        const bool ok = Choice(row, choice);
        light = static_cast<eSCENE_LIGHT>(choice);
        return ok;
    }

    bool Refuse(eROW row, const CString& reason) const
    {
        m_message = Format(L"Scene: %s = %s %s", kTable[row].key, Text(row).c_str(), reason.c_str());
        return false;
    }

private:
    const CProfileSection& m_settings;
    CString& m_message;
};

} // namespace

std::span<const T_DRIVER_SETTING> GetSceneSettingTable()
{
    return kTable;
}

int ReadSceneSettings(const CProfileSection& settings, T_SCENE_SETTINGS& out, CString& message)
{
    const CReader reader(settings, message);
    T_SCENE_SETTINGS read;
    for (const T_NUMBER& number : GetNumbers()) {
        if (!reader.Number(number, read)) {
            return 0;
        }
    }
    for (const T_LENS_NUMBER& number : GetLensNumbers()) {
        if (!reader.LensNumbers(number, read)) {
            return 0;
        }
    }
    std::size_t color = 0, workPiece = 0;
    if (!reader.Mirrors(read) || !reader.Choice(ROW_COLOR, color) ||
        !reader.Choice(ROW_WORK_PIECE, workPiece) || !reader.Light(ROW_SLIT, read.eSlit) ||
        !reader.Light(ROW_LASER, read.eLaser)) {
        return 0;
    }
    read.bColor = color == 1;
    read.bPicture = workPiece == 1;
    read.strMachine = reader.Text(ROW_MACHINE);
    read.strPicture = reader.Text(ROW_PICTURE);
    read.strTruthFile = reader.Text(ROW_TRUTH_FILE);
    if (!(read.dStreet > 0 && read.dStreet < 0.5 * std::min(read.diePitch.width, read.diePitch.height))) {
        return reader.Refuse(ROW_STREET, L"is not above 0 and below half of either pitch of the dies");
    }
    if (read.bPicture && read.strPicture.empty()) {
        return reader.Refuse(ROW_PICTURE, L"is empty; it names the picture file that the work piece shows");
    }
    out = read;
    return 1;
}

T_MACHINE_STATE ApplySwitches(const T_SCENE_SETTINGS& settings, T_MACHINE_STATE state)
{
    const auto apply = [](eSCENE_LIGHT light, bool& on) {
        on = light == eSCENE_LIGHT::MACHINE ? on : light == eSCENE_LIGHT::ON;
    };
    apply(settings.eSlit, state.bSlitOn);
    apply(settings.eLaser, state.bLaserOn);
    state.nLens = std::clamp(state.nLens, 0, T_SCENE_SETTINGS::kLenses - 1);
    return state;
}

} // namespace alidade
