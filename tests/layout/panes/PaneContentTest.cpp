#include "PaneHarness.h"
#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "tests/support/LogLines.h"

#include <QPointer>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <stdexcept>

namespace alidade {
namespace {

const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new CUiEnvironment);

/// A pane with a view inside, shown nowhere.
struct T_HIDDEN_PANE {
    explicit T_HIDDEN_PANE(const CCameraLayoutItem& layout) { EXPECT_EQ(pane.InitPane(&layout), 1); }
    QWidget window;
    CCameraPaneWnd pane{&window};
};

TEST(PaneContent, ALeafGivesItsViewTheWindowAndThenTheCamera)
{
    CCameraLayoutItem leaf = Leaf(L"Kamera Ö");
    leaf.SetSettingValue(L"Key", L"of the leaf");
    CPaneWindow shown(leaf, 640, 480);
    auto* view = dynamic_cast<CPaneTestView*>(FindChildWindow(shown.root, CCameraPaneWnd::kFirstPane));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->calls, (std::vector<CString>{L"create", L"driver"}));
    EXPECT_EQ(view->GetUnitName(), "Kamera \xC3\x96");
    EXPECT_EQ(view->setting, L"of the leaf");
    EXPECT_EQ(view->windowTitle(), QString::fromWCharArray(L"about Kamera Ö"));
    EXPECT_EQ(view->geometry(), QRect(0, 0, 640, 480));
    EXPECT_TRUE(view->isVisible());
    EXPECT_TRUE((view->focusPolicy() & Qt::TabFocus) != 0);

    // A leaf may be made anew, and what it was made of is its own.
    QPointer<QWidget> gone(view);
    leaf.m_strCamera = L"other";
    EXPECT_EQ(shown.root->InitPane(&leaf), 1);
    leaf.m_strCamera = L"changed later";
    EXPECT_EQ(gone, nullptr);
    EXPECT_NE(shown.root->GetCameraView("other"), nullptr);
    EXPECT_EQ(shown.root->GetLayout().m_strCamera, L"other");
}

TEST(PaneContent, NumbersItsChildrenAndBars)
{
    CPaneWindow row(Row(3), 900, 400);
    for (int i = 0; i < 3; ++i) {
        QWidget* child = FindChildWindow(row.root, 10100 + i);
        EXPECT_EQ(child, &row.Child(i));
        EXPECT_EQ(child->windowTitle(), QString("about %1").arg(i));
    }
    EXPECT_EQ(FindChildWindow(row.root, 10200)->x(), 297);
    EXPECT_EQ(FindChildWindow(row.root, 10201)->x(), 597);
    EXPECT_EQ(FindChildWindow(row.root, 10202), nullptr);

    CPaneWindow tabs(Row(2, TABBED), 500, 400);
    QTabWidget* control = tabs.root->GetTabCtrl();
    EXPECT_EQ(FindChildWindow(tabs.root, 10000), control);
    EXPECT_EQ(control->geometry(), QRect(0, 0, 500, 400));
    EXPECT_EQ(control->tabPosition(), QTabWidget::North);
    EXPECT_EQ(GetDlgCtrlID(control->widget(1)), 10101);
    EXPECT_EQ(control->tabText(1), "about 1");
    EXPECT_EQ(tabs.root->GetBars().Count(), 0);
    EXPECT_EQ(tabs.root->GetCameraView("0")->size(), control->widget(0)->size());
    tabs.Resize(300, 200);
    EXPECT_EQ(control->size(), QSize(300, 200));
    EXPECT_LE(tabs.root->GetCameraView("0")->width(), 300);
}

TEST(PaneContent, ALongLabelIsCutAndItsToolTipHasTheWholeName)
{
    CCameraLayoutItem layout = Row(3, TABBED);
    const QString names[] = {"short & <b>", QString(50, 'W') + " & \"right\"",
                             QString(50, 'W') + " <b>&amp;</b>"};
    for (int i = 0; i < 3; ++i) {
        layout.GetChildPane(i)->SetName(names[i].toStdWString().c_str());
    }
    CPaneWindow shown(layout, 900, 400);
    const QTabWidget* tabs = shown.root->GetTabCtrl();
    EXPECT_EQ(tabs->tabText(0), "short && <b>");
    EXPECT_EQ(tabs->tabToolTip(0), "");
    for (int i = 1; i < 3; ++i) {
        EXPECT_LE(tabs->fontMetrics().horizontalAdvance(tabs->tabText(i)), 240);
        const QString tip = tabs->tabToolTip(i);
        const QString read =
            Qt::mightBeRichText(tip) ? QTextDocumentFragment::fromHtml(tip).toPlainText() : tip;
        EXPECT_EQ(read, names[i]);
    }
}

TEST(PaneContent, NothingIsMadeWithoutAWindowAndWhatWasThereIsGone)
{
    const CCameraLayoutItem layout = Row(2);
    CPaneTestCreator creator;
    CCameraPaneWnd pane;
    EXPECT_EQ(pane.InitPane(&layout), 0);
    EXPECT_EQ(pane.InitPane(nullptr), 0);
    QWidget window;
    EXPECT_EQ(pane.Create(&window), 1);
    EXPECT_EQ(pane.Create(&window), 0);
    EXPECT_EQ(pane.InitPane(&layout), 1);
    EXPECT_NE(pane.GetCameraView(nullptr), nullptr);
    EXPECT_EQ(pane.InitPane(nullptr), 1);
    EXPECT_EQ(pane.GetCameraView(nullptr), nullptr);
    EXPECT_EQ(pane.GetChildren().Count(), 0);
    pane.setParent(nullptr);
}

TEST(PaneContent, APaneWithoutAViewIsPaintedInTheMenuColour)
{
    struct {
        const char* name;
        std::function<ICameraView*()> make;
    } const creators[] = {
        {"gives null", []() -> ICameraView* { return nullptr; }},
        {"throws", []() -> ICameraView* { throw std::runtime_error("no"); }},
        {"makes no window",
         []() -> ICameraView* {
             auto* view = new CPaneTestView;
             view->creates = 0;
             return view;
         }},
    };
    const CCameraLayoutItem leaf = Leaf(L"A");
    for (const auto& row : creators) {
        CPaneTestCreator creator(row.make);
        QWidget window;
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(10, 200, 30));
        window.setPalette(palette);
        CCameraPaneWnd pane(&window);
        pane.setAttribute(Qt::WA_OpaquePaintEvent); // so that only its own painting is there
        pane.resize(80, 60);
        EXPECT_EQ(pane.InitPane(&leaf), 1) << row.name;
        EXPECT_EQ(pane.GetCameraView(nullptr), nullptr) << row.name;
        const QImage picture = pane.grab().toImage();
        EXPECT_EQ(picture.pixelColor(0, 0), QColor(10, 200, 30)) << row.name;
        EXPECT_EQ(picture.pixelColor(79, 59), QColor(10, 200, 30)) << row.name;
    }
}

TEST(PaneContent, AViewIsFoundByItsExactUnitName)
{
    CPaneTestCreator creator;
    const T_HIDDEN_PANE shown(Pane(SIDE_BY_SIDE, {Row(0), Pane(TABBED, {Leaf(L"Cam"), Leaf(L"cam")}),
                                                  Pane(STACKED, {Leaf(L"Low"), Leaf(L"")}), Leaf(L"Low")}));
    CCameraPaneWnd& root = const_cast<CCameraPaneWnd&>(shown.pane);
    EXPECT_EQ(root.GetCameraView(nullptr)->GetUnitName(), "Cam");
    EXPECT_EQ(root.GetCameraView("cam")->windowTitle(), "about cam");
    EXPECT_EQ(root.GetCameraView("CAM"), nullptr);
    EXPECT_EQ(root.GetCameraView("Lo"), nullptr);
    EXPECT_EQ(root.GetCameraView("")->windowTitle(), "about ");
    EXPECT_EQ(root.GetCameraView("Low"), ChildrenOf(root)[2]->GetCameraView("Low")) << "the first of two";

    const T_HIDDEN_PANE none(Pane(STACKED, {Row(0), Row(0, TABBED)}));
    EXPECT_EQ(const_cast<CCameraPaneWnd&>(none.pane).GetCameraView(nullptr), nullptr);
}

TEST(PaneContent, GoesDownViewThenChildrenThenBars)
{
    std::vector<std::string> order;
    CPaneTestView::s_gone = [&](CPaneTestView& view) { order.push_back(view.windowTitle().toStdString()); };
    {
        CPaneWindow shown(Pane(SIDE_BY_SIDE, {Leaf(L"A"), Pane(TABBED, {Leaf(L"B"), Leaf(L"C")})}), 400, 300);
        QObject::connect(shown.Child(1).GetTabCtrl(), &QObject::destroyed,
                         [&] { order.emplace_back("tabs"); });
        QObject::connect(&shown.Bar(0), &QObject::destroyed, [&] { order.emplace_back("bar"); });
        shown.root->GetCameraView("A")->setFocus(); // it wanders while the windows go
    }
    CPaneTestView::s_gone = nullptr;
    EXPECT_EQ(order, (std::vector<std::string>{"about A", "tabs", "about B", "about C", "bar"}));
}

TEST(PaneContent, TheWindowMayBeClosedByWhatAViewRunsWhileItIsMade)
{
    for (const bool whileItIsMade : {true, false}) {
        auto* window = new QWidget;
        auto* root = new CCameraPaneWnd(window);
        const CCameraLayoutItem layout = Pane(STACKED, {Row(2), Leaf(L"last")});
        int made = 0;
        CPaneTestCreator creator([&]() -> ICameraView* {
            if (++made != 2) {
                return new CPaneTestView;
            }
            if (whileItIsMade) {
                delete std::exchange(window, nullptr);
            } else {
                EXPECT_EQ(root->InitPane(&layout), 0) << "it is at work";
            }
            return new CPaneTestView;
        });
        EXPECT_EQ(root->InitPane(&layout), whileItIsMade ? 0 : 1);
        EXPECT_EQ(made, whileItIsMade ? 2 : 3);
        delete window;
    }
}

/// A chain of panes with a camera in the innermost.
CCameraLayoutItem Chain(int levels, eSPLIT split)
{
    CCameraLayoutItem chain = Leaf(L"deep");
    for (int i = 1; i < levels; ++i) {
        CCameraLayoutItem around = Pane(split, {});
        around.m_children.Insert(new CCameraLayoutItem(std::move(chain)));
        chain = std::move(around);
    }
    return chain;
}

TEST(PaneContent, AFileFromAnywhereIsSafeToOpen)
{
    CIPClient client;
    CLogLines log;
    InitVision(&client, nullptr, &log, L"no such folder");
    struct {
        const char* name;
        CCameraLayoutItem layout;
        bool whole;
    } const cases[] = {
        {"64 levels of tiles", Chain(64, STACKED), true},
        {"65 levels of tiles", Chain(65, STACKED), false},
        {"64 levels of tabs", Chain(64, TABBED), true},
        {"20000 levels", Chain(20000, SIDE_BY_SIDE), false},
        {"4095 cameras", Row(4095), true},
        {"4096 cameras", Row(4096), false},
        {"256 tabs", Row(256, TABBED), true},
        {"257 tabs", Row(257, TABBED), false},
    };
    for (const auto& row : cases) {
        const int before = log.Count("CCameraPaneWnd::InitPane : ");
        {
            CPaneWindow shown(row.layout, 900, 600);
            EXPECT_EQ(shown.root->GetCameraView(nullptr) != nullptr, row.whole) << row.name;
            shown.Resize(700, 500);
            shown.Window().grab();
        }
        EXPECT_EQ(log.Count("CCameraPaneWnd::InitPane : ") - before, row.whole ? 0 : 1) << row.name;
    }
    InitVision(nullptr, nullptr, nullptr, L"no such folder");
}

} // namespace
} // namespace alidade
