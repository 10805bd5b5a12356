#pragma once

#include "layout/CameraPaneWnd.h"
#include "tests/widgets/UiHarness.h"
#include "widgets/WindowId.h"

#include <QPainter>
#include <functional>
#include <initializer_list>
#include <vector>

namespace alidade {

/// A view that only notes what the pane does with it.
class CPaneTestView : public ICameraView {
public:
    CPaneTestView() : ICameraView(nullptr) {}
    ~CPaneTestView() override
    {
        if (s_gone) {
            s_gone(*this);
        }
    }

    static inline std::function<void(CPaneTestView&)> s_gone;

    std::vector<CString> calls; // "create", then the driver's name
    CString setting;            // "Key" of the settings it was given

    int OnCreate() override
    {
        calls.push_back(L"create");
        return creates;
    }
    int InitFrameGrabber(const char* unitName, const wchar_t* grabberName,
                         const CProfileSection& settings) override
    {
        SetUnitName(unitName);
        calls.push_back(grabberName);
        setting = settings.GetItemValue(L"Key", L"");
        return 0; // a camera that cannot be opened changes nothing for the pane
    }
    int creates = 1;

    const wchar_t* GetViewClassName() const override { return L"CameraView"; }
    int SetFrameGrabber(const char*, TRefPointer<CFrameGrabber, int, int>&) override { return 0; }
    int LoadSettings(int) override { return 0; }
    int SaveSettings() override { return 0; }
    int SyncSettings(int, CProfileSection&) override { return 1; }
    int GetImage(cv::Mat&, bool, DWORD) override { return 0; }
    int GetNewImage(cv::Mat&, DWORD) override { return 0; }
    int CheckUILock() override { return 1; }
    int ShowToolMenu(int) override { return 0; }
    int IsToolMenuVisible() override { return 0; }
    int GetDisplayGeometry(const cv::Size&, cv::Rect&, cv::Size&, cv::Size&) override { return 0; }
    int SetCTCameraToStage(const CCoordTrans&, int) override { return 0; }
    TPoint2<double> ConvCameraToStage(const TPoint2<double>& pt, int) override { return pt; }
    TPoint2<double> ConvStageToCamera(const TPoint2<double>& pt, int) override { return pt; }
    CCoordTrans GetCTCameraToStage(int) override { return CCoordTrans(); }
    void UpdateStatus() override {}
    int PopupView() override { return 1; }
    int DockView() override { return 1; }
    void DrawView(QPainter&, const QRect&) override {}

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter dc(this);
        dc.fillRect(rect(), QColor(40, 60, 80));
        dc.setPen(Qt::white);
        dc.drawText(rect(), Qt::AlignCenter, windowTitle());
    }
};

/// The class "CameraView" of these tests while it lives; the real one is behind it in the list.
class CPaneTestCreator : public ICameraView::CDYNAMIC_CREATE {
public:
    explicit CPaneTestCreator(std::function<ICameraView*()> make = [] { return new CPaneTestView; })
        : CDYNAMIC_CREATE(L"CameraView"), m_make(std::move(make))
    {
        ICameraView::DYNAMIC_CREATE_AddClass(this);
    }
    ~CPaneTestCreator() override { std::erase(ICameraView::s_DYNAMIC_CREATE, this); }
    ICameraView* NewObject() override { return m_make(); }

private:
    std::function<ICameraView*()> m_make;
};

inline CCameraLayoutItem Leaf(const wchar_t* camera, bool caption = false)
{
    CCameraLayoutItem leaf;
    leaf.m_bPane = 0;
    leaf.m_strName = CString(L"about ") + camera;
    leaf.m_strCamera = camera;
    leaf.m_strFrameGrabber = L"driver";
    leaf.m_bCaption = caption ? 1 : 0;
    return leaf;
}

enum eSPLIT { SIDE_BY_SIDE, STACKED, TABBED };

inline CCameraLayoutItem Pane(eSPLIT split, std::initializer_list<CCameraLayoutItem> children)
{
    CCameraLayoutItem pane;
    pane.m_bStacked = split == STACKED;
    pane.m_bTabbed = split == TABBED;
    for (const CCameraLayoutItem& child : children) {
        pane.m_children.Insert(new CCameraLayoutItem(child));
    }
    return pane;
}

inline CCameraLayoutItem Row(int cameras, eSPLIT split = SIDE_BY_SIDE)
{
    CCameraLayoutItem pane = Pane(split, {});
    for (int i = 0; i < cameras; ++i) {
        pane.m_children.Insert(new CCameraLayoutItem(Leaf(std::to_wstring(i).c_str())));
    }
    return pane;
}

/// The child panes of a pane, in order.
inline std::vector<CCameraPaneWnd*> ChildrenOf(CCameraPaneWnd& pane)
{
    return {pane.GetChildren().begin(), pane.GetChildren().end()};
}

/// A pane in a shown window of that size, made of a layout.
class CPaneWindow {
public:
    CPaneWindow(const CCameraLayoutItem& layout, int width, int height)
    {
        m_window.resize(width, height);
        ShowActive(m_window);
        root = new CCameraPaneWnd(&m_window);
        EXPECT_EQ(root->InitPane(&layout), 1);
        QCoreApplication::processEvents();
    }
    void Resize(int width, int height) { root->resize(width, height); }
    CCameraPaneWnd& Child(int index) const { return *ChildrenOf(*root)[static_cast<std::size_t>(index)]; }
    CPositionBar& Bar(int index) const
    {
        return *dynamic_cast<CPositionBar*>(FindChildWindow(root, CCameraPaneWnd::kFirstBar + index));
    }
    QWidget& Window() { return m_window; }

private:
    CPaneTestCreator m_creator;
    QWidget m_window;

public:
    CCameraPaneWnd* root; // the window's
};

} // namespace alidade
