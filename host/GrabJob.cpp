#include "host/GrabJob.h"

#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Module.h"
#include "host/DriverList.h"
#include "host/GrabReport.h"
#include "host/GrabSettings.h"
#include "host/OutputCheck.h"
#include "host/PictureWriter.h"
#include "host/Watchdog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace alidade {
namespace {

using CGrabberHandle = TRefPointer<CFrameGrabber>;
using CBufferHandle = TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>;

/// Calls into a driver, and ends the process with a line when the driver does not come back.
template <class Call>
auto CallDriver(DWORD ms, const wchar_t* what, Call&& call)
{
    const CWatchdog watchdog(ms, [ms, what] {
        const T_HOST_FAILURE failure{kExitFailed,
                                     Format(L"a driver did not %s within %g s", what, ms / 1000.0)};
        std::fprintf(stderr, "%s\n", FormatFailure(failure).c_str());
        std::fflush(stderr);
        std::_Exit(failure.status);
    });
    return call();
}

/// The host's log; it remembers the last error, which often tells why no frame comes.
class CHostLog : public CSimpleLog {
public:
    using CSimpleLog::CSimpleLog;

    CString GetLastError() const
    {
        CS lock(&m_lock);
        return m_strLastError;
    }

protected:
    int Write(DWORD level, const CStringA& text) override
    {
        if ((level & kLogError) != 0) {
            CS lock(&m_lock);
            m_strLastError = ToWide(text);
        }
        return CSimpleLog::Write(level, text);
    }

private:
    mutable CCriticalSection m_lock;
    CString m_strLastError;
};

/// One grabber from its opening to its end.
class CGrabJob {
public:
    CGrabJob(const T_HOST_OPTIONS& options, CHostLog& log, CEvent& stop)
        : m_options(options), m_log(log), m_stop(stop)
    {
        if (options.save) {
            m_writer.emplace(*options.save);
        }
        m_report.strDriver = options.strGrabber;
        m_report.clip = options.clip;
        m_report.nFramesAsked = options.nFrames;
    }

    ~CGrabJob() { Close(); }
    CGrabJob(const CGrabJob&) = delete;
    CGrabJob& operator=(const CGrabJob&) = delete;

    int Run(CStringA& text, T_HOST_FAILURE& failure)
    {
        if (!BuildGrabSettings(m_options, &m_log, m_report.settings, failure) ||
            !CallDriver(m_options.dwTimeout, L"describe itself",
                        [&] { return CheckSettingKeys(m_options, failure); }) ||
            !CheckOutputs(failure) || !Open(failure)) {
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

private:
    /// Before the first frame: nothing is more annoying than a full night's run that cannot be written.
    int CheckOutputs(T_HOST_FAILURE& failure)
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

    int Open(T_HOST_FAILURE& failure)
    {
        m_grabber = CallDriver(m_options.dwTimeout, L"open", [this] {
            return CFrameGrabber::GetFrameGrabber(m_options.strGrabber.c_str(), m_report.settings,
                                                  m_report.strMessage);
        });
        if (!m_grabber) {
            return Refuse(failure, kExitFailed,
                          m_report.strMessage.empty() ? m_options.strGrabber + L" cannot be opened"
                                                      : m_report.strMessage);
        }
        if (m_options.clip) {
            m_grabber->SetClipRect(*m_options.clip, 1);
        }
        return 1;
    }

    void TakeFrames()
    {
        m_report.nBuffers = m_options.nBuffers > 0
                                ? m_options.nBuffers
                                : ChooseBufferCount(m_grabber->GetImageSize(), m_options.nFrames);
        CFrameTap& tap = m_tap.emplace(*m_grabber, m_report.nBuffers, m_options.nFrames);
        if (CallDriver(m_options.dwTimeout, L"start", [&] { return tap.Start(); })) {
            Pump(tap);
        } else {
            Fail(L"the driver does not start");
        }
        tap.Stop();
        m_report.counters = tap.GetCounters();
    }

    void Close()
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

    void Pump(CFrameTap& tap)
    {
        for (;;) {
            const bool last = tap.IsStopped();
            if (!TakeRecorded(tap)) {
                return;
            }
            if (last) {
                break;
            }
            const DWORD silence = tap.GetSilence();
            const DWORD remaining = m_options.dwTimeout - std::min(silence, m_options.dwTimeout);
            const int event = CEvent::WaitForAny({&m_stop, &tap.GetEvent()}, remaining);
            if (event == 0) {
                tap.Stop();
            } else if (event < 0 && tap.GetSilence() >= m_options.dwTimeout && !tap.IsStopped()) {
                tap.Stop();
                m_report.ended = L"timeout";
            }
        }
        if (*m_report.ended != L'\0') {
            m_report.strError = Format(L"no frame came for %g s; %u were taken", m_options.dwTimeout / 1000.0,
                                       m_report.nFrames);
            const CString reason = m_log.GetLastError();
            m_report.strError += reason.empty() ? CString() : L"; the log's last error: " + reason;
        } else {
            const bool complete = m_options.nFrames != 0 && m_report.nFrames == m_options.nFrames;
            m_report.ended = complete ? L"frames" : L"interrupted";
        }
    }

    /// Takes all frames that wait. False when one cannot be kept.
    bool TakeRecorded(CFrameTap& tap)
    {
        CBufferHandle buffer;
        while (tap.Take(buffer)) {
            const bool kept = Keep(tap, buffer->image);
            tap.GiveBack(buffer);
            if (!kept) {
                return false;
            }
            if (m_stop.Wait(0)) {
                tap.Stop(); // what was recorded by now is still written
            }
        }
        return true;
    }

    bool Keep(CFrameTap& tap, const cv::Mat& image)
    {
        CString error;
        const std::uint32_t number = m_report.nFrames + 1;
        if (number == 1 && !CheckFirstFrame(tap, image, error)) {
            return Fail(error);
        }
        if (m_writer) {
            if (!m_writer->Write(image, number, error)) {
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

    bool CheckFirstFrame(CFrameTap& tap, const cv::Mat& image, CString& error)
    {
        const cv::Size source = tap.GetCounters().sourceSize;
        if (m_options.clip && (cv::Rect({}, source) & *m_options.clip) != *m_options.clip) {
            error = Format(L"the clip does not lie in the driver's picture of %d x %d", source.width,
                           source.height);
            return false;
        }
        if (image.empty()) {
            error = L"the driver delivers empty images";
            return false;
        }
        m_report.size = image.size();
        m_report.nType = image.type();
        return !m_writer || m_writer->CheckType(image.type(), error);
    }

    bool Fail(CString error)
    {
        m_report.ended = L"failed";
        m_report.strError = std::move(error);
        return false;
    }

    void WriteReport()
    {
        CString error;
        if (!m_options.strReport.empty() &&
            !ReplaceFileWith(ToPath(m_options.strReport), FormatReport(m_report), &error) &&
            m_report.strError.empty()) {
            m_report.strError = m_options.strReport + L" cannot be written: " + error;
        }
    }

    const T_HOST_OPTIONS& m_options;
    CHostLog& m_log;
    CEvent& m_stop;
    std::optional<CPictureWriter> m_writer;
    CGrabberHandle m_grabber;
    std::optional<CFrameTap> m_tap; // from the start of capture until the driver is closed
    T_GRAB_REPORT m_report;
};

/// Loads the plug-ins: those of --drivers first, so that they win over others of the same name, then those
/// beside the program.
int LoadDrivers(const T_HOST_OPTIONS& options, CIPClient& client, T_HOST_FAILURE& failure)
{
    if (!options.strDrivers.empty()) {
        if (!std::filesystem::is_directory(ToPath(options.strDrivers))) {
            return Refuse(failure, kExitUsage, L"--drivers " + options.strDrivers + L" is no folder");
        }
        CFrameGrabber::LoadFrameGrabberDll(options.strDrivers.c_str(), nullptr);
    }
    const std::filesystem::path program = GetModulePath(reinterpret_cast<const void*>(&RunHost));
    return InitVision(&client, nullptr, nullptr, FromPath(program.parent_path() / "FG").c_str());
}

int CheckDriver(const CString& name, T_HOST_FAILURE& failure)
{
    const std::vector<CString> names = GetDriverNames();
    if (std::find(names.begin(), names.end(), name) != names.end()) {
        return 1;
    }
    CString known;
    for (const CString& other : names) {
        known += (known.empty() ? L"" : L", ") + other;
    }
    return Refuse(failure, kExitUsage, L"there is no driver " + name + L"; known are " + known);
}

} // namespace

int RunHost(const T_HOST_OPTIONS& options, CEvent& stop, CStringA& text, T_HOST_FAILURE& failure)
{
    CString error;
    if (!options.strLog.empty() && !CheckFile(ToPath(options.strLog), error)) {
        return Refuse(failure, kExitFailed, error);
    }
    CSimpleLog::Options logOptions;
    logOptions.path = options.strLog;
    CHostLog log(logOptions);
    CProfileSection::SetDiagnosticLog(&log);
    CIPClient client(nullptr, &log);
    int ok = CallDriver(options.dwTimeout, L"load", [&] { return LoadDrivers(options, client, failure); });
    if (ok && options.bListDrivers) {
        text = CallDriver(options.dwTimeout, L"describe itself", FormatDriverList);
    } else if (ok) {
        ok = CheckDriver(options.strGrabber, failure) && CGrabJob(options, log, stop).Run(text, failure);
    }
    if (!ok) {
        log.WriteErrorLog(L"%s", failure.text.c_str());
    }
    CallDriver(options.dwTimeout, L"unload", CFrameGrabber::UnloadFrameGrabberDll);
    CProfileSection::SetDiagnosticLog(nullptr);
    return ok;
}

} // namespace alidade
