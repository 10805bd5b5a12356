#pragma once

#include "PictureSource.h"
#include "foundation/config/SimpleLogInterface.h"

#include <set>

namespace alidade {

/// Plays a source as a camera would: all pictures of the size and type of the first. What does not fit is
/// skipped, counted, and logged once for each file. Bound to one thread at a time.
class CPicturePlayer {
public:
    struct T_COUNTERS {
        unsigned long long nDelivered = 0;
        unsigned long long nUnreadable = 0;
        unsigned long long nOtherFormat = 0; // of another size or type than the first
        unsigned long long nFailed = 0;      // ended in an exception of whoever took the frame
    };

    CPicturePlayer(std::unique_ptr<IPictureSource> source, CSimpleLogInterface& log);

    /// Tries one picture. UNREADABLE also for one that does not fit.
    IPictureSource::eNEXT Next(cv::Mat& picture);
    void Rewind();
    /// True when no picture could be had since the start or the latest Rewind.
    bool IsPassEmpty() const { return m_bPassEmpty; }

    /// Size and type of the first picture; empty and 0 before it.
    cv::Size GetSize() const { return m_size; }
    int GetType() const { return m_nType; }
    /// What is played, and the picture that decided on size and type.
    CString Describe() const;

    T_COUNTERS m_counters;
    /// Writes the counters to the log if they have changed since the last time.
    void ReportCounters(const wchar_t* occasion);

private:
    /// True for the first problem of the file that was read last.
    bool IsNewProblem();

    std::unique_ptr<IPictureSource> m_pSource;
    CSimpleLogInterface& m_log;
    cv::Size m_size;
    CString m_strFirst; // name of the first picture's file
    int m_nType = 0;
    bool m_bPassEmpty = true;
    std::set<CString> m_problems;
    unsigned long long m_nReported = 0; // sum of the counters at the last report
};

} // namespace alidade
