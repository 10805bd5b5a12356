#pragma once

#include "acquisition/InitVision.h"
#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"
#include "tests/view/window/StreamDriver.h"
#include "tests/widgets/UiHarness.h"
#include "view/CameraView.h"

#include <QMenu>
#include <QPointer>
#include <QScreen>
#include <QTimer>

namespace alidade {

/// Serves the windows until `done`; false after a minute, which only a fault reaches.
inline bool ServeUntil(const std::function<bool()>& done)
{
    return QTest::qWaitFor(done, 60000);
}

/// Keeps errors apart from plain lines.
class CViewLog : public CLogLines {
public:
    int CountErrors() const { return m_errors; }

protected:
    int Write(DWORD level, const CStringA& text) override
    {
        m_errors += level == kLogError ? 1 : 0;
        return CLogLines::Write(level, text);
    }

private:
    std::atomic<int> m_errors{0};
};

/// Serves what the view does by its timer of 10 ms: timers come in the order in which they are due.
inline void ServeTimers()
{
    bool isOver = false;
    QTimer::singleShot(20, Qt::PreciseTimer, qApp, [&isOver] { isOver = true; });
    EXPECT_TRUE(ServeUntil([&] { return isOver; }));
}

/// What a host gives the library, for the length of one test.
class CVision {
public:
    CVision()
    {
        m_profile.SetLog(&m_log);
        InitVision(&m_client, &m_profile, &m_log, VIEW_TEST_PLUGINS);
    }

    CTempFolder m_folder;
    CViewLog m_log;
    CProfile m_profile{FromPath(m_folder / "settings.ini").c_str()};
    CIPClient m_client{&m_profile, &m_log, "Vision", std::make_shared<CIPBus>()};
};

/// A view that fills a window of its own.
class CViewUnderTest {
public:
    enum eSHOW { SHOWN, NOT_SHOWN };
    explicit CViewUnderTest(QSize size = {640, 480}, eSHOW show = SHOWN) : m_view(new CCameraView)
    {
        m_window.resize(size);
        EXPECT_EQ(m_view->Create(L"view", m_window.rect(), &m_window, 0), 1);
        if (show == SHOWN) {
            m_window.show();
            EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_window));
        }
    }

    CCameraView* operator->() const { return m_view.data(); }
    CMenuBar& Bar() const { return *m_view->GetMenuBar(); }

    /// Attaches a driver, which the view's grabber owns from then on.
    template <class T>
    T& Attach(T* driver, const char* unit = "")
    {
        auto grabber = CFrameGrabberTestAccess::Make(driver);
        CString message;
        EXPECT_EQ(grabber->InitFrameGrabber(CProfileSection(), message), 1);
        EXPECT_EQ(m_view->SetFrameGrabber(unit, grabber), 1);
        return *driver;
    }
    void Detach()
    {
        TRefPointer<CFrameGrabber> none;
        EXPECT_EQ(m_view->SetFrameGrabber("", none), 1);
    }

    void Resize(QSize size)
    {
        m_window.resize(size);
        m_view->resize(size);
    }
    CString Status() const { return Bar().GetDlgItemText(MENU_BAR_STATUS); }
    CString FrameRate() const { return Bar().GetDlgItemText(MENU_BAR_FRAME_RATE); }

    /// What lies on the screen, as it was painted.
    QImage Screen() const
    {
        return m_window.screen()
            ->grabWindow(m_window.winId())
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    }
    /// Of the picture area, at a share of its width and height.
    QColor ColourAt(double x, double y) const
    {
        const QImage screen = Screen();
        const int top = Bar().GetCoveredHeight();
        const int column = static_cast<int>(x * (m_view->width() - 1));
        const int row = top + static_cast<int>(y * (m_view->height() - top - 1));
        return screen.rect().contains(column, row) ? screen.pixelColor(column, row) : QColor();
    }
    /// Serves until the middle of the picture has a colour, give or take what scaling rounds.
    bool WaitForMiddle(QColor colour) const
    {
        return ServeUntil([&] { return IsLike(ColourAt(0.5, 0.5), colour); });
    }
    /// Delivers a frame until it is seen: one that comes soon after another is not shown.
    bool Show(CHandDriver& camera, const cv::Mat& frame, QColor middle) const
    {
        return ServeUntil([&] {
            camera.Deliver(frame);
            return IsLike(ColourAt(0.5, 0.5), middle);
        });
    }
    bool ShowGrey(CHandDriver& camera, int grey, cv::Size size = {64, 48}) const
    {
        return Show(camera, cv::Mat(size, CV_8UC1, cv::Scalar(grey)), {grey, grey, grey});
    }
    static bool IsLike(const QColor& a, const QColor& b)
    {
        return a.isValid() && std::abs(a.red() - b.red()) <= 2 && std::abs(a.green() - b.green()) <= 2 &&
               std::abs(a.blue() - b.blue()) <= 2;
    }
    /// The colour that most of a control has.
    QColor ColourOf(int control) const
    {
        const QImage image = Bar().GetDlgItem(control)->grab().toImage();
        std::map<QRgb, int> counts;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                ++counts[image.pixel(x, y)];
            }
        }
        const auto most = std::max_element(counts.begin(), counts.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
        return QColor(most->first);
    }

    QWidget m_window;
    QPointer<CCameraView> m_view; // the window's
};

inline cv::Mat Uniform(cv::Size size, int type, const cv::Scalar& value)
{
    return {size, type, value};
}

} // namespace alidade
