#include "view/trackwindow/TrackWnd.h"
#include "tests/widgets/UiHarness.h"

namespace alidade {
namespace {

class CPaintedParent : public QWidget {
public:
    CPaintedParent() { resize(400, 300); }
    int m_paints = 0, m_clicks = 0;
    std::vector<int> m_keys;

protected:
    void paintEvent(QPaintEvent*) override { ++m_paints; }
    void mousePressEvent(QMouseEvent*) override { ++m_clicks; }
    void keyPressEvent(QKeyEvent* event) override { m_keys.push_back(event->key()); }
};

class TrackWnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ShowActive(m_parent);
        m_track.setGeometry(100, 100, 120, 80);
        m_track.show();
        QCoreApplication::processEvents();
    }
    /// Drags from a point of the frame, in px of the parent.
    void Drag(const QPoint& from, const QPoint& by)
    {
        QTest::mousePress(&m_track, Qt::LeftButton, {}, m_track.mapFromParent(from));
        for (const QPoint& at : {from + by / 2, from + by}) {
            QMouseEvent move(QEvent::MouseMove, m_track.mapFromParent(at), m_parent.mapToGlobal(at),
                             Qt::NoButton, Qt::LeftButton, {});
            QApplication::sendEvent(&m_track, &move);
        }
        QTest::mouseRelease(&m_track, Qt::LeftButton, {}, m_track.mapFromParent(from + by));
    }
    CPaintedParent m_parent;
    CTrackWnd m_track{&m_parent};
};

TEST_F(TrackWnd, StartsHiddenAndSmall)
{
    const CTrackWnd fresh(&m_parent);
    EXPECT_TRUE(fresh.isHidden());
    EXPECT_EQ(fresh.size(), QSize(10, 10));
}

TEST_F(TrackWnd, IsHollowFrom21PxOn)
{
    const struct {
        QSize size;
        bool hollow;
    } rows[] = {
        {{20, 100}, false}, {{100, 20}, false}, {{21, 21}, true}, {{22, 60}, true}, {{20, 20}, false}};
    for (const auto& row : rows) {
        m_track.resize(row.size);
        EXPECT_EQ(!m_track.mask().isEmpty(), row.hollow) << row.size.width() << "x" << row.size.height();
        if (row.hollow) {
            const QRect hole = m_track.rect().adjusted(10, 10, -10, -10);
            EXPECT_FALSE(m_track.mask().intersects(hole));
            EXPECT_EQ(m_track.mask().united(hole), QRegion(m_track.rect()));
        }
    }
}

TEST_F(TrackWnd, TheMouseReachesThePictureThroughTheHole)
{
    EXPECT_EQ(m_parent.childAt(160, 140), nullptr);
    EXPECT_EQ(m_parent.childAt(107, 140), &m_track);
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton}) {
        QTest::mouseClick(&m_track, button, {}, QPoint(7, 40));
    }
    EXPECT_EQ(m_parent.m_clicks, 0);
}

TEST_F(TrackWnd, IsMovedByItsBandAndSizedByItsEdges)
{
    const QRect was = m_track.geometry();
    const struct {
        QPoint from;
        QRect expected;
        Qt::CursorShape shape;
    } rows[] = {
        {{107, 140}, was.translated(30, 20), Qt::SizeAllCursor},
        {{102, 140}, was.adjusted(30, 0, 0, 0), Qt::SizeHorCursor},
        {{217, 140}, was.adjusted(0, 0, 30, 0), Qt::SizeHorCursor},
        {{160, 102}, was.adjusted(0, 20, 0, 0), Qt::SizeVerCursor},
        {{160, 177}, was.adjusted(0, 0, 0, 20), Qt::SizeVerCursor},
        {{102, 109}, was.adjusted(30, 20, 0, 0), Qt::SizeFDiagCursor},
        {{217, 177}, was.adjusted(0, 0, 30, 20), Qt::SizeFDiagCursor},
        {{210, 102}, was.adjusted(0, 20, 30, 0), Qt::SizeBDiagCursor},
        {{102, 177}, was.adjusted(30, 0, 0, 20), Qt::SizeBDiagCursor},
    };
    for (const auto& row : rows) {
        m_track.setGeometry(was);
        QTest::mouseMove(&m_track, m_track.mapFromParent(row.from));
        EXPECT_EQ(m_track.cursor().shape(), row.shape) << row.from.x() << "," << row.from.y();
        Drag(row.from, {30, 20});
        EXPECT_EQ(m_track.geometry(), row.expected) << row.from.x() << "," << row.from.y();
    }
    m_track.setGeometry(50, 50, 10, 10);
    Drag({55, 55}, {30, 20});
    EXPECT_EQ(m_track.geometry(), QRect(80, 70, 10, 10)) << "a small one can be moved, too";
}

TEST_F(TrackWnd, StaysWithinReach)
{
    const QRect was = m_track.geometry();
    Drag({107, 140}, {-5000, 5000});
    EXPECT_EQ(m_track.geometry(), QRect(20 - 120, 300 - 20, 120, 80));
    m_track.setGeometry(was);
    Drag({102, 102}, {5000, 5000}); // past the opposite corner
    EXPECT_EQ(m_track.geometry(), QRect(QPoint(was.right() - 3, was.bottom() - 3), QSize(4, 4)));
    m_track.setGeometry(was);
    Drag({217, 140}, {5000, 0});
    EXPECT_EQ(m_track.geometry().right(), 399);
    m_parent.resize(60, 50);
    EXPECT_TRUE(m_parent.rect().intersects(m_track.geometry()));
}

TEST_F(TrackWnd, KeysMoveAndSizeIt)
{
    m_track.setFocus();
    Press(Qt::Key_Right);
    Press(Qt::Key_Down);
    EXPECT_EQ(m_track.geometry(), QRect(101, 101, 120, 80));
    Press(Qt::Key_Left, Qt::ShiftModifier);
    Press(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(m_track.geometry(), QRect(101, 101, 119, 81));
    std::erase(m_parent.m_keys, Qt::Key_Shift);
    EXPECT_TRUE(m_parent.m_keys.empty());
    Press(Qt::Key_Escape);
    EXPECT_EQ(m_parent.m_keys, std::vector<int>{Qt::Key_Escape}) << "the selection is the view's to end";
}

TEST_F(TrackWnd, TheParentIsPaintedAnewAfterEachChange)
{
    const auto painted = [this](const std::function<void()>& change) {
        QCoreApplication::processEvents();
        m_parent.m_paints = 0;
        change();
        return QTest::qWaitFor([this] { return m_parent.m_paints > 0; }, 20000);
    };
    EXPECT_TRUE(painted([this] { m_track.move(120, 100); }));
    EXPECT_TRUE(painted([this] { m_track.resize(130, 90); }));
}

TEST_F(TrackWnd, TheFrameStandsOutOnAnyPictureAndTheRestShowsIt)
{
    for (const QColor& ground : {QColor(Qt::black), QColor(Qt::white), QColor(128, 128, 128)}) {
        QPalette palette;
        palette.setColor(QPalette::Window, ground);
        m_parent.setPalette(palette);
        m_track.clearFocus();
        const QImage image = m_parent.grab().toImage();
        int contrast = 0;
        for (int x = 100; x < 105; ++x) {
            contrast = std::max(contrast, std::abs(image.pixelColor(x, 140).green() - ground.green()));
        }
        EXPECT_GT(contrast, 100);
        EXPECT_EQ(image.pixelColor(107, 140).rgb(), ground.rgb());
        EXPECT_EQ(image.pixelColor(160, 140).rgb(), ground.rgb());
    }
}

} // namespace
} // namespace alidade
