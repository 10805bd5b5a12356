#include "host/WindowJob.h"

#include "foundation/bus/IPBus.h"
#include "host/CameraUnit.h"
#include "host/Display.h"
#include "host/DriverCall.h"
#include "host/HostLayout.h"
#include "host/HostWindow.h"
#include "host/OutputCheck.h"
#include "host/WindowLoop.h"
#include "host/machine/MachineSimulator.h"

#include <QCursor>

namespace alidade {
namespace {

/// Errors go to standard error too, for as long as the object lives.
class CEcho {
public:
    explicit CEcho(CHostLog& log) : m_log(log) { m_log.SetEcho(true); }
    ~CEcho() { m_log.SetEcho(false); }
    CEcho(const CEcho&) = delete;
    CEcho& operator=(const CEcho&) = delete;

private:
    CHostLog& m_log;
};

/// The time that so many drivers may take for what one may take `ms` for.
DWORD ForAll(DWORD ms, std::size_t drivers)
{
    const std::uint64_t all = static_cast<std::uint64_t>(ms) * std::max<std::size_t>(1, drivers);
    return static_cast<DWORD>(std::min<std::uint64_t>(all, INFINITE - 1));
}

std::size_t CountCameras(const CCameraLayoutItem& layout)
{
    TList<CString, int, int> cameras;
    CCameraLayoutItem::GetCameraList(layout, cameras);
    return static_cast<std::size_t>(cameras.Count());
}

} // namespace

CWindowJob::CWindowJob(const T_HOST_OPTIONS& options, CIPClient& client, CProfile& profile, CHostLog& log,
                       CEvent& stop)
    : m_options(options), m_client(client), m_profile(profile), m_log(log), m_stop(stop),
      m_end(options.dwQuitAfter)
{
}

int CWindowJob::Run(T_HOST_FAILURE& failure)
{
    CCameraLayoutItem layout;
    if (!CheckScreenshot(failure) || !MakeHostLayout(m_options, m_profile, m_log, layout, failure)) {
        return 0;
    }
    FillSimulatedSettings(m_options, layout, m_profile);
    CString error;
    const std::shared_ptr<CIPBus>& bus = m_client.GetBus();
    if (!m_options.strBus.empty() && !bus->Join(m_options.strBus.c_str(), error, &m_log)) {
        return Refuse(failure, kExitFailed, L"the bus cannot be joined: " + error);
    }
    const int ok = RunOnBus(layout, failure);
    bus->Leave();
    return ok;
}

int CWindowJob::CheckScreenshot(T_HOST_FAILURE& failure) const
{
    CString error;
    return m_options.strScreenshot.empty() || CheckFile(ToPath(m_options.strScreenshot), error) ||
           Refuse(failure, kExitFailed, error);
}

int CWindowJob::RunOnBus(const CCameraLayoutItem& layout, T_HOST_FAILURE& failure)
{
    CString error;
    CMachineSimulator machine;
    if (m_options.bMachine && !machine.Start(T_MACHINE_SETTINGS(), m_client.GetBus(), &m_log, error)) {
        return Refuse(failure, kExitFailed, L"the machine cannot be started: " + error);
    }
    CWindowLoop loop(m_options, m_client, m_log, m_stop, m_end);
    auto window = std::make_unique<CHostWindow>(m_options.size, [&loop] { loop.End(); });
    const DWORD timeout = ForAll(m_options.dwTimeout, CountCameras(layout));
    const int ok = OpenViews(layout, timeout, *window, failure) && ShowViews(loop, *window, failure);
    CallDriver(timeout, L"close", [&] { window.reset(); });
    return ok;
}

int CWindowJob::OpenViews(const CCameraLayoutItem& layout, DWORD timeout, CHostWindow& window,
                          T_HOST_FAILURE& failure)
{
    // A camera that was named on the command line must open. Any other leaves its view empty.
    const bool must = m_options.strLayout.empty() && m_options.bGrabberGiven;
    if (must) {
        CallDriver(timeout, L"open", [&] { window.Init(layout); });
        const ICameraView* view = window.GetPane().GetCameraView(nullptr);
        return view != nullptr && view->GetFrameGrabber() != nullptr
                   ? 1
                   : Refuse(failure, kExitFailed, m_log.GetLastError());
    }
    const CEcho echo(m_log);
    if (CountCameras(layout) == 0) {
        m_log.WriteErrorLog(L"the layout %s has no camera, or is of another version",
                            m_options.strLayout.c_str());
    }
    CallDriver(timeout, L"open", [&] { window.Init(layout); });
    return 1;
}

int CWindowJob::ShowViews(CWindowLoop& loop, CHostWindow& window, T_HOST_FAILURE& failure)
{
    const CEcho echo(m_log);
    std::vector<std::unique_ptr<CCameraUnit>> units;
    for (ICameraView* view : window.GetViews()) {
        if (m_options.clip && view->GetFrameGrabber() != nullptr) {
            view->GetFrameGrabber()->SetClipRect(*m_options.clip, 1);
        }
        const CStringA unit = view->GetUnitName();
        if (!unit.empty()) {
            units.push_back(
                std::make_unique<CCameraUnit>(m_client, unit.c_str(), [view](cv::Mat& image, DWORD waitMs) {
                    return view->GetImage(image, true, waitMs);
                }));
        }
    }
    if (IsDisplayInMemory()) {
        QCursor::setPos(-1, -1); // a mouse that is not there points at nothing
    }
    window.show();
    return loop.Run(window, failure);
}

} // namespace alidade
