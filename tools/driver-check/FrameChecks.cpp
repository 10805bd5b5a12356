// Checks of the frames as they come, and of clients that look at them.

#include "CheckContext.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cmath>

namespace alidade {
namespace {

constexpr DWORD kOldTick = 2000;    // ms; a tick older than this was not taken for its frame
constexpr DWORD kRepeatedTick = 50; // ms that frames of one tick may lie apart
constexpr int kGreedyRounds = 200;  // turns of the greedy client at the image lock
constexpr int kFramesUnderLoad = 5;

std::string Number(std::size_t index)
{
    return "frame " + std::to_string(index + 1);
}

/// Milliseconds from an earlier to a later tick; negative when the later one lies before.
std::int32_t TicksFrom(DWORD earlier, DWORD later)
{
    return static_cast<std::int32_t>(later - earlier);
}

} // namespace

void CheckFrames(CCheckContext& context)
{
    CCheckedDriver& driver = context.Main();
    CFrameProbe& frames = driver.Frames();
    const int before = frames.GetCount();
    frames.StartRecording(context.options.nFrames);
    driver.StartFlow();
    const CDeadline deadline(context.options.dwDeadline);
    const bool flows = frames.WaitForMore(before, deadline.Remaining());
    if (flows) {
        // A slow camera is judged by the frames that it makes within the deadline.
        frames.WaitForCount(before + context.options.nFrames, deadline.Remaining());
    }
    context.nNewBuffers = frames.GetNewBuffers();
    context.records = frames.StopRecording();
    Expect(flows, "no frame came within " + context.runner.GetDeadlineText() + " of StartCapture");
}

void CheckCallbackArgument(CCheckContext& context)
{
    for (std::size_t i = 0; i < context.records.size(); ++i) {
        Expect(context.records[i].bRightArgument, Number(i) + " came with another argument than the one set");
    }
}

void CheckCallbackLock(CCheckContext& context)
{
    for (std::size_t i = 0; i < context.records.size(); ++i) {
        Expect(context.records[i].bLocked,
               "another thread could take the image lock during the callback of " + Number(i));
    }
}

void CheckCallbackThread(CCheckContext& context)
{
    const std::thread::id thread = context.records.front().thread;
    Expect(thread != context.runner.GetThreadId() && thread != std::this_thread::get_id(),
           "the callback ran on the thread that called StartCapture");
    for (std::size_t i = 0; i < context.records.size(); ++i) {
        Expect(context.records[i].thread == thread,
               Number(i) + " came on another thread than those before it");
    }
}

void CheckTickWritten(CCheckContext& context)
{
    const auto& records = context.records;
    std::size_t firstOfTick = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::int32_t age = TicksFrom(records[i].dwLastGrab, records[i].dwNow);
        Expect(records[i].dwLastGrab != 0 || std::abs(age) <= static_cast<std::int32_t>(kOldTick),
               "m_dwLastGrab is still 0 at " + Number(i));
        Expect(age >= 0,
               "m_dwLastGrab lies " + std::to_string(-age) + " ms ahead of the clock at " + Number(i));
        Expect(age <= static_cast<std::int32_t>(kOldTick),
               "m_dwLastGrab is " + std::to_string(age) + " ms old at " + Number(i));
        if (records[i].dwLastGrab != records[firstOfTick].dwLastGrab) {
            firstOfTick = i;
        }
        // The latest frame of one tick may have been held up on its way; the one before it was not.
        Expect(i < firstOfTick + 2 || TicksFrom(records[firstOfTick].dwNow, records[i - 1].dwNow) <
                                          static_cast<std::int32_t>(kRepeatedTick),
               "m_dwLastGrab was not written for " + Number(i));
    }
}

void CheckTickOrder(CCheckContext& context)
{
    const auto& records = context.records;
    for (std::size_t i = 1; i < records.size(); ++i) {
        const std::int32_t step = TicksFrom(records[i - 1].dwLastGrab, records[i].dwLastGrab);
        Expect(step >= 0, "m_dwLastGrab ran back by " + std::to_string(-step) + " ms at " + Number(i));
    }
}

void CheckImage(CCheckContext& context)
{
    for (std::size_t i = 0; i < context.records.size(); ++i) {
        Expect(context.records[i].size.area() > 0, "m_image is empty at " + Number(i));
        Expect(context.records[i].nDims == 2,
               "m_image has " + std::to_string(context.records[i].nDims) + " dimensions at " + Number(i));
    }
}

void CheckImageType(CCheckContext& context)
{
    for (std::size_t i = 0; i < context.records.size(); ++i) {
        const int type = context.records[i].nType;
        const bool depth = CV_MAT_DEPTH(type) == CV_8U || CV_MAT_DEPTH(type) == CV_16U;
        const bool channels = CV_MAT_CN(type) == 1 || CV_MAT_CN(type) == 3;
        Expect(depth && channels, "m_image is of OpenCV type " + std::to_string(type) + " at " + Number(i) +
                                      "; 8 or 16 bits unsigned with 1 or 3 channels are taken");
    }
}

void CheckSteadyImage(CCheckContext& context)
{
    const auto& records = context.records;
    int sameShape = 0;
    for (std::size_t i = 1; i < records.size(); ++i) {
        sameShape +=
            records[i].size == records[i - 1].size && records[i].nType == records[i - 1].nType ? 1 : 0;
    }
    Expect(context.nNewBuffers <= CFrameProbe::kMostBuffers,
           "m_image took " + std::to_string(context.nNewBuffers) + " new buffers in " +
               std::to_string(records.size()) + " frames; copy each frame into it instead");
    if (sameShape <= CFrameProbe::kMostBuffers) {
        throw CCheckSkipped("only " + std::to_string(sameShape) +
                            " frames were of the size of the one before");
    }
}

void CheckGreedyClient(CCheckContext& context)
{
    auto arrived = std::make_shared<int>(0);
    context.RunClient([&driver = context.Main().Get(), &frames = context.Main().Frames(), arrived,
                       deadline = CDeadline(context.options.dwDeadline / 2)] {
        const int before = frames.GetCount();
        for (int round = 0; round < kGreedyRounds || (*arrived < kFramesUnderLoad && !deadline.IsOver());
             ++round) {
            CS hold(&driver.m_imageLock);
            *arrived = frames.GetCount() - before;
        }
    });
    Expect(*arrived > 0, "no frame came while a client took the image lock again and again");
}

void CheckSlowClient(CCheckContext& context)
{
    CCheckedDriver& driver = context.Main();
    auto overtaken = std::make_shared<bool>(false);
    context.RunClient([&lock = driver.Get().m_imageLock, &frames = driver.Frames(), overtaken,
                       silence = context.GetSilence()] {
        CS hold(&lock);
        *overtaken = frames.WaitForMore(frames.GetCount(), silence);
    });
    // Already told of a driver that does not hold the lock in its callback.
    Expect(!*overtaken || context.HasFailed("callback-lock"),
           "a frame came while a client held the image lock");
    driver.ExpectFrames(1, "after a client had held the image lock for long");
}

} // namespace alidade
