#include "view/menubar/ViewMenu.h"

#include <QMenu>
#include <QMouseEvent>
#include <QStringList>

namespace alidade {
namespace {

constexpr const wchar_t* kImage = L"Image";
constexpr const wchar_t* kProcessing = L"Image/Processing";
constexpr const wchar_t* kDisplay = L"Display";
constexpr const wchar_t* kCalibration = L"Calibration";
constexpr const wchar_t* kSettings = L"Settings";

constexpr T_VIEW_MENU_ITEM kItems[] = {
    {kProcessing, L"Pattern Matching ...", 32789},
    {kProcessing, L"Find Edge", 32787},
    {kProcessing, L"Find Corner", 32773},
    {kProcessing, L"Find Line", 32809},
    {kProcessing, L"Find Dot", 32771},
    {kProcessing, L"Find Simple Object", 32779},
    {kImage, L"Load Image ...", 32830},
    {kImage, L"Save", 32783, false, true},
    {kImage, L"Save Region ...", 32785},
    {kImage, L"Save ...", 32817},
    {kImage, L"Video Capture ...", 32772, false, true},
    {kDisplay, L"Show Sub Region", 32803, true},
    {kDisplay, L"Show Center Cross (Laser Center)", 32806, true},
    {kDisplay, L"Show Grid", 32804, true},
    {kDisplay, L"Show Slit Size", 32842, true},
    {kDisplay, L"Show Focus Value", 32775, true},
    {kDisplay, L"Show Selected Region Size", 32853, true},
    {kDisplay, L"Show Label", 32776, true},
    {kDisplay, L"Measure", 32822, true, true},
    {kDisplay, L"Boost Image", 32836, true},
    {kDisplay, L"Clear Overlay", 32774},
    {kDisplay, L"Detach", 32784, false, true},
    {kCalibration, L"Image to Stage mapping", 32791},
    {kCalibration, L"Auto Focus", 32781},
    {kCalibration, L"Measure Camera Delay", 32780},
    {kCalibration, L"Set Laser Center  Offset", 32793, false, true},
    {kCalibration, L"Reset Laser Center Offset", 32840},
    {kCalibration, L"Slit Calibration", 32845, false, true},
    {kSettings, L"Stage Setting", 32848},
    {kSettings, L"Camera Setting", 32777},
};

/// A press outside closes the menu and does nothing else: it is no click into the picture, and one on the
/// control that opened the menu does not open it again.
class CPopup final : public QMenu {
public:
    using QMenu::QMenu;

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        if (!rect().contains(event->position().toPoint())) {
            setAttribute(Qt::WA_NoMouseReplay);
        }
        QMenu::mousePressEvent(event);
    }
};

QMenu* FindOrAddSubMenu(QMenu* menu, const QString& name)
{
    for (QAction* action : menu->actions()) {
        if (action->menu() != nullptr && action->text() == name) {
            return action->menu();
        }
    }
    auto* submenu = new CPopup(name, menu);
    menu->addMenu(submenu);
    return submenu;
}

void RefreshItems(QMenu* menu, const std::function<T_MENU_ITEM_STATE(int)>& stateOf)
{
    for (QAction* action : menu->actions()) {
        if (action->menu() != nullptr) {
            RefreshItems(action->menu(), stateOf);
        } else if (!action->isSeparator()) {
            const T_MENU_ITEM_STATE state = stateOf(action->data().toInt());
            if (!state.present) {
                delete action;
                continue;
            }
            action->setEnabled(state.enabled);
            action->setChecked(state.checked); // nothing for one that is not checkable
        }
    }
}

} // namespace

std::span<const T_VIEW_MENU_ITEM> GetViewMenuTable()
{
    return kItems;
}

QMenu* MakeViewMenu(QWidget* owner, std::function<T_MENU_ITEM_STATE(int)> state,
                    std::function<void(int)> chosen)
{
    auto* root = new CPopup(owner);
    for (const T_VIEW_MENU_ITEM& item : kItems) {
        QMenu* menu = root;
        for (const QString& name : QString::fromWCharArray(item.path).split('/')) {
            menu = FindOrAddSubMenu(menu, name);
        }
        if (item.separated) {
            menu->addSeparator();
        }
        QAction* action = menu->addAction(QString::fromWCharArray(item.text));
        action->setData(item.identifier);
        action->setObjectName(QString("item%1").arg(item.identifier));
        action->setCheckable(item.checkable);
        // What an item does may take the view and its menu away, so the menu is left first.
        QObject::connect(
            action, &QAction::triggered, root, [chosen, number = item.identifier] { chosen(number); },
            Qt::QueuedConnection);
    }
    QObject::connect(root, &QMenu::aboutToShow, root,
                     [root, state = std::move(state)] { RefreshItems(root, state); });
    return root;
}

} // namespace alidade
