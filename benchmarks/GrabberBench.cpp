#include "benchmarks/Frames.h"
#include "benchmarks/Harness.h"
#include "tests/support/FrameGrabberTestAccess.h"

#include "foundation/platform/Event.h"

#include <atomic>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace alidade::bench {
namespace {

using Access = CFrameGrabberTestAccess;

/// The bare event: a descriptor that one thread writes and another polls.
class CBareEvent {
public:
    CBareEvent() : m_fd(::eventfd(0, EFD_NONBLOCK)) {}
    ~CBareEvent() { ::close(m_fd); }
    void Set() const
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(m_fd, &one, sizeof(one));
    }
    void Wait() const
    {
        pollfd fd{m_fd, POLLIN, 0};
        ::poll(&fd, 1, -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = ::read(m_fd, &count, sizeof(count));
    }

private:
    int m_fd;
};

void BenchGetImage(CSuite& suite, const T_FRAME_SIZE& size)
{
    auto* driver = new CHandDriver(size.size);
    const auto grabber = Access::Make(driver);
    const cv::Mat frame = MakeFrame(size);
    driver->Deliver(frame);
    cv::Mat ours, bare;
    suite.Compare(
        "GetImage into a reused image, " + size.name, size.large ? 0.7 : 1.05,
        [&] { grabber->GetImage(ours, false, 0); }, [&] { driver->m_image.copyTo(bare); });
    if (size.large) {
        // What the memory lets two cores do, beside which the target of GetImage is to be read.
        suite.Compare(
            "plain copies of the halves by two threads, " + size.name, std::nullopt,
            [&] {
                const cv::Range halves[] = {{0, frame.rows / 2}, {frame.rows / 2, frame.rows}};
                std::thread other([&] { frame.rowRange(halves[1]).copyTo(ours.rowRange(halves[1])); });
                frame.rowRange(halves[0]).copyTo(ours.rowRange(halves[0]));
                other.join();
            },
            [&] { driver->m_image.copyTo(bare); });
    }
    CBareEvent event;
    suite.Compare(
        "NewImage, no transforms, no waiters, " + size.name, 1.0, [&] { Access::NewImage(*grabber); },
        [&] { event.Set(); });
    // Filing a frame needs a free buffer each time: the one filled goes back.
    grabber->ReserveImageBuffer(2);
    TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int> buffer;
    suite.Compare(
        "serial grab step, " + size.name, 1.05,
        [&] {
            Access::RecordFrame(*grabber);
            grabber->PopImageBuffer(buffer);
            grabber->ReturnImageBuffer(buffer);
        },
        [&] { driver->m_image.copyTo(bare); });
}

void BenchFurtherWaiters(CSuite& suite)
{
    constexpr int kFurther = 16;
    const std::string name = "each further waiting client";
    if (!suite.IsWanted(name)) {
        return;
    }
    const auto one = Access::Make(new CHandDriver);
    const auto many = Access::Make(new CHandDriver);
    std::vector<TRefPointer<CEvent, int, int>> events;
    for (int i = 0; i <= kFurther; ++i) {
        events.emplace_back(new CEvent);
        many->InsertWaitingQueue(events.back());
    }
    one->InsertWaitingQueue(events.front());
    CBareEvent bare;
    std::vector<double> oursTimes, bareTimes, ratios;
    for (int i = 0; i < 300; ++i) {
        const double withMany = MeasureOnce([&] { Access::NewImage(*many); }, 100);
        const double withOne = MeasureOnce([&] { Access::NewImage(*one); }, 100);
        const double set = MeasureOnce([&] { events.front()->SetEvent(); }, 1000);
        oursTimes.push_back((withMany - withOne) / kFurther);
        bareTimes.push_back(set);
        ratios.push_back(oursTimes.back() / set);
    }
    suite.Add({name, Median(oursTimes), Median(bareTimes), Median(ratios), 1.2, false});
}

/// Times from the setting of an event to the waiting thread running, alternately ours and bare.
void BenchWakeUp(CSuite& suite)
{
    const std::string name = "wake-up of a waiting client";
    if (!suite.IsWanted(name)) {
        return;
    }
    constexpr int kRounds = 6000;
    const auto grabber = Access::Make(new CHandDriver);
    TRefPointer<CEvent, int, int> event(new CEvent);
    grabber->InsertWaitingQueue(event);
    CBareEvent bare;
    std::atomic<int> waiting{-1};
    std::atomic<std::int64_t> woken{0};
    std::thread client([&] {
        for (int i = 0; i < 2 * kRounds; ++i) {
            waiting.store(i);
            if (i % 2 == 0) {
                event->Wait(INFINITE);
            } else {
                bare.Wait();
            }
            woken.store(GetTickNanoseconds());
        }
    });
    std::vector<double> times[2];
    for (int i = 0; i < 2 * kRounds; ++i) {
        while (waiting.load() != i) {
        }
        // Long enough for the client to be asleep in the kernel.
        for (const auto start = GetTickNanoseconds(); GetTickNanoseconds() - start < 60000;) {
        }
        woken.store(0);
        const auto start = GetTickNanoseconds();
        if (i % 2 == 0) {
            event->SetEvent();
        } else {
            bare.Set();
        }
        std::int64_t end = 0;
        while ((end = woken.load()) == 0) {
        }
        times[i % 2].push_back(static_cast<double>(end - start) / 1000.0);
    }
    client.join();
    for (const double percent : {50.0, 99.0}) {
        const double ours = Percentile(times[0], percent);
        const double base = Percentile(times[1], percent);
        suite.Add({name + (percent == 50.0 ? ", median" : ", 99th percentile"), ours, base, ours / base, 1.2,
                   false});
    }
}

} // namespace

void BenchGrabber(CSuite& suite)
{
    for (const T_FRAME_SIZE& size : FrameSizes()) {
        BenchGetImage(suite, size);
    }
    BenchFurtherWaiters(suite);
    BenchWakeUp(suite);
}

} // namespace alidade::bench
