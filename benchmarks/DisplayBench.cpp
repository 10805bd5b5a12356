#include "benchmarks/Frames.h"
#include "benchmarks/Harness.h"

#include "foundation/platform/CriticalSection.h"
#include "view/display/FrameScaler.h"
#include "view/display/ScreenPicture.h"
#include "view/display/ZoomState.h"

#include <QPainter>
#include <opencv2/imgproc.hpp>

namespace alidade::bench {
namespace {

const cv::Size kArea(1280, 960);

/// One place for a frame, as the display thread keeps it for the window.
struct T_PLACE {
    CCriticalSection lock;
    T_DISPLAY_FRAME frame;
    double focus = 0.0;
};

/// Everything that the display thread does to a frame but the grabber's copy.
void Display(CFrameScaler& scaler, const cv::Mat& frame, int zoomMode, T_PLACE& place)
{
    T_DISPLAY_GEOMETRY geometry;
    GetDisplayGeometry(frame.size(), kArea, zoomMode, 1.0, {frame.cols / 2.0, frame.rows / 2.0}, geometry);
    T_DISPLAY_FRAME made;
    scaler.Scale(frame, geometry, made);
    place.focus = MeasureFocus(made.picture);
    CS lock(&place.lock);
    made.number = place.frame.number + 1;
    std::swap(place.frame, made);
}

void BenchScaling(CSuite& suite)
{
    const cv::Mat frame = MakeFrame(FrameSizes()[2]);
    CFrameScaler scaler;
    T_PLACE place;
    cv::Mat bare;
    suite.Compare(
        "display " + FrameSizes()[2].name + " to 1280x960", 1.1,
        [&] { Display(scaler, frame, ZOOM_ANISOTROPIC, place); },
        [&] { cv::resize(frame, bare, kArea, 0, 0, cv::INTER_LINEAR); });
}

/// In one measurement: a single one takes some 200 us, and its time swings by half.
constexpr int kPaints = 20;

/// Hands a view frame after frame, each new to it, and paints it.
class CPainted {
public:
    explicit CPainted(const cv::Mat& source) : m_screen(kArea.width, kArea.height, QImage::Format_RGB32)
    {
        CFrameScaler scaler;
        T_PLACE place;
        Display(scaler, source, ZOOM_ANISOTROPIC, place);
        m_frame = place.frame;
    }
    void Paint()
    {
        for (int i = 0; i < kPaints; ++i) {
            ++m_frame.number;
            m_picture.Set(m_frame);
            QPainter dc(&m_screen);
            m_picture.Draw(dc, QRect(0, 0, kArea.width, kArea.height));
        }
    }

private:
    T_DISPLAY_FRAME m_frame;
    CScreenPicture m_picture;
    QImage m_screen;
};

void BenchPaint(CSuite& suite)
{
    const cv::Mat colour = MakeFrame({"", kArea, CV_8UC3, false});
    const cv::Mat grey = MakeFrame({"", kArea, CV_8UC1, false});
    QImage ready(kArea.width, kArea.height, QImage::Format_RGB32), screen = ready.copy();
    ready.fill(qRgb(1, 2, 3));
    const auto drawReady = [&] {
        for (int i = 0; i < kPaints; ++i) {
            QPainter dc(&screen);
            dc.drawImage(0, 0, ready);
        }
    };
    CPainted paintedColour(colour), paintedGrey(grey);
    suite.Compare(
        "20 paints of a 1280x960 frame, colour", 2.0, [&] { paintedColour.Paint(); }, drawReady);
    suite.Compare(
        "20 paints of a 1280x960 frame, grey", 2.0, [&] { paintedGrey.Paint(); }, drawReady);

    const std::string name = "20 paints, 26 MP source against 1 MP";
    if (suite.IsWanted(name)) {
        CPainted large(MakeFrame(FrameSizes()[2])), small(MakeFrame({"", {1160, 900}, CV_8UC3, false}));
        suite.Compare(
            name, 1.1, [&] { large.Paint(); }, [&] { small.Paint(); });
    }
}

void BenchFocus(CSuite& suite)
{
    const cv::Mat picture = MakeFrame({"", kArea, CV_8UC3, false});
    const cv::Rect part(540, 380, 200, 200);
    cv::Mat difference;
    double sink = 0.0;
    suite.Compare(
        "focus measure", 1.1, [&] { sink += MeasureFocus(picture); },
        [&] {
            cv::absdiff(picture(part), picture(part + cv::Point(1, 1)), difference);
            const cv::Scalar sum = cv::sum(difference);
            sink += sum[0] + sum[1] + sum[2];
        });
}

} // namespace

void BenchDisplay(CSuite& suite)
{
    BenchScaling(suite);
    BenchPaint(suite);
    BenchFocus(suite);
}

} // namespace alidade::bench
