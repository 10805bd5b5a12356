#include "layout/CameraPaneWnd.h"

#include "acquisition/InitVision.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/ListAppend.h"
#include "widgets/WindowId.h"

#include <QFocusEvent>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QTextDocument>
#include <algorithm>
#include <utility>
#include <vector>

namespace alidade {
namespace {

constexpr int kTextMargin = 6;    // px beside and, both together, above and below a caption
constexpr int kLabelWidth = 240;  // px that a tab's label takes at most
constexpr int kShownLength = 256; // of a text on the screen: a file may hold names of any length

ICameraView* NewView()
{
    try {
        return ICameraView::DYNAMIC_CREATE_NewObject(L"CameraView");
    } catch (...) { // a host's own class of views
        return nullptr;
    }
}

QString ShownText(const QString& name)
{
    return name.left(kShownLength).replace('\n', ' ');
}

bool HasLiveWindow(const QWidget* window)
{
    if (const auto* view = dynamic_cast<const ICameraView*>(window)) {
        return view->HasWindow();
    }
    const auto* pane = dynamic_cast<const CCameraPaneWnd*>(window);
    return window != nullptr && (pane == nullptr || pane->HasWindow());
}

/// One of the two axes of a rectangle, its far edge not included.
struct T_AXIS {
    bool vertical;

    int Near(const QRect& rect) const { return vertical ? rect.top() : rect.left(); }
    int Extent(const QRect& rect) const { return vertical ? rect.height() : rect.width(); }
    int Far(const QRect& rect) const { return Near(rect) + Extent(rect); }
    /// `rect` with other edges on this axis; empty where they lie the wrong way round.
    QRect With(const QRect& rect, int nearEdge, int farEdge) const
    {
        const int extent = std::max(0, farEdge - nearEdge);
        return vertical ? QRect(rect.left(), nearEdge, rect.width(), extent)
                        : QRect(nearEdge, rect.top(), extent, rect.height());
    }
};

} // namespace

/// What one InitPane may still make.
struct CCameraPaneWnd::T_LIMITS {
    int panesLeft = kMaxPanes - 1;
    bool exceeded = false;

    bool Allow(const CCameraLayoutItem& pane, int level) const
    {
        const int count = pane.m_children.Count();
        return level < kMaxLevels && count <= panesLeft && (pane.m_bTabbed == 0 || count <= kMaxTabs);
    }
};

CCameraPaneWnd::CCameraPaneWnd(QWidget* parent) : m_layout(std::make_shared<const CCameraLayoutItem>())
{
    if (parent != nullptr) {
        Create(parent);
    }
}

CCameraPaneWnd::~CCameraPaneWnd()
{
    Clear();
    m_bars.DeleteAll();
}

int CCameraPaneWnd::Create(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier,
                           bool caption)
{
    if (m_hasWindow) {
        return 0;
    }
    MakeWindow(text, rect, parent, identifier, caption);
    if (parent != nullptr) {
        show();
    }
    return 1;
}

int CCameraPaneWnd::Create(QWidget* parent)
{
    return Create(L"", parent != nullptr ? parent->rect() : geometry(), parent, 0);
}

void CCameraPaneWnd::MakeWindow(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier,
                                bool caption)
{
    if (parent != nullptr) {
        setParent(parent);
    }
    SetDlgCtrlID(this, identifier);
    const QString title = QString::fromWCharArray(text != nullptr ? text : L"");
    setWindowTitle(title);
    setAccessibleName(ShownText(title));
    setGeometry(rect);
    m_caption = caption;
    m_hasWindow = true;
}

int CCameraPaneWnd::InitPane(const CCameraLayoutItem* item)
{
    if (m_building) { // from an event loop that a view runs while it is made
        return 0;
    }
    // First the copy: the item may lie in what goes now.
    CNode node = item != nullptr ? std::make_shared<const CCameraLayoutItem>(*item) : CNode();
    Clear();
    update();
    if (!m_hasWindow) {
        return 0;
    }
    if (node == nullptr) {
        return 1;
    }
    T_LIMITS limits;
    const QPointer<QWidget> self(this);
    Build(std::move(node), limits, 1);
    if (limits.exceeded && GetVisionLog() != nullptr) {
        GetVisionLog()->WriteErrorLog(L"CCameraPaneWnd::InitPane : more than %d levels, %d panes or %d tabs "
                                      L"in a row, what is beyond stays empty",
                                      kMaxLevels, kMaxPanes, kMaxTabs);
    }
    return self != nullptr ? 1 : 0;
}

void CCameraPaneWnd::Clear()
{
    delete std::exchange(m_pView, nullptr);
    if (m_pTabCtrl != nullptr) {
        m_pTabCtrl->hide(); // otherwise each page that goes brings up the next one
        for (CCameraPaneWnd* child : m_children) {
            child->setParent(this); // the tab control would take its pages along
        }
        delete std::exchange(m_pTabCtrl, nullptr);
    }
    m_children.DeleteAll();
}

void CCameraPaneWnd::Build(CNode node, T_LIMITS& limits, int level)
{
    m_layout = std::move(node);
    const bool isPane = m_layout->m_bPane != 0;
    const int count = m_layout->m_children.Count();
    if (isPane && count == 0) {
        return;
    }
    if (isPane && !limits.Allow(*m_layout, level)) {
        limits.exceeded = true;
        return;
    }
    m_building = true;
    const QPointer<QWidget> self(this); // a view that opens a message box lets the host close its window
    if (!isPane) {
        BuildView();
    } else {
        limits.panesLeft -= count;
        m_layout->m_bTabbed != 0 ? BuildTabs(limits, level) : BuildTiles(limits, level);
    }
    if (self != nullptr) {
        m_building = false;
    }
}

void CCameraPaneWnd::BuildView()
{
    const CNode node = m_layout;
    const QPointer<QWidget> self(this);
    ICameraView* const view = NewView();
    if (self == nullptr) {
        delete view;
        return;
    }
    if (view == nullptr) {
        return;
    }
    m_pView = view;
    view->setFocusPolicy(Qt::StrongFocus);
    const int created = view->Create(node->m_strName.c_str(), GetClientRect(), this, kFirstPane);
    if (self == nullptr) {
        return;
    }
    if (created == 0) {
        delete std::exchange(m_pView, nullptr);
        return;
    }
    view->InitFrameGrabber(ToNarrow(node->m_strCamera).c_str(), node->m_strFrameGrabber.c_str(),
                           node->m_settings);
}

void CCameraPaneWnd::BuildTiles(T_LIMITS& limits, int level)
{
    const CNode node = m_layout;
    const QPointer<QWidget> self(this);
    int index = 0;
    for (const CCameraLayoutItem* item : node->m_children) {
        if (index > 0) {
            AddBar(index, node->m_children.Count());
        }
        CCameraPaneWnd& child = Append(m_children, std::make_unique<CCameraPaneWnd>());
        child.Create(item->m_strName.c_str(), GetClientRect(), this, kFirstPane + index,
                     item->m_bCaption != 0);
        child.Build(CNode(node, item), limits, level + 1);
        if (self == nullptr) {
            return;
        }
        ++index;
    }
    AdjustLayout(-1);
}

void CCameraPaneWnd::BuildTabs(T_LIMITS& limits, int level)
{
    const CNode node = m_layout;
    const QPointer<QWidget> self(this);
    m_pTabCtrl = new QTabWidget(this);
    SetDlgCtrlID(m_pTabCtrl, kTabCtrl);
    m_pTabCtrl->setDocumentMode(true);
    m_pTabCtrl->setGeometry(GetClientRect());
    int index = 0;
    for (const CCameraLayoutItem* item : node->m_children) {
        CCameraPaneWnd& child = Append(m_children, std::make_unique<CCameraPaneWnd>());
        child.MakeWindow(item->m_strName.c_str(), m_pTabCtrl->rect(), m_pTabCtrl, kFirstPane + index, false);
        const QString name = ShownText(child.windowTitle());
        const QString label = m_pTabCtrl->fontMetrics().elidedText(name, Qt::ElideRight, kLabelWidth);
        m_pTabCtrl->addTab(&child, QString(label).replace('&', "&&"));
        const QString tip = Qt::mightBeRichText(name) ? name.toHtmlEscaped() : name;
        m_pTabCtrl->setTabToolTip(index, label != name ? tip : QString());
        child.Build(CNode(node, item), limits, level + 1);
        if (self == nullptr) {
            return;
        }
        ++index;
    }
    m_pTabCtrl->show(); // a row of tabs that is shown lays itself out for each tab that comes
}

void CCameraPaneWnd::AddBar(int index, int count)
{
    const QRect client = GetClientRect();
    const T_AXIS axis{m_layout->m_bStacked != 0};
    const int middle = axis.Near(client) + axis.Extent(client) * index / count;
    CPositionBar& bar = Append(m_bars, std::make_unique<CPositionBar>());
    bar.SetMoved([this](int identifier) { OnCommand(identifier); });
    const int half = CPositionBar::kThickness / 2;
    bar.Create(axis.With(client, middle - half, middle + half), this, kFirstBar + index - 1);
    bar.Init(client, axis.vertical ? CPositionBar::UP_DOWN : CPositionBar::LEFT_RIGHT);
}

QRect CCameraPaneWnd::GetClientRect() const
{
    const int caption = m_caption ? std::min(fontMetrics().height() + kTextMargin, height()) : 0;
    return rect().adjusted(0, caption, 0, 0);
}

void CCameraPaneWnd::AdjustLayout(int)
{
    const QRect client = GetClientRect();
    if (m_pTabCtrl != nullptr) {
        m_pTabCtrl->setGeometry(client);
        return;
    }
    if (m_pView != nullptr) {
        m_pView->setGeometry(client);
        return;
    }
    const T_AXIS axis{m_layout->m_bStacked != 0};
    std::vector<QRect> bars;
    for (const CPositionBar* bar : m_bars) {
        bars.push_back(bar->geometry());
    }
    // From behind a bar to before the next one; past the first and the last to the edge of the client.
    const auto between = [&](std::size_t before, std::size_t behind) {
        return axis.With(client, before < bars.size() ? axis.Far(bars[before]) : axis.Near(client),
                         behind < bars.size() ? axis.Near(bars[behind]) : axis.Far(client));
    };
    std::size_t index = 0;
    for (CPositionBar* bar : m_bars) {
        bar->m_rcRange = between(index - 1, index + 1);
        bar->m_nPending = -1;
        ++index;
    }
    index = 0;
    for (CCameraPaneWnd* child : m_children) {
        child->MovePane(between(index - 1, index));
        ++index;
    }
}

void CCameraPaneWnd::MovePane(const QRect& rect)
{
    const bool sized = size() != rect.size();
    setGeometry(rect);
    if (sized && !isVisible()) {
        OnSize(); // a hidden window has its event only when it is shown
    }
}

void CCameraPaneWnd::OnSize()
{
    const QRect client = GetClientRect();
    if (m_pTabCtrl != nullptr) {
        m_pTabCtrl->setGeometry(client);
    }
    if (m_pView != nullptr) {
        m_pView->setGeometry(client);
    }
    ResetBars(client);
    AdjustLayout(-1);
}

void CCameraPaneWnd::ResetBars(const QRect& client)
{
    int index = 0;
    for (CPositionBar* bar : m_bars) {
        const T_AXIS axis{bar->GetDirection() == CPositionBar::UP_DOWN};
        const int thickness = axis.Extent(bar->geometry());
        const int nearEdge =
            axis.Near(client) + axis.Extent(client) * (index + 1) / (m_bars.Count() + 1) - thickness / 2;
        bar->setGeometry(axis.With(client, nearEdge, nearEdge + thickness));
        ++index;
    }
}

void CCameraPaneWnd::OnPositionBar(int bar)
{
    if (bar >= 0 && bar < m_bars.Count()) {
        AdjustLayout(bar);
    }
}

void CCameraPaneWnd::OnCommand(int identifier)
{
    OnPositionBar(identifier - kFirstBar);
}

ICameraView* CCameraPaneWnd::GetCameraView(const char* name)
{
    if (m_pView != nullptr) {
        return name == nullptr || m_pView->GetUnitName() == name ? m_pView : nullptr;
    }
    for (CCameraPaneWnd* child : m_children) {
        if (ICameraView* const view = child->GetCameraView(name)) {
            return view;
        }
    }
    return nullptr;
}

int CCameraPaneWnd::ActivateChildPane(QWidget* child)
{
    if (!m_hasWindow || !HasLiveWindow(child)) {
        return 0;
    }
    std::vector<QMdiSubWindow*> documents;
    for (QWidget* parent = parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (auto* pane = dynamic_cast<ICameraPane*>(parent)) {
            pane->ActivateChildPane(this);
            break;
        }
        if (auto* document = qobject_cast<QMdiSubWindow*>(parent)) {
            documents.push_back(document);
        } else if (qobject_cast<QMainWindow*>(parent) != nullptr) {
            RaiseFrame(parent);
            break;
        }
    }
    // A main window that is minimised forgets what is activated in it, so this comes when it is up.
    for (QMdiSubWindow* document : documents) {
        if (document->mdiArea() != nullptr) {
            document->mdiArea()->setActiveSubWindow(document);
        }
    }
    if (m_pView != nullptr && child == m_pView) {
        m_pView->show();
        m_pView->setFocus();
    } else if (m_pTabCtrl != nullptr) {
        if (m_pTabCtrl->indexOf(child) >= 0) {
            m_pTabCtrl->setCurrentWidget(child);
        }
    } else {
        for (CCameraPaneWnd* pane : m_children) {
            if (pane == child) {
                pane->show();
            }
        }
    }
    return 1;
}

void CCameraPaneWnd::RaiseFrame(QWidget* frame)
{
    if (!frame->isVisible() || window()->isMinimized()) {
        frame->setWindowState(frame->windowState() & ~Qt::WindowMinimized);
        frame->show();
    }
    frame->raise();
    frame->activateWindow();
}

void CCameraPaneWnd::paintEvent(QPaintEvent*)
{
    const QRect client = GetClientRect();
    const QColor face = palette().color(QPalette::Window);
    const QColor ink = palette().color(QPalette::WindowText);
    QPainter dc(this);
    if (m_pView == nullptr && m_pTabCtrl == nullptr && m_children.Count() == 0) {
        dc.fillRect(client, face);
    }
    if (m_caption) {
        const QRect strip(0, 0, width(), client.top());
        dc.fillRect(strip, face);
        QColor shade = ink;
        shade.setAlphaF(0.12F);
        dc.fillRect(strip, shade);
        dc.setPen(ink);
        const QRect text = strip.adjusted(kTextMargin, 0, -kTextMargin, 0);
        const QString name = ShownText(windowTitle());
        dc.drawText(text, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                    fontMetrics().elidedText(name, Qt::ElideRight, text.width()));
    }
}

void CCameraPaneWnd::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    OnSize();
}

void CCameraPaneWnd::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // Windows inside hide together with this one. They come back together too, also those hidden alone.
    if (m_pView != nullptr) {
        if (m_pView->HasWindow()) {
            m_pView->show();
        }
    } else if (m_pTabCtrl != nullptr) {
        m_pTabCtrl->show();
    } else {
        for (CCameraPaneWnd* child : m_children) {
            child->show();
        }
    }
}

void CCameraPaneWnd::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    if (m_pView != nullptr) {
        if (m_pView->HasWindow()) {
            m_pView->setFocus(event->reason());
        }
    } else if (m_pTabCtrl != nullptr) {
        m_pTabCtrl->setFocus(event->reason());
    } else if (m_children.Count() > 0) {
        (*m_children.begin())->setFocus(event->reason());
    }
}

void CCameraPaneWnd::mousePressEvent(QMouseEvent* event)
{
    event->accept(); // nothing around this window shall be dragged by its title bar
}

void CCameraPaneWnd::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (m_caption && (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)) {
        OnSize();
    }
}

} // namespace alidade
