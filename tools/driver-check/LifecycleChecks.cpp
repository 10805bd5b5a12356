// Checks of a driver's life: opening, starting, stopping, closing, destroying.

#include "CheckContext.h"

#include "foundation/platform/Text.h"

#include <algorithm>

namespace alidade {
namespace {

/// Frames flow on the main driver; a new one takes its place when an earlier check left it standing.
void ExpectMainFlows(CCheckContext& context)
{
    CFrameProbe& frames = context.Main().Frames();
    if (frames.WaitForMore(frames.GetCount(), context.GetSilence())) {
        return;
    }
    context.DestroyMain();
    CCheckedDriver& driver = context.Main();
    driver.Open(context.settings);
    driver.StartFlow();
    driver.ExpectFrames(1, "of StartCapture");
}

/// Capture starts only when asked: unless that is known to be broken, look for frames before it.
void ExpectIdle(CCheckContext& context, CCheckedDriver& driver)
{
    if (!context.HasFailed("idle-after-init")) {
        driver.ExpectNone(context.GetSilence(), "before StartCapture");
    }
}

} // namespace

void CheckCloseUnopened(CCheckContext& context)
{
    CCheckedDriver& driver = context.MakeDriver();
    driver.Close();
    driver.Close();
}

void CheckStartUnopened(CCheckContext& context)
{
    CCheckedDriver& driver = context.MakeDriver();
    driver.Start();
    driver.ExpectNone(context.options.dwWatch, "before InitFrameGrabber");
    driver.Stop();
}

void CheckInit(CCheckContext& context)
{
    CString message;
    const int result = context.Main().Init(context.settings, message);
    Expect(!message.empty(), "InitFrameGrabber returned " + std::to_string(result) + " and wrote no message");
    Expect(result == 1, "InitFrameGrabber returned 0: " + ToNarrow(message));
}

void CheckImageSize(CCheckContext& context)
{
    const cv::Size size = context.Main().Get().m_imageSize;
    Expect(size.width > 0 && size.height > 0, "m_imageSize is " + std::to_string(size.width) + " by " +
                                                  std::to_string(size.height) + " after InitFrameGrabber");
}

void CheckIdleAfterInit(CCheckContext& context)
{
    context.Main().ExpectNone(context.options.dwWatch, "between InitFrameGrabber and StartCapture");
}

void CheckStop(CCheckContext& context)
{
    CCheckedDriver& driver = context.Main();
    Expect(driver.Stop() == 1, "StopCapture returned 0");
    // A frame that was on its way may still come.
    const CDeadline deadline(context.options.dwDeadline);
    for (;;) {
        try {
            driver.ExpectNone(context.GetSilence(), "after StopCapture");
            return;
        } catch (const CCheckFailed&) {
            Expect(!deadline.IsOver(),
                   "frames still came " + context.runner.GetDeadlineText() + " after StopCapture");
        }
    }
}

void CheckRestart(CCheckContext& context)
{
    context.Main().StartFlow();
    context.Main().ExpectFrames(2, "of the second StartCapture");
}

void CheckClose(CCheckContext& context)
{
    ExpectMainFlows(context);
    CCheckedDriver& driver = context.Main();
    Expect(driver.Close() == 1, "CloseFrameGrabber returned 0 while frames flowed");
    driver.ExpectNone(context.GetSilence(), "after CloseFrameGrabber had returned");
    driver.Close();
}

void CheckReopen(CCheckContext& context)
{
    CCheckedDriver& driver = context.Main();
    driver.Open(context.settings);
    ExpectIdle(context, driver);
    driver.StartFlow();
    driver.ExpectFrames(2, "of StartCapture on a driver that was closed and opened again");
}

void CheckInitAgain(CCheckContext& context)
{
    CCheckedDriver& driver = context.Main();
    driver.Open(context.settings);
    ExpectIdle(context, driver);
    driver.StartFlow();
    driver.ExpectFrames(2, "of StartCapture after the second InitFrameGrabber");
}

void CheckDestroyCapturing(CCheckContext& context)
{
    ExpectMainFlows(context);
    CFrameProbe& frames = context.Main().Frames();
    context.DestroyMain();
    Expect(!frames.WaitForMore(frames.GetCount(), context.GetSilence()), "a frame came after the destructor");
}

void CheckNullCallback(CCheckContext& context)
{
    CCheckedDriver& driver = context.MakeDriver();
    driver.DropCallback();
    driver.Open(context.settings);
    driver.StartFlow();
    const CDeadline deadline(context.options.dwDeadline);
    const DWORD first = driver.GetLastGrab();
    auto arrived = std::make_shared<bool>(false);
    while (!*arrived && !deadline.IsOver()) {
        Sleep(1); // without a callback there is nothing to wait for
        context.RunClient([&object = driver.Get(), first, arrived] {
            CS hold(&object.m_imageLock);
            *arrived = object.m_dwLastGrab != first && !object.m_image.empty();
        });
    }
    Expect(*arrived, "no frame came within " + context.runner.GetDeadlineText() + " without a callback");
    Expect(driver.Stop() == 1 && driver.Close() == 1, "the driver could not be closed");
}

void CheckTwoObjects(CCheckContext& context)
{
    CCheckedDriver& one = context.MakeDriver();
    one.Open(context.settings);
    one.StartFlow();
    one.ExpectFrames(1, "of StartCapture");

    CCheckedDriver& other = context.MakeDriver();
    CString message;
    const bool opened = other.Init(context.settings, message) == 1;
    Expect(opened || !message.empty(), "the second object could not be opened, and wrote no message");
    if (opened) {
        other.StartFlow();
        other.ExpectFrames(2, "on the second of two objects");
    }
    one.ExpectFrames(2, "on the first of two objects, once the second was opened");
    if (!opened) {
        throw CCheckSkipped("the device serves one object at a time: " + ToNarrow(message));
    }
    Expect(other.Close() == 1, "the second object could not be closed");
    one.ExpectFrames(2, "on the first of two objects, once the second was closed");
}

} // namespace alidade
