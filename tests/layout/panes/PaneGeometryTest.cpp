#include "PaneHarness.h"

namespace alidade {
namespace {

using Spans = std::vector<std::pair<int, int>>; // near edges and far edges, the far ones not included

Spans SpansOf(const std::vector<QWidget*>& windows, bool vertical)
{
    Spans spans;
    for (const QWidget* window : windows) {
        const QRect at = window->geometry();
        spans.emplace_back(vertical ? at.top() : at.left(),
                           vertical ? at.top() + at.height() : at.left() + at.width());
    }
    return spans;
}

Spans Tiles(CCameraPaneWnd& pane, bool vertical = false)
{
    const auto children = ChildrenOf(pane);
    return SpansOf({children.begin(), children.end()}, vertical);
}

Spans Bars(CCameraPaneWnd& pane, bool vertical = false)
{
    std::vector<QWidget*> bars;
    for (CPositionBar* bar : pane.GetBars()) {
        bars.push_back(bar);
    }
    return SpansOf(bars, vertical);
}

/// Drags a bar by the mouse over some steps.
void Drag(CPositionBar& bar, const QPoint& by)
{
    const QPoint grip(2, 2);
    const QPoint start = bar.mapTo(bar.window(), grip);
    QTest::mousePress(&bar, Qt::LeftButton, {}, grip);
    for (int step = 1; step <= 4; ++step) {
        QTest::mouseMove(&bar, bar.mapFrom(bar.window(), start + by * step / 4));
    }
    QTest::mouseRelease(&bar, Qt::LeftButton, {}, bar.mapFrom(bar.window(), start + by));
}

TEST(PaneGeometry, TilesFillWhatTheBarsLeaveOnBothAxes)
{
    CPaneWindow row(Row(3), 900, 400);
    EXPECT_EQ(Bars(*row.root), (Spans{{297, 303}, {597, 603}}));
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 297}, {303, 597}, {603, 900}}));
    EXPECT_EQ(row.Child(1).geometry().height(), 400);
    EXPECT_EQ(row.Bar(1).geometry(), QRect(597, 0, 6, 400));
    EXPECT_EQ(row.root->GetCameraView("1")->geometry(), QRect(0, 0, 294, 400)) << "the view fills its tile";

    CPaneWindow column(Row(3, STACKED), 300, 1001);
    EXPECT_EQ(Bars(*column.root, true), (Spans{{330, 336}, {664, 670}})); // 1001 * i / 3, cut
    EXPECT_EQ(Tiles(*column.root, true), (Spans{{0, 330}, {336, 664}, {670, 1001}}));
    EXPECT_EQ(column.Bar(0).width(), 300);

    CPaneWindow one(Row(1), 500, 300);
    EXPECT_EQ(one.root->GetBars().Count(), 0);
    EXPECT_EQ(one.Child(0).geometry(), QRect(0, 0, 500, 300));
}

TEST(PaneGeometry, BarsGoBackToEqualSharesWhenTheWindowIsSized)
{
    CPaneWindow row(Row(3), 900, 400);
    Drag(row.Bar(0), {-100, 50});
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 197}, {203, 597}, {603, 900}}));
    EXPECT_EQ(row.root->GetCameraView("1")->width(), 394);
    EXPECT_EQ(row.Bar(0).y(), 0) << "only along its axis";

    row.Resize(601, 200);
    EXPECT_EQ(Bars(*row.root), (Spans{{197, 203}, {397, 403}}));
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 197}, {203, 397}, {403, 601}}));
    EXPECT_EQ(row.Bar(0).height(), 200);
}

TEST(PaneGeometry, ABarIsNotDraggedOverItsNeighboursOrTheEdge)
{
    CPaneWindow row(Row(3), 900, 100);
    Drag(row.Bar(0), {800, 0});
    EXPECT_EQ(Bars(*row.root), (Spans{{591, 597}, {597, 603}}));
    Drag(row.Bar(1), {800, 0});
    Drag(row.Bar(0), {-800, 0});
    EXPECT_EQ(Bars(*row.root), (Spans{{0, 6}, {894, 900}}));
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 0}, {6, 894}, {900, 900}}));
    // From the very edge they come back.
    Drag(row.Bar(1), {-200, 0});
    EXPECT_EQ(Bars(*row.root), (Spans{{0, 6}, {694, 700}}));
    EXPECT_EQ(row.Bar(0).m_rcRange, QRect(0, 0, 694, 100)) << "as the neighbour lies now";
    EXPECT_EQ(row.Bar(0).m_nPending, -1);
}

TEST(PaneGeometry, ATitleBarTakesItsStripAndMovesNothing)
{
    CPaneWindow row(
        Pane(STACKED, {Leaf(L"A", true), Leaf(L"B"), Pane(SIDE_BY_SIDE, {Leaf(L"C"), Leaf(L"D")})}), 600,
        600);
    CCameraPaneWnd& titled = row.Child(0);
    const int caption = titled.GetClientRect().top();
    EXPECT_GT(caption, titled.fontMetrics().height());
    EXPECT_EQ(row.root->GetCameraView("A")->geometry(), titled.rect().adjusted(0, caption, 0, 0));
    EXPECT_EQ(row.root->GetCameraView("B")->geometry(), row.Child(1).rect());

    const QRect before = titled.geometry();
    QTest::mousePress(&titled, Qt::LeftButton, {}, QPoint(30, caption / 2));
    QTest::mouseMove(&titled, QPoint(90, caption / 2 + 40));
    QTest::mouseRelease(&titled, Qt::LeftButton, {}, QPoint(90, caption / 2 + 40));
    EXPECT_EQ(titled.geometry(), before);

    // Tiles of a pane that has a title bar itself lie below it, at first and after a resize.
    CCameraLayoutItem inner = Row(2, STACKED);
    inner.m_bCaption = 1;
    CPaneWindow nested(Pane(SIDE_BY_SIDE, {inner}), 400, 300);
    for (const int height : {300, 501}) {
        nested.Resize(400, height);
        const int middle = caption + (height - caption) / 2;
        EXPECT_EQ(Tiles(nested.Child(0), true), (Spans{{caption, middle - 3}, {middle + 3, height}}));
    }
}

TEST(PaneGeometry, AWindowThatIsNotShownYetIsLaidOutAsWell)
{
    CPaneTestCreator creator;
    QWidget window;
    window.resize(800, 600);
    CCameraPaneWnd root(&window);
    const CCameraLayoutItem layout = Pane(SIDE_BY_SIDE, {Row(2, STACKED), Row(3)});
    ASSERT_EQ(root.InitPane(&layout), 1);
    for (int round = 0; round < 2; ++round) {
        const auto children = ChildrenOf(root);
        EXPECT_EQ(Tiles(*children[0], true), (Spans{{0, 297}, {303, 600}}));
        EXPECT_EQ(Tiles(*children[1]), (Spans{{0, 129}, {135, 261}, {267, 397}}));
        EXPECT_EQ(root.GetCameraView("1")->size(), QSize(397, 297));
        ShowActive(window);
    }
}

TEST(PaneGeometry, StaysWithinAWindowThatHasNoRoomForIt)
{
    CCameraLayoutItem titled = Row(5, STACKED);
    titled.m_bCaption = 1;
    const CCameraLayoutItem layouts[] = {Row(3), Row(1000), Pane(SIDE_BY_SIDE, {titled, Row(2, TABBED)})};
    for (const CCameraLayoutItem& layout : layouts) {
        CPaneWindow tiny(layout, 900, 400);
        for (const QSize size : {QSize(1, 1), QSize(0, 0), QSize(7, 900), QSize(900, 3)}) {
            tiny.Resize(size.width(), size.height());
            for (const CCameraPaneWnd* child : tiny.root->GetChildren()) {
                EXPECT_TRUE(child->width() >= 0 && child->width() <= std::max(size.width(), 0));
                EXPECT_TRUE(child->height() >= 0 && child->height() <= std::max(size.height(), 0));
            }
            Drag(tiny.Bar(0), {40, 40}); // there may be nowhere to go
            tiny.Window().grab();
        }
        tiny.Resize(900, 400);
        EXPECT_EQ(tiny.Bar(0).x() + 3, 900 / layout.m_children.Count())
            << "nothing is kept of the cramped state";
    }
}

TEST(PaneGeometry, BuildingAgainOverTilesKeepsTheirBars)
{
    CPaneWindow row(Row(3), 900, 400);
    const CCameraLayoutItem two = Row(2);
    EXPECT_EQ(row.root->InitPane(&two), 1);
    EXPECT_EQ(row.root->GetBars().Count(), 3);
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 297}, {303, 597}})) << "between the first bars";
    row.Resize(800, 400);
    EXPECT_EQ(Tiles(*row.root), (Spans{{0, 197}, {203, 397}}));
}

} // namespace
} // namespace alidade
