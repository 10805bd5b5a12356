#include "acquisition/InitVision.h"
#include "benchmarks/Harness.h"
#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Module.h"
#include "foundation/platform/Text.h"
#include "tests/support/TempFolder.h"
#include "tests/view/window/StreamDriver.h"
#include "view/CameraView.h"

#include <QApplication>
#include <QBasicTimer>
#include <QPainter>
#include <QTimerEvent>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <opencv2/imgproc.hpp>
#include <thread>

namespace alidade::bench {
namespace {

const cv::Size kFrame{2448, 2048};
constexpr QSize kWindow{1000, 800};
constexpr std::chrono::nanoseconds kPeriod{1000000000 / 30};
constexpr std::size_t kFrames = 8; // prepared ones: told apart for 8 slots, which no picture outlasts
constexpr double kSlot = 33.0;     // ms
constexpr int kLevelStep = 30;     // grey levels between two of them

double Milliseconds(std::int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e6;
}

/// Noise around a middle whose grey tells which frame it is.
const std::vector<cv::Mat>& GetFrames()
{
    static const std::vector<cv::Mat> frames = [] {
        std::vector<cv::Mat> made;
        for (std::size_t i = 0; i < kFrames; ++i) {
            cv::Mat frame(kFrame, CV_8UC1);
            cv::randu(frame, 0, 255);
            const cv::Rect middle(kFrame.width / 2 - 50, kFrame.height / 2 - 50, 100, 100);
            frame(middle).setTo(cv::Scalar(static_cast<double>(i) * kLevelStep));
            made.push_back(frame);
        }
        return made;
    }();
    return frames;
}

/// A view that counts the frames it paints, and how old they are at the end of the paint.
class CTimedView : public CCameraView {
public:
    /// The driver is the grabber's.
    void Open(int number)
    {
        m_window.resize(kWindow);
        Create(L"", m_window.rect(), &m_window, 0);
        m_driver = new CStreamDriver(GetFrames(), kPeriod);
        m_driver->m_onFrame = [this](std::size_t index) { m_arrived[index] = GetTickNanoseconds(); };
        auto grabber = CFrameGrabberTestAccess::Make(m_driver);
        CString message;
        grabber->InitFrameGrabber(CProfileSection(), message);
        m_window.show();
        SetFrameGrabber(("Bench" + std::to_string(number)).c_str(), grabber);
    }
    /// Before it goes.
    void Close()
    {
        TRefPointer<CFrameGrabber> none;
        SetFrameGrabber("", none);
        setParent(nullptr);
    }
    void Clear()
    {
        m_painted = 0;
        m_ages.clear();
    }

    QWidget m_window;
    CStreamDriver* m_driver = nullptr;
    int m_painted = 0;
    std::vector<double> m_ages; // ms

protected:
    void paintEvent(QPaintEvent* event) override
    {
        const std::uint64_t before = GetDisplay()->GetFrame().number;
        CCameraView::paintEvent(event);
        const T_DISPLAY_FRAME frame = GetDisplay()->GetFrame();
        if (frame.number == before && frame.number != m_last && !frame.picture.empty()) {
            m_last = frame.number;
            ++m_painted;
            const int grey = frame.picture.at<std::uint8_t>(frame.picture.rows / 2, frame.picture.cols / 2);
            const auto index = static_cast<std::size_t>((grey + kLevelStep / 2) / kLevelStep);
            m_ages.push_back(Milliseconds(GetTickNanoseconds() - m_arrived[index % kFrames]));
        } else if (frame.number != before) {
            ++m_painted; // the next one came during the paint: which of the two it was is not known
            m_last = before;
        }
    }

private:
    std::array<std::atomic<std::int64_t>, kFrames> m_arrived{}; // by frame, of its latest delivery
    std::uint64_t m_last = 0;
};

/// Beats on the window's thread, and keeps the longest time between two beats.
class CHeartbeat : public QObject {
public:
    CHeartbeat() { m_timer.start(1, Qt::PreciseTimer, this); }
    void Clear()
    {
        m_last = GetTickNanoseconds();
        m_longest = 0.0;
    }
    double GetLongest() const { return m_longest; }

protected:
    void timerEvent(QTimerEvent*) override
    {
        const std::int64_t now = GetTickNanoseconds();
        m_longest = std::max(m_longest, Milliseconds(now - m_last));
        m_last = now;
    }

private:
    QBasicTimer m_timer;
    std::int64_t m_last = GetTickNanoseconds();
    double m_longest = 0.0;
};

void ServeFor(double seconds)
{
    const auto end = GetTickNanoseconds() + static_cast<std::int64_t>(seconds * 1e9);
    while (GetTickNanoseconds() < end) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
}

/// Milliseconds that a plain scaling and a plain paint of one frame take.
double MeasureBare()
{
    const double scale = std::min(static_cast<double>(kWindow.width()) / kFrame.width,
                                  static_cast<double>(kWindow.height()) / kFrame.height);
    const cv::Size size(static_cast<int>(kFrame.width * scale), static_cast<int>(kFrame.height * scale));
    QImage picture(size.width, size.height, QImage::Format_RGB32);
    QImage screen(kWindow, QImage::Format_RGB32);
    cv::Mat scaled, colours(size, CV_8UC4, picture.bits(), static_cast<std::size_t>(picture.bytesPerLine()));
    std::vector<double> times;
    for (std::size_t i = 0; i < 60; ++i) {
        times.push_back(MeasureOnce(
                            [&] {
                                cv::resize(GetFrames()[i % kFrames], scaled, size, 0, 0, cv::INTER_LINEAR);
                                cv::cvtColor(scaled, colours, cv::COLOR_GRAY2BGRA);
                                QPainter(&screen).drawImage(0, 0, picture);
                            },
                            1) /
                        1000.0);
    }
    return Median(times);
}

void BenchOneView(CSuite& suite)
{
    const std::string name = "2448x2048x1 at 30/s, frame arrival to end of paint, ms";
    if (!suite.IsWanted(name)) {
        return;
    }
    CTimedView view;
    view.Open(0);
    ServeFor(1.0);
    view.Clear();
    ServeFor(10.0);
    const double bare = MeasureBare(); // beside the running camera
    view.Close();
    const double limit = kSlot + bare;
    for (const auto& [percent, what] : {std::pair(50.0, ", median"), std::pair(99.0, ", 99th percentile")}) {
        const double age = Percentile(view.m_ages, percent);
        suite.Add({name + what, age, limit, age / limit, 1.0, false});
    }
}

void BenchFourViews(CSuite& suite)
{
    const std::string name = "four views, 2448x2048x1 at 30/s each, 1000x800 windows";
    if (!suite.IsWanted(name)) {
        return;
    }
    CHeartbeat heart;
    std::array<CTimedView, 4> views;
    for (int i = 0; i < 4; ++i) {
        views[static_cast<std::size_t>(i)].Open(i);
    }
    ServeFor(2.0);
    for (CTimedView& view : views) {
        view.Clear();
    }
    const std::clock_t used = std::clock(); // of all threads of the process
    const auto start = GetTickNanoseconds();
    ServeFor(10.0);
    const double seconds = Milliseconds(GetTickNanoseconds() - start) / 1000.0;
    const double cores = static_cast<double>(std::clock() - used) / CLOCKS_PER_SEC / seconds;
    int slowest = views[0].m_painted;
    for (const CTimedView& view : views) {
        slowest = std::min(slowest, view.m_painted);
    }
    const double rate = slowest / seconds;
    suite.Add({name + ", painted/s of the slowest", rate, 30.0, rate, 29.0, true});
    suite.Add({.name = name + ", cores used (bare: there are)",
               .ours = cores,
               .bare = static_cast<double>(std::thread::hardware_concurrency()),
               .ratio = cores / static_cast<double>(std::thread::hardware_concurrency()),
               .isStated = true});

    heart.Clear();
    ServeFor(3.0);
    const double steady = heart.GetLongest(); // what the machine alone does to the thread
    heart.Clear();
    views[2].m_driver->SetUnplugged(true);
    ServeFor(2.0);
    TRefPointer<CFrameGrabber> none;
    views[2].SetFrameGrabber("", none);
    ServeFor(1.0);
    const double gap = heart.GetLongest();
    suite.Add(
        {name + ", one unplugged: window thread's longest absence, ms", gap, 50.0, gap / 50.0, 1.0, false});
    suite.Add({.name = name + ", the same with all four running, ms", .ours = steady, .isStated = true});
    for (CTimedView& view : views) {
        view.Close();
    }
}

/// The host beside this program, with the built-in camera.
void BenchHostStart(CSuite& suite)
{
    const std::string name = "host start to first painted frame, ms";
    if (!suite.IsWanted(name)) {
        return;
    }
    const std::filesystem::path host =
        GetModulePath(reinterpret_cast<const void*>(&BenchScreen)).parent_path() / "alidade-host";
    const CTempFolder folder;
    const std::string line = "'" + host.string() + "' --headless --screenshot '" +
                             (folder / "screen.png").string() + "' > '" + (folder / "out").string() +
                             "' 2>&1";
    std::vector<double> times;
    for (int i = 0; i < 3; ++i) {
        const auto start = GetTickNanoseconds();
        if (std::system(line.c_str()) != 0 || !std::filesystem::exists(folder / "screen.png")) {
            std::fprintf(stderr, "  %s: the host does not do it: %s\n", name.c_str(),
                         folder.Read("out").c_str());
            return;
        }
        times.push_back(Milliseconds(GetTickNanoseconds() - start));
        std::filesystem::remove(folder / "screen.png");
    }
    suite.Add({.name = name, .ours = Median(times), .isStated = true});
}

} // namespace

void BenchScreen(CSuite& suite)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 1;
    char program[] = "alidade-bench";
    char* arguments[] = {program, nullptr};
    const QApplication application(count, arguments);
    const CTempFolder folder;
    static CProfile profile(FromPath(folder / "settings.ini").c_str()); // the library keeps them
    static CSimpleLog log;
    static CIPClient client(&profile, &log, "Bench", std::make_shared<CIPBus>());
    InitVision(&client, &profile, &log, nullptr);
    BenchOneView(suite);
    BenchFourViews(suite);
    BenchHostStart(suite);
}

} // namespace alidade::bench
