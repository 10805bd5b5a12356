#include "host/HostWindow.h"

#include <QCloseEvent>

namespace alidade {

CHostWindow::CHostWindow(const cv::Size& size, std::function<void()> closed)
    : m_closed(std::move(closed)), m_pane(new CCameraPaneWnd)
{
    setWindowTitle(QStringLiteral("Alidade"));
    resize(size.width, size.height);
    m_pane->Create(this);
}

CHostWindow::~CHostWindow()
{
    delete m_pane; // while this is still a window of its own kind
}

void CHostWindow::Init(const CCameraLayoutItem& layout)
{
    m_pane->InitPane(&layout);
}

std::vector<ICameraView*> CHostWindow::GetViews() const
{
    std::vector<ICameraView*> views;
    for (QWidget* widget : findChildren<QWidget*>()) {
        if (auto* view = dynamic_cast<ICameraView*>(widget)) {
            views.push_back(view);
        }
    }
    return views;
}

void CHostWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_pane->setGeometry(rect());
}

void CHostWindow::closeEvent(QCloseEvent* event)
{
    event->accept();
    m_closed();
}

} // namespace alidade
