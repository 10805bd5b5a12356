#include "ReplaySettings.h"

#include "foundation/platform/Text.h"

#include <cmath>

namespace alidade {
namespace {

// Frames are timed in whole milliseconds, and a wait is never longer than a quarter of an hour or so.
constexpr double kMostFramesPerSecond = 1000.0;
constexpr double kLeastFramesPerSecond = 0.001;

enum eROW { ROW_SOURCE, ROW_FRAME_RATE, ROW_LOOP, ROW_COLOR };

constexpr T_DRIVER_SETTING kTable[] = {
    {L"Replay.Source", L"text", L"", L"", true,
     L"Folder of pictures, wildcard (/data/left*.jpg) or video file"},
    {L"Replay.FrameRate", L"double", L"15", L"0;5;15;30", true,
     L"Frames per second, 0.001 to 1000; 0: as fast as they can be taken"},
    {L"Replay.Loop", L"boolean", L"True", L"True;False", false, L"Begin again after the last picture"},
    {L"Replay.Color", L"text", L"Color", L"Color;Gray;Unchanged", false,
     L"8-bit colour, 8-bit grey, or depth and channels of the file"},
};

constexpr struct {
    const wchar_t* word;
    eREPLAY_COLOR color;
} kColors[] = {
    {L"Color", eREPLAY_COLOR::COLOR},
    {L"Gray", eREPLAY_COLOR::GRAY},
    {L"Unchanged", eREPLAY_COLOR::UNCHANGED},
};

bool ParseColor(std::wstring_view word, eREPLAY_COLOR& color)
{
    for (const auto& entry : kColors) {
        if (CompareNoCase(word, entry.word) == 0) {
            color = entry.color;
            return true;
        }
    }
    return false;
}

} // namespace

std::span<const T_DRIVER_SETTING> GetReplaySettingTable()
{
    return kTable;
}

int ReadReplaySettings(const CProfileSection& settings, T_REPLAY_SETTINGS& out, CString& message)
{
    const auto text = [&](eROW row) { return CString(Trim(ReadText(settings, kTable[row]))); };
    T_REPLAY_SETTINGS read;
    read.strSource = text(ROW_SOURCE);
    read.dFrameRate = ReadDouble(settings, kTable[ROW_FRAME_RATE]);
    read.bLoop = ReadBoolean(settings, kTable[ROW_LOOP]);

    if (read.strSource.empty()) {
        message = Format(L"Replay: %s is empty; it names a folder of pictures, a wildcard or a video file",
                         kTable[ROW_SOURCE].key);
        return 0;
    }
    if (read.dFrameRate != 0 &&
        !(read.dFrameRate >= kLeastFramesPerSecond && read.dFrameRate <= kMostFramesPerSecond)) {
        message = Format(L"Replay: %s = %s is neither 0 nor from %g to %g frames per second",
                         kTable[ROW_FRAME_RATE].key, text(ROW_FRAME_RATE).c_str(), kLeastFramesPerSecond,
                         kMostFramesPerSecond);
        return 0;
    }
    if (!ParseColor(text(ROW_COLOR), read.eColor)) {
        message = Format(L"Replay: %s = %s is none of %s", kTable[ROW_COLOR].key, text(ROW_COLOR).c_str(),
                         kTable[ROW_COLOR].options);
        return 0;
    }
    out = read;
    return 1;
}

} // namespace alidade
