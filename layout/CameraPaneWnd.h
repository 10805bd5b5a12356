#pragma once

#include "acquisition/Export.h"
#include "layout/CameraLayoutItem.h"
#include "view/CameraPane.h"
#include "view/ICameraView.h"
#include "widgets/PositionBar.h"

#include <QTabWidget>
#include <QWidget>
#include <memory>

namespace alidade {

/// The window of one node of a layout: a leaf's holds a camera view that fills it, a pane's holds its
/// children as tiles with bars between them that can be dragged, or as tabs. The host makes the one of the
/// root; all others are made by InitPane.
///
/// It owns its view, children, bars and tabs. Geometry is in logical px. Bound to the user interface's
/// thread.
class ALIDADE_API CCameraPaneWnd : public QWidget, public ICameraPane {
public:
    /// Numbers of the windows inside, see widgets/WindowId.h.
    static constexpr int kTabCtrl = 10000;
    static constexpr int kFirstPane = 10100; // + index of the child; the view is number 0
    static constexpr int kFirstBar = 10200;  // + index of the child before it

    /// How deep panes lie inside one another at most, this one being level 1, how many windows one InitPane
    /// makes of nodes, and how many tabs are in one row. Panes that go beyond stay empty.
    static constexpr int kMaxLevels = 64;
    static constexpr int kMaxPanes = 4096;
    static constexpr int kMaxTabs = 256;

    /// An empty pane; without a parent it has no window yet, otherwise it is made by Create(parent).
    explicit CCameraPaneWnd(QWidget* parent = nullptr);
    ~CCameraPaneWnd() override;

    /// Makes the window: a child of `parent`, visible as its parent is. Without a parent it is a window of
    /// its own, hidden at first.
    /// @param rect        px of the parent
    /// @param identifier  see widgets/WindowId.h
    /// @param caption     with a title bar that shows the text
    /// @return 1; 0 when there is one already
    int Create(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier, bool caption = false);
    /// The same over all of the parent, for a host's root.
    int Create(QWidget* parent);
    bool HasWindow() const { return m_hasWindow; }

    /// Makes everything below this window anew, of a copy of `item`, and starts the cameras: meant for a
    /// window that has no tiles yet, or for a leaf. Bars are not taken away: over tiles it makes more of
    /// them.
    /// @param item  null: the pane is then empty
    /// @return 1, also when a view cannot be made, or its camera cannot be opened; 0 without a window, with
    /// what was below it gone, or while InitPane is at work
    int InitPane(const CCameraLayoutItem* item);
    /// What InitPane made this window of.
    const CCameraLayoutItem& GetLayout() const { return *m_layout; }

    /// The view of that unit name, which is compared exactly, or null; for null the first view. Depth first.
    ICameraView* GetCameraView(const char* name);
    /// Brings the pane or view `child` of this window to the front: in every tab control and MDI window
    /// around it and, where there is a main window, on the desktop.
    /// @return 1; 0 when this window, `child` or its window is missing
    int ActivateChildPane(QWidget* child) override;

    TList<CCameraPaneWnd, int, int>& GetChildren() { return m_children; }
    TList<CPositionBar, int, int>& GetBars() { return m_bars; }
    /// Null when the children are not tabs.
    QTabWidget* GetTabCtrl() const { return m_pTabCtrl; }
    /// What is below the title bar.
    QRect GetClientRect() const;

protected:
    /// Puts bars' ranges and tiles in place, all of them whatever `bar` is.
    void AdjustLayout(int bar);
    void OnPositionBar(int bar);
    /// A window inside has something to tell.
    void OnCommand(int identifier);

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// A node of the root's copy, which it keeps alive: one copy of the layout serves all levels.
    using CNode = std::shared_ptr<const CCameraLayoutItem>;
    struct T_LIMITS;

    void MakeWindow(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier, bool caption);
    void Clear();
    void Build(CNode node, T_LIMITS& limits, int level);
    void BuildView();
    void BuildTiles(T_LIMITS& limits, int level);
    void BuildTabs(T_LIMITS& limits, int level);
    void AddBar(int index, int count);
    void MovePane(const QRect& rect);
    void OnSize();
    void ResetBars(const QRect& client);
    void RaiseFrame(QWidget* frame);

    CNode m_layout;
    ICameraView* m_pView = nullptr;
    TList<CCameraPaneWnd, int, int> m_children;
    TList<CPositionBar, int, int> m_bars; // bar i lies between the children i and i + 1
    QTabWidget* m_pTabCtrl = nullptr;
    bool m_hasWindow = false;
    bool m_caption = false;
    bool m_building = false;
};

} // namespace alidade
