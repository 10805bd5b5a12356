#pragma once

#include "layout/CameraPaneWnd.h"

#include <functional>

namespace alidade {

/// The host's window: the panes of a layout and nothing else. Bound to the window's thread.
class CHostWindow : public QWidget {
public:
    /// @param closed  called when the operator closes the window
    CHostWindow(const cv::Size& size, std::function<void()> closed);
    /// Stops the cameras.
    ~CHostWindow() override;

    /// Makes the panes and starts their cameras.
    void Init(const CCameraLayoutItem& layout);
    CCameraPaneWnd& GetPane() { return *m_pane; }
    /// All views, depth first.
    std::vector<ICameraView*> GetViews() const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    std::function<void()> m_closed;
    CCameraPaneWnd* m_pane; // a child
};

} // namespace alidade
