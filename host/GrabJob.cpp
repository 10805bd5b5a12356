#include "host/GrabJob.h"

#include "foundation/platform/FileReplace.h"
#include "host/DriverCall.h"
#include "host/OpenGrabber.h"
#include "host/OutputCheck.h"

#include <algorithm>

namespace alidade {

CGrabJob::CGrabJob(const T_HOST_OPTIONS& options, CHostLog& log, CEvent& stop)
    : m_options(options), m_log(log), m_stop(stop)
{
    if (options.save) {
        m_writer.emplace(*options.save);
    }
    m_report.strDriver = options.strGrabber;
    m_report.clip = options.clip;
    m_report.nFramesAsked = options.nFrames;
}

CGrabJob::~CGrabJob()
{
    Close();
}

int CGrabJob::Run(CStringA& text, T_HOST_FAILURE& failure)
{
    if (!CheckOutputs(failure)) {
        return 0;
    }
    m_grabber = OpenGrabber(m_options, m_log, m_report.settings, m_report.strMessage, failure);
    if (!m_grabber) {
        return 0;
    }
    TakeFrames();
    // Written before the driver is closed: a driver that hangs then does not take the report with it.
    WriteReport();
    Close();
    if (!m_report.strError.empty()) {
        return Refuse(failure, kExitFailed, m_report.strError);
    }
    text = FormatSummary(m_report);
    return 1;
}

/// Before the first frame, so that a long run does not turn out to be lost at its end.
int CGrabJob::CheckOutputs(T_HOST_FAILURE& failure)
{
    CString error;
    if (m_writer && !m_writer->IsFormatKnown()) {
        return Refuse(failure, kExitUsage,
                      L"--save " + FromPath(m_writer->GetFile(1)) + L" names no known picture format");
    }
    if ((m_writer && !m_writer->Check(error)) ||
        (!m_options.strReport.empty() && !CheckFile(ToPath(m_options.strReport), error))) {
        return Refuse(failure, kExitFailed, error);
    }
    return 1;
}

void CGrabJob::TakeFrames()
{
    const int started = CallDriver(m_options.dwTimeout, L"start", [this] {
        m_report.nBuffers = m_options.nBuffers > 0
                                ? m_options.nBuffers
                                : ChooseBufferCount(m_grabber->GetImageSize(), m_options.nFrames);
        return m_tap.emplace(*m_grabber, m_report.nBuffers, m_options.nFrames).Start();
    });
    if (started) {
        Pump();
    } else {
        Fail(L"the driver does not start");
    }
    m_tap->Stop();
    m_report.counters = m_tap->GetCounters();
}

/// Takes frames until all are there, or no more come, or the user has enough.
void CGrabJob::Pump()
{
    CFrameTap& tap = *m_tap;
    for (;;) {
        const bool last = tap.IsStopped();
        if (!TakeRecorded()) {
            return;
        }
        if (last) {
            break;
        }
        const DWORD remaining = m_options.dwTimeout - std::min(tap.GetSilence(), m_options.dwTimeout);
        const int event = CEvent::WaitForAny({&m_stop, &tap.GetEvent()}, remaining);
        if (event == 0) {
            tap.Stop();
        } else if (event < 0 && tap.GetSilence() >= m_options.dwTimeout && !tap.IsStopped()) {
            tap.Stop();
            m_report.ended = L"timeout";
        }
    }
    Conclude();
}

/// Takes all frames that wait. False when one cannot be kept.
bool CGrabJob::TakeRecorded()
{
    TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int> buffer;
    while (m_tap->Take(buffer)) {
        const bool kept = Keep(buffer->image);
        m_tap->GiveBack(buffer);
        if (!kept) {
            return false;
        }
        if (m_stop.Wait(0)) {
            m_tap->Stop(); // what was recorded by now is still written
        }
    }
    return true;
}

bool CGrabJob::Keep(const cv::Mat& image)
{
    CString error;
    const std::uint32_t number = m_report.nFrames + 1;
    if (number == 1 && !CheckFirstFrame(image, error)) {
        return Fail(error);
    }
    if (m_writer) {
        if (!m_writer->CheckType(image.type(), error) || !m_writer->Write(image, number, error)) {
            return Fail(error);
        }
        m_report.strLastFile = FromPath(m_writer->GetFile(number));
        if (number == 1) {
            m_report.strFirstFile = m_report.strLastFile;
        }
    }
    m_report.nFrames = number;
    return true;
}

bool CGrabJob::CheckFirstFrame(const cv::Mat& image, CString& error)
{
    const cv::Size source = m_tap->GetCounters().sourceSize;
    if (m_options.clip && (cv::Rect({}, source) & *m_options.clip) != *m_options.clip) {
        error =
            Format(L"the clip does not lie in the driver's picture of %d x %d", source.width, source.height);
        return false;
    }
    if (image.empty()) {
        error = L"the driver delivers empty images";
        return false;
    }
    m_report.size = image.size();
    m_report.nType = image.type();
    return true;
}

void CGrabJob::Conclude()
{
    if (*m_report.ended == L'\0') {
        const bool complete = m_options.nFrames != 0 && m_report.nFrames == m_options.nFrames;
        m_report.ended = complete ? L"frames" : L"interrupted";
        return;
    }
    m_report.strError =
        Format(L"no frame came for %g s; %u were taken", m_options.dwTimeout / 1000.0, m_report.nFrames);
    const CString reason = m_log.GetLastError();
    if (!reason.empty()) {
        m_report.strError += L"; the log's last error: " + reason;
    }
}

bool CGrabJob::Fail(CString error)
{
    m_report.ended = L"failed";
    m_report.strError = std::move(error);
    return false;
}

void CGrabJob::WriteReport()
{
    CString error;
    if (!m_options.strReport.empty() &&
        !ReplaceFileWith(ToPath(m_options.strReport), FormatReport(m_report), &error) &&
        m_report.strError.empty()) {
        m_report.strError = m_options.strReport + L" cannot be written: " + error;
    }
}

void CGrabJob::Close()
{
    if (m_grabber) {
        CallDriver(m_options.dwTimeout, L"close", [this] {
            m_grabber->StopCapture();
            m_grabber->CloseFrameGrabber();
            m_tap.reset();
            m_grabber.Release();
        });
    }
}

} // namespace alidade
