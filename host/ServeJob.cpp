#include "host/ServeJob.h"

#include "foundation/bus/IPBus.h"
#include "host/CameraUnit.h"
#include "host/DriverCall.h"
#include "host/OpenGrabber.h"
#include "host/StageDemo.h"
#include "host/machine/MachineSimulator.h"

#include <thread>

namespace alidade {
namespace {

/// Shuts the client down when the user has enough or the time is over, so that a command that is waited for
/// does not hold the host.
class CShutdownOnStop {
public:
    CShutdownOnStop(CIPClient& client, CEvent& stop, const CDeadline& end)
        : m_thread([this, &client, &stop, end] {
              if (CEvent::WaitForAny({&m_evtDone, &stop}, end.Remaining()) != 0) {
                  stop.SetEvent(); // what follows is not begun either
                  client.Shutdown();
              }
          })
    {
    }
    ~CShutdownOnStop()
    {
        m_evtDone.SetEvent();
        m_thread.join();
    }
    CShutdownOnStop(const CShutdownOnStop&) = delete;
    CShutdownOnStop& operator=(const CShutdownOnStop&) = delete;

private:
    CEvent m_evtDone;
    std::thread m_thread;
};

/// A camera in operation for as long as the object lives.
class CLiveCamera {
public:
    CLiveCamera(const T_HOST_OPTIONS& options, CHostLog& log) : m_options(options), m_log(log) {}
    ~CLiveCamera()
    {
        m_unit.reset();
        if (m_grabber) {
            CloseGrabber(m_options, m_grabber);
        }
    }
    CLiveCamera(const CLiveCamera&) = delete;
    CLiveCamera& operator=(const CLiveCamera&) = delete;

    /// Waits a second for a frame that is delivered from now on. 0 when none comes.
    int WaitForFrame()
    {
        cv::Mat image;
        return m_grabber ? m_grabber->GetNewImage(image, 1000) : 0;
    }

    int Start(CIPClient& client, T_HOST_FAILURE& failure)
    {
        if (!m_options.strGrabber.empty()) {
            CProfileSection settings;
            CString message;
            m_grabber = OpenGrabber(m_options, m_log, settings, message, failure);
            if (!m_grabber) {
                return 0;
            }
            if (!CallDriver(m_options.dwTimeout, L"start", [&] { return m_grabber->StartCapture(); })) {
                return Refuse(failure, kExitFailed, L"the driver does not start");
            }
        }
        if (m_options.strUnit) {
            CCameraUnit::GetImage getImage;
            if (m_grabber) {
                getImage = [this](cv::Mat& image, DWORD waitMs) {
                    return m_grabber->GetImage(image, true, waitMs);
                };
            }
            m_unit.emplace(client, m_options.strUnit->c_str(), std::move(getImage));
        }
        return 1;
    }

private:
    const T_HOST_OPTIONS& m_options;
    CHostLog& m_log;
    TRefPointer<CFrameGrabber> m_grabber;
    std::optional<CCameraUnit> m_unit;
};

} // namespace

CServeJob::CServeJob(const T_HOST_OPTIONS& options, CIPClient& client, CHostLog& log, CEvent& stop)
    : m_options(options), m_client(client), m_log(log), m_stop(stop)
{
}

int CServeJob::Run(T_HOST_FAILURE& failure)
{
    CString error;
    const std::shared_ptr<CIPBus>& bus = m_client.GetBus();
    if (!m_options.strBus.empty() && !bus->Join(m_options.strBus.c_str(), error, &m_log)) {
        return Refuse(failure, kExitFailed, L"the bus cannot be joined: " + error);
    }
    const int ok = Serve(failure);
    bus->Leave();
    return ok;
}

int CServeJob::Serve(T_HOST_FAILURE& failure)
{
    const CDeadline end(m_options.dwQuitAfter);
    CString error;
    CMachineSimulator machine;
    if (m_options.bMachine && !machine.Start(T_MACHINE_SETTINGS(), m_client.GetBus(), &m_log, error)) {
        return Refuse(failure, kExitFailed, L"the machine cannot be started: " + error);
    }
    CLiveCamera camera(m_options, m_log);
    if (!camera.Start(m_client, failure)) {
        return 0;
    }
    const int ok = RunCommands(
        end, [&] { return camera.WaitForFrame(); }, failure);
    const bool stays =
        m_options.dwQuitAfter != INFINITE || (m_options.exec.empty() && m_options.strDemo.empty());
    if (stays) {
        m_stop.Wait(end.Remaining());
    }
    return ok;
}

int CServeJob::RunCommands(const CDeadline& end, const std::function<int()>& waitForFrame,
                           T_HOST_FAILURE& failure)
{
    CIPClient sender(nullptr, &m_log, m_client.GetTask().c_str(), m_client.GetBus());
    CShutdownOnStop shutdown(sender, m_stop, end);
    const int ok = RunExecLines(sender, m_options.exec, m_stop, failure);
    CString error;
    if (!m_options.strDemo.empty() && !m_stop.Wait(0) &&
        !RunStageDemo(sender, m_options.strUnit->c_str(), waitForFrame, m_options.strDemo, m_stop, error)) {
        return Refuse(failure, kExitFailed, error);
    }
    return ok;
}

} // namespace alidade
