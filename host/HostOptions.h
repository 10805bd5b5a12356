#pragma once

#include "host/FileNamePattern.h"
#include "host/HostFailure.h"

#include <opencv2/core.hpp>
#include <optional>
#include <utility>
#include <vector>

namespace alidade {

/// What the command line asks for, checked as far as the words themselves go.
struct T_HOST_OPTIONS {
    bool bListDrivers = false;
    CString strGrabber;
    std::vector<std::pair<CString, CString>> settings; // in the order given; a later one wins
    CString strProfile;                                // empty: none
    CString strSection;                                // unit name; empty: "Default"
    std::uint32_t nFrames = 0;                         // 0: until interrupted
    std::optional<CFileNamePattern> save;
    CString strReport; // empty: none
    std::optional<cv::Rect> clip;
    int nBuffers = 0; // 0: by the size of the frames
    DWORD dwTimeout = 10000;
    CString strDrivers; // a further folder of plug-ins; empty: none
    CString strLog;     // empty: none
};

/// Reads the command line.
/// @param text  receives what --help and --version print; nothing is to be run then
/// @return 1, or 0 with `failure` set
int ParseHostOptions(int argc, const char* const* argv, T_HOST_OPTIONS& options, CStringA& text,
                     T_HOST_FAILURE& failure);

/// Every option's name, as "--frames", for the documentation's test.
std::vector<CStringA> GetHostOptionNames();

} // namespace alidade
