#include "view/ICameraView.h"

#include "acquisition/InitVision.h"
#include "view/CameraView.h"
#include "widgets/WindowId.h"

#include <QEvent>

namespace alidade {
namespace {

std::vector<ICameraView::CDYNAMIC_CREATE*> ReserveCreators()
{
    std::vector<ICameraView::CDYNAMIC_CREATE*> creators;
    creators.reserve(100);
    static CCameraView::CDYNAMIC_CREATE_CHILD cameraView;
    creators.push_back(&cameraView);
    return creators;
}

} // namespace

std::vector<ICameraView::CDYNAMIC_CREATE*> ICameraView::s_DYNAMIC_CREATE = ReserveCreators();
// Every system that this library can be built for is newer.
const bool ICameraView::s_bWindows7OrGreater = true;

ICameraView* ICameraView::DYNAMIC_CREATE_NewObject(const wchar_t* className)
{
    for (auto creator = s_DYNAMIC_CREATE.rbegin(); creator != s_DYNAMIC_CREATE.rend(); ++creator) {
        if (className != nullptr && (*creator)->GetClassName() == className) {
            return (*creator)->NewObject();
        }
    }
    return nullptr;
}

void ICameraView::DYNAMIC_CREATE_AddClass(CDYNAMIC_CREATE* creator)
{
    if (creator != nullptr) {
        s_DYNAMIC_CREATE.push_back(creator);
    }
}

ICameraView::ICameraView(CIPClient* client)
    : CSimpleLogInterface(GetVisionLog()), IWNDIPCommandTarget(m_hWnd, client)
{
}

ICameraView::~ICameraView() = default;

int ICameraView::Create(const wchar_t* text, const QRect& rect, QWidget* parent, int identifier)
{
    if (HasWindow()) {
        return 0;
    }
    setParent(parent);
    setWindowTitle(QString::fromWCharArray(text != nullptr ? text : L""));
    setAccessibleName(windowTitle());
    setGeometry(rect);
    SetDlgCtrlID(this, identifier);
    m_hWnd = this;
    if (!OnCreate()) {
        m_hWnd = nullptr;
        return 0;
    }
    show();
    if (isVisibleTo(window())) {
        setFocus();
    }
    return 1;
}

CFrameGrabber* ICameraView::GetFrameGrabber()
{
    return m_pFrameGrabber.Get();
}

const CFrameGrabber* ICameraView::GetFrameGrabber() const
{
    return m_pFrameGrabber.Get();
}

void ICameraView::RedrawImage(int)
{
}

const IP_COMMAND_TARGET* ICameraView::GetIPCommandTargetTable()
{
    static const IP_COMMAND_TARGET_ENTRY entries[] = {{nullptr, nullptr, nullptr}};
    static const IP_COMMAND_TARGET table = {entries, nullptr};
    return &table;
}

const IP_COMMAND_TARGET* ICameraView::GetIPCommandTargetStatic() const
{
    return GetIPCommandTargetTable();
}

bool ICameraView::event(QEvent* event)
{
    int handled = 0;
    LRESULT result = 0;
    IP_OnWndMsg(static_cast<UINT>(event->type()), 0, reinterpret_cast<LPARAM>(event), &result, handled);
    return handled != 0 ? result != 0 : QWidget::event(event);
}

} // namespace alidade
