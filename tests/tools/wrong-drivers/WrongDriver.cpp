// One driver that can break its contract in many ways. The file name says in which: see WrongDrivers.inc.

#include "alidade/driver/Driver.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Module.h"

#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace alidade;

enum class eFAULT {
#define WRONG_DRIVER(name, check) name,
#include "WrongDrivers.inc"
#undef WRONG_DRIVER
};

constexpr const char* kNames[] = {
#define WRONG_DRIVER(name, check) #name,
#include "WrongDrivers.inc"
#undef WRONG_DRIVER
};

constexpr DWORD kPeriod = 5;          // ms
constexpr DWORD kMostPatience = 1000; // ms of waiting for a client; see EndsOnSlowClient

eFAULT FindFault()
{
    const std::string file = GetModulePath(&kNames).filename().string();
    int index = 0;
    for (const char* name : kNames) {
        if (file == "FG." + std::string(name) + ".zbr.64R.dll") {
            return static_cast<eFAULT>(index);
        }
        ++index;
    }
    return eFAULT::Correct;
}

const eFAULT g_fault = FindFault();

bool Is(eFAULT fault)
{
    return g_fault == fault;
}

void StallForEver()
{
    CEvent never;
    never.Wait(INFINITE);
}

bool g_opened = false;

struct CUnloading {
    ~CUnloading()
    {
        // Only once it has been in use, so that a program that merely lists drivers can end.
        if (Is(eFAULT::UnloadStalls) && g_opened) {
            StallForEver();
        }
    }
} g_unloading;

class CWrongDriver : public IFrameGrabberInterface {
public:
    ~CWrongDriver() override
    {
        if (Is(eFAULT::DestructorStalls) && m_bCapture) {
            StallForEver();
        }
        EndThread();
        CWrongDriver* self = this;
        s_owner.compare_exchange_strong(self, nullptr);
    }

    void SetNewImageCallback(NewImageCallback callback, void* argument) override
    {
        if (Is(eFAULT::SetCallbackStalls)) {
            StallForEver();
        }
        IFrameGrabberInterface::SetNewImageCallback(callback, argument);
    }
    int InitFrameGrabber(const CProfileSection&, CString& message) override;
    int CloseFrameGrabber() override;
    int StartCapture() override;
    int StopCapture() override;

private:
    bool IsOpen() const { return m_thread.joinable(); }
    void EndThread();
    void Run();
    void MakeFrame();
    void WriteTick();
    void WriteImage();
    void CallBack();

    static std::atomic<CWrongDriver*> s_owner; // the object opened last

    std::thread m_thread;
    CEvent m_evtStop{false, true};
    std::atomic<bool> m_bCapture{false};
    std::atomic<bool> m_bBroken{false}; // delivers no more until it is opened again
    bool m_bOpenedBefore = false;
    bool m_bStopped = false;
    int m_nFrame = 0;
    cv::Mat m_work;
};

std::atomic<CWrongDriver*> CWrongDriver::s_owner{nullptr};

int CWrongDriver::InitFrameGrabber(const CProfileSection&, CString& message)
{
    if (Is(eFAULT::InitThrows)) {
        throw std::runtime_error("no camera");
    }
    if (Is(eFAULT::InitStalls)) {
        StallForEver();
    }
    const bool refused = (Is(eFAULT::OpensOnce) && m_bOpenedBefore) ||
                         (Is(eFAULT::InitAgainFails) && IsOpen()) ||
                         (Is(eFAULT::SecondRefused) && s_owner != nullptr && s_owner != this);
    if (refused || Is(eFAULT::InitFails)) {
        message = L"the device is in use";
        return 0;
    }
    const bool capture = Is(eFAULT::FramesBeforeStart) || (Is(eFAULT::InitAgainKeepsCapturing) && m_bCapture);
    EndThread();
    s_owner = this;
    m_bOpenedBefore = true;
    g_opened = true;
    m_bBroken = false;
    m_bStopped = false;
    m_bCapture = capture;
    m_imageSize = Is(eFAULT::NoImageSize) ? cv::Size() : cv::Size(64, 48);
    m_work = cv::Mat(48, 64, Is(eFAULT::FloatImage) ? CV_32FC1 : CV_8UC1, cv::Scalar(0));
    m_evtStop.ResetEvent();
    m_thread = std::thread([this] { Run(); });
    message = Is(eFAULT::InitSilent) ? L"" : L"opened";
    return 1;
}

int CWrongDriver::CloseFrameGrabber()
{
    if (Is(eFAULT::CloseUnopenedThrows) && !m_bOpenedBefore) {
        throw std::logic_error("not open");
    }
    if (Is(eFAULT::CloseStalls) && IsOpen()) {
        StallForEver();
    }
    if (!Is(eFAULT::FramesAfterClose)) {
        EndThread();
    }
    return 1;
}

int CWrongDriver::StartCapture()
{
    if (Is(eFAULT::StartUnopenedThrows) && !IsOpen()) {
        throw std::logic_error("not open");
    }
    m_bBroken = Is(eFAULT::StartsOnce) && m_bStopped;
    m_bCapture = IsOpen();
    return 1;
}

int CWrongDriver::StopCapture()
{
    if (Is(eFAULT::StopStalls) && IsOpen()) {
        StallForEver();
    }
    m_bStopped = true;
    m_bCapture = Is(eFAULT::FramesAfterStop) && IsOpen();
    return 1;
}

void CWrongDriver::EndThread()
{
    m_evtStop.SetEvent();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_bCapture = false;
}

void CWrongDriver::Run()
{
    bool keepsLock = false;
    while (!m_evtStop.Wait(kPeriod)) {
        if (!m_bCapture || m_bBroken || Is(eFAULT::NoFrames) ||
            (Is(eFAULT::NeedsCallback) && m_pfnNewImage == nullptr) ||
            (Is(eFAULT::SecondTakesFrames) && s_owner != this)) {
            continue;
        }
        if (Is(eFAULT::ThreadThrows)) {
            throw std::runtime_error("the cable is out");
        }
        const bool keep =
            Is(eFAULT::KeepsImageLock) || (Is(eFAULT::KeepsLockWithoutCallback) && m_pfnNewImage == nullptr);
        if (keep && !keepsLock) {
            keepsLock = true;
            m_imageLock.Lock();
        }
        ++m_nFrame;
        if (Is(eFAULT::CallbackOnTwoThreads) && m_nFrame % 2 == 0) {
            std::thread([this] { MakeFrame(); }).join();
        } else {
            MakeFrame();
        }
    }
    if (keepsLock) {
        m_imageLock.Unlock();
    }
}

void CWrongDriver::MakeFrame()
{
    WriteTick();
    const DWORD asked = GetTickCount();
    {
        CS lock(&m_imageLock);
        if (Is(eFAULT::EndsOnSlowClient) && GetTickCount() - asked > kMostPatience) {
            m_bBroken = true;
            return;
        }
        WriteImage();
        if (!Is(eFAULT::CallbackUnlocked)) {
            CallBack();
        }
    }
    if (Is(eFAULT::CallbackUnlocked)) {
        CallBack();
    }
}

void CWrongDriver::WriteTick()
{
    if (Is(eFAULT::NoTick) || (Is(eFAULT::TickOnce) && m_dwLastGrab != 0)) {
        return;
    }
    m_dwLastGrab = Is(eFAULT::TickBackwards) && m_nFrame % 2 == 0 ? m_dwLastGrab - 5 : GetTickCount();
}

void CWrongDriver::WriteImage()
{
    if (Is(eFAULT::EmptyImage)) {
        m_image.release();
    } else if (Is(eFAULT::NewImagePerFrame)) {
        m_image = m_work.clone();
    } else {
        m_work.copyTo(m_image);
    }
}

void CWrongDriver::CallBack()
{
    if (m_pfnNewImage != nullptr) {
        m_pfnNewImage(Is(eFAULT::WrongArgument) ? this : m_pNewImageArg);
    }
}

} // namespace

#ifndef OMIT_NAME
ALIDADE_DRIVER_EXPORT void GetFrameGrabberName(char* name, int size)
{
    switch (g_fault) {
    case eFAULT::EmptyName:
        name[0] = '\0';
        break;
    case eFAULT::LongName:
        std::strcpy(name, std::string(static_cast<std::size_t>(size) + 20, 'n').c_str());
        break;
    case eFAULT::UnterminatedName:
        std::memset(name, 'n', static_cast<std::size_t>(size));
        break;
    default:
        CopyDriverName(name, size, kNames[static_cast<int>(g_fault)]);
    }
}
#endif

#ifndef OMIT_FACTORY
ALIDADE_DRIVER_EXPORT alidade::IFrameGrabberInterface* GetFrameGrabber()
{
    static CWrongDriver* first = nullptr;
    switch (g_fault) {
    case eFAULT::FactoryThrows:
        throw std::runtime_error("no drivers today");
    case eFAULT::FactoryNull:
        return nullptr;
    case eFAULT::FactoryStalls:
        StallForEver();
        return nullptr;
    case eFAULT::FactorySameObject:
        return first = first != nullptr ? first : new CWrongDriver;
    default:
        return new CWrongDriver;
    }
}
#endif

#ifndef OMIT_PROPERTIES
ALIDADE_DRIVER_EXPORT void
GetFrameGrabberProperties(alidade::TList<alidade::CMFCPropertyGridProperty, int, int>& properties,
                          alidade::TList<alidade::CString, int, int>&)
{
    if (Is(eFAULT::PropertiesThrow)) {
        throw std::runtime_error("no properties today");
    }
    if (Is(eFAULT::PropertiesReplace)) {
        properties.DeleteAll();
    }
    properties.Insert(new CMFCPropertyGridProperty(L"Wrong.Setting", L"", L"has no effect"));
    if (Is(eFAULT::PropertyTwice)) {
        properties.Insert(new CMFCPropertyGridProperty(L"Wrong.Setting", L"", L"has no effect"));
    }
}
#endif

#ifndef OMIT_LAYOUT_VERSION
ALIDADE_DRIVER_EXPORT alidade::DWORD GetFrameGrabberLayoutVersion()
{
    return ALIDADE_DRIVER_LAYOUT_VERSION + (Is(eFAULT::OtherLayout) ? 1u : 0u);
}
#endif
