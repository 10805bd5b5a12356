#pragma once

#include "foundation/config/ProfileSection.h"
#include "host/FrameTap.h"

#include <optional>

namespace alidade {

/// What became of a job. docs/host.md describes each key of the JSON form.
struct T_GRAB_REPORT {
    CString strDriver;
    CString strMessage; // the driver's own text
    CProfileSection settings;
    std::optional<cv::Rect> clip;
    cv::Size size; // of the first frame taken; empty when none was
    int nType = 0;
    int nBuffers = 0;
    std::uint32_t nFramesAsked = 0; // 0: until interrupted
    std::uint32_t nFrames = 0;      // taken and, where asked for, written
    T_TAP_COUNTERS counters;
    CString strFirstFile; // empty: no files
    CString strLastFile;
    const wchar_t* ended = L""; // "frames", "interrupted", "timeout" or "failed"
    CString strError;           // empty: none
};

/// The report as JSON, with keys in a stable order.
CStringA FormatReport(const T_GRAB_REPORT& report);

/// The report as one line for the console.
CStringA FormatSummary(const T_GRAB_REPORT& report);

} // namespace alidade
