#pragma once

#include "foundation/platform/Text.h"
#include "tests/widgets/UiHarness.h"
#include "view/menubar/MenuBar.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <map>
#include <set>
#include <vector>

namespace alidade {

/// A view as far as its bar knows it: a grey picture, the decoration on it, and what it was told.
class CBarView : public QWidget, public IMenuBarOwner {
public:
    CBarView()
    {
        resize(800, 300);
        setMouseTracking(true);
        setFocusPolicy(Qt::StrongFocus);
        m_bar = new CMenuBar(*this, this);
    }

    template <typename T>
    T* Get(int number)
    {
        return qobject_cast<T*>(m_bar->GetDlgItem(number));
    }
    QAbstractButton* Button(int number) { return Get<QAbstractButton>(number); }
    void Click(int number)
    {
        QTest::mouseClick(m_bar->GetDlgItem(number), Qt::LeftButton);
        QCoreApplication::processEvents();
    }
    double Factor() { return m_bar->GetZoomState().factor; }
    int Mode() { return m_bar->GetZoomState().mode; }

    void OnZoomChanged() override
    {
        ++m_zooms;
        ++s_told;
    }
    void OnFrameRateButton() override { ++m_frameRates; }
    void OnToolMenuShown() override { ++m_shown; }
    T_MENU_ITEM_STATE GetMenuItemState(int identifier) override
    {
        m_asked.insert(identifier);
        const auto found = m_states.find(identifier);
        return found != m_states.end() ? found->second : T_MENU_ITEM_STATE();
    }
    void OnMenuItem(int identifier) override
    {
        m_menuWasOpen = m_menuWasOpen || m_bar->GetMenu()->isVisible();
        m_chosen.push_back(identifier);
    }

    CMenuBar* m_bar;
    int m_zooms = 0, m_frameRates = 0, m_shown = 0, m_clicks = 0, m_keys = 0;
    static inline int s_told = 0; // by any view, one that is gone too
    bool m_menuWasOpen = false;
    std::map<int, T_MENU_ITEM_STATE> m_states;
    std::set<int> m_asked;
    std::vector<int> m_chosen;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter dc(this);
        dc.fillRect(rect(), QColor(128, 128, 128));
        m_bar->DrawExpandButton(dc);
    }
    void mousePressEvent(QMouseEvent*) override { ++m_clicks; }
    void mouseMoveEvent(QMouseEvent* event) override { m_bar->OnMouseMoved(event->position().toPoint()); }
    void keyPressEvent(QKeyEvent*) override { ++m_keys; }
};

} // namespace alidade
