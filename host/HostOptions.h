#pragma once

#include "host/ExecLine.h"
#include "host/FileNamePattern.h"
#include "host/HostFailure.h"

#include <opencv2/core.hpp>
#include <optional>
#include <utility>
#include <vector>

namespace alidade {

/// What the host is started for.
enum class eHOST_JOB {
    LIST,   // the drivers, and no more
    RECORD, // frames of one camera to files
    SERVE,  // a member of the bus, without a view
    WINDOW, // camera views, on the bus too
};

/// What the command line asks for, checked as far as the words themselves go.
struct T_HOST_OPTIONS {
    eHOST_JOB eJob = eHOST_JOB::WINDOW;
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

    CStringA strBus; // empty: this process only
    bool bMachine = false;
    std::optional<CStringA> strUnit; // under which the camera answers
    DWORD dwQuitAfter = INFINITE;    // ms; INFINITE: until interrupted, or until what was asked for is done
    std::vector<T_EXEC_LINE> exec;   // in order
    CString strDemo;                 // picture file of the stage demonstration; empty: none

    CString strLayout;         // file that says which views there are; empty: one view of strGrabber
    bool bGrabberGiven = true; // false: nobody named the one view's camera
    cv::Size size{1280, 960};  // of the window
    CString strScreenshot;     // picture file; empty: none
    bool bHeadless = false;
};

/// Reads the command line.
/// @param text  receives what --help and --version print; nothing is to be run then
/// @return 1, or 0 with `failure` set
int ParseHostOptions(int argc, const char* const* argv, T_HOST_OPTIONS& options, CStringA& text,
                     T_HOST_FAILURE& failure);

/// Every option's name, as "--frames", for the documentation's test.
std::vector<CStringA> GetHostOptionNames();

} // namespace alidade
