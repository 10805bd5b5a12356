#include "widgets/PropertyGridTree.h"

#include "widgets/PropertyGridDelegate.h"

#include <QComboBox>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QTimer>
#include <QTreeWidgetItemIterator>
#include <algorithm>

namespace alidade {
namespace {

/// A key that begins a text.
bool IsTyping(const QKeyEvent& event)
{
    const QString text = event.text();
    return !text.isEmpty() && text[0].isPrint() &&
           (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) == 0;
}

} // namespace

CPropertyGridItem::CPropertyGridItem(CMFCPropertyGridProperty& property, eKIND kind)
    : m_property(property), m_initial(property.GetValue()), m_kind(kind)
{
    if (kind == KIND_SEPARATOR) {
        setFlags(Qt::NoItemFlags);
        return;
    }
    const QString name = QString::fromStdWString(property.GetName());
    const QString description = QString::fromStdWString(property.GetDescription());
    setText(CPropertyGridTree::kNameColumn, name);
    setToolTip(CPropertyGridTree::kNameColumn, description.isEmpty() ? name : name + "\n" + description);
    setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable |
             (kind == KIND_ROW ? Qt::ItemIsEditable : Qt::NoItemFlags));
}

void CPropertyGridItem::Show(const CString& emptyText)
{
    if (m_kind != KIND_ROW) {
        return;
    }
    constexpr int column = CPropertyGridTree::kValueColumn;
    const QString value = QString::fromStdWString(m_property.GetValue());
    const bool isEmpty = value.isEmpty();
    setText(column, isEmpty ? QString::fromStdWString(emptyText) : value);
    setToolTip(column, value);
    QFont font = treeWidget()->font();
    font.setBold(IsChanged());
    setFont(column, font);
    setData(column, Qt::ForegroundRole,
            isEmpty ? QVariant(treeWidget()->palette().brush(QPalette::PlaceholderText)) : QVariant());
}

CPropertyGridTree::CPropertyGridTree(QWidget* parent)
    : QTreeWidget(parent), m_delegate(new CPropertyGridDelegate(*this))
{
    setColumnCount(2);
    setHeaderHidden(true);
    header()->setSectionsMovable(false);
    header()->setMinimumSectionSize(20);
    header()->setStretchLastSection(true);
    setItemDelegate(m_delegate);
    setIndentation(16);
    setRootIsDecorated(false);       // until there is a heading to collapse
    setEditTriggers(NoEditTriggers); // this class opens values itself
    setTabKeyNavigation(false);
    setAllColumnsShowFocus(true);
    setExpandsOnDoubleClick(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(ScrollPerPixel);
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item, int column) {
        if (column == kValueColumn) {
            BeginEdit(static_cast<CPropertyGridItem*>(item), true);
        }
    });
}

CPropertyGridItem* CPropertyGridTree::Add(CMFCPropertyGridProperty& property, CPropertyGridItem::eKIND kind,
                                          CPropertyGridItem* group)
{
    auto* item = new CPropertyGridItem(property, kind);
    if (group != nullptr) {
        group->addChild(item);
    } else {
        addTopLevelItem(item);
    }
    if (kind != CPropertyGridItem::KIND_ROW) {
        item->setFirstColumnSpanned(true);
    }
    if (kind == CPropertyGridItem::KIND_GROUP) {
        QFont bold = font();
        bold.setBold(true);
        item->setFont(kNameColumn, bold);
        item->setExpanded(true);
        setRootIsDecorated(true);
    }
    item->Show(m_emptyText);
    return item;
}

CPropertyGridItem* CPropertyGridTree::ItemAt(const QModelIndex& index) const
{
    return static_cast<CPropertyGridItem*>(itemFromIndex(index));
}

CPropertyGridItem* CPropertyGridTree::FindItem(const CMFCPropertyGridProperty* property) const
{
    for (QTreeWidgetItemIterator at(const_cast<CPropertyGridTree*>(this)); *at != nullptr; ++at) {
        auto* item = static_cast<CPropertyGridItem*>(*at);
        if (&item->GetProperty() == property) {
            return item;
        }
    }
    return nullptr;
}

CPropertyGridItem* CPropertyGridTree::FindRow(CPropertyGridItem* from, int by) const
{
    QTreeWidgetItem* item = from;
    do {
        item = by > 0 ? itemBelow(item) : itemAbove(item);
    } while (item != nullptr &&
             static_cast<CPropertyGridItem*>(item)->GetKind() != CPropertyGridItem::KIND_ROW);
    return static_cast<CPropertyGridItem*>(item);
}

void CPropertyGridTree::ShowAll()
{
    for (QTreeWidgetItemIterator at(this); *at != nullptr; ++at) {
        static_cast<CPropertyGridItem*>(*at)->Show(m_emptyText);
    }
}

void CPropertyGridTree::SetEmptyText(const CString& text)
{
    m_emptyText = text;
    ShowAll();
}

void CPropertyGridTree::SetNameColumn(double fraction)
{
    m_nameColumn = std::clamp(fraction, 0.1, 0.9);
    header()->resizeSection(kNameColumn, static_cast<int>(viewport()->width() * m_nameColumn));
}

void CPropertyGridTree::resizeEvent(QResizeEvent* event)
{
    QTreeWidget::resizeEvent(event);
    SetNameColumn(m_nameColumn);
}

void CPropertyGridTree::showEvent(QShowEvent* event)
{
    QTreeWidget::showEvent(event);
    // What was scrolled to before the size was known stands anywhere: the top, if the selected row is near.
    QTimer::singleShot(0, this, [this] {
        scrollToTop();
        if (currentItem() != nullptr) {
            scrollToItem(currentItem());
        }
    });
}

void CPropertyGridTree::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const
{
    const CPropertyGridItem* item = ItemAt(index);
    if (item != nullptr && item->GetKind() == CPropertyGridItem::KIND_GROUP) {
        painter->fillRect(option.rect, palette().brush(QPalette::Button));
    }
    QTreeWidget::drawRow(painter, option, index);
}

void CPropertyGridTree::BeginEdit(CPropertyGridItem* item, bool openList)
{
    if (item == nullptr || item->GetKind() != CPropertyGridItem::KIND_ROW) {
        return;
    }
    setCurrentItem(item, kValueColumn);
    scrollToItem(item);
    edit(indexFromItem(item, kValueColumn));
    if (openList && item->IsChoiceOnly()) {
        if (auto* choice = qobject_cast<QComboBox*>(m_delegate->GetEditor())) {
            choice->showPopup();
        }
    }
}

void CPropertyGridTree::EndEdit(bool take)
{
    m_delegate->Finish(m_delegate->GetEditor(), take);
}

void CPropertyGridTree::TakeValue(CPropertyGridItem& item, const CString& value)
{
    item.GetProperty().SetValue(value);
    item.Show(m_emptyText);
}

void CPropertyGridTree::closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint)
{
    QTreeWidget::closeEditor(editor, QAbstractItemDelegate::NoHint);
    const int by = hint == QAbstractItemDelegate::EditNextItem       ? 1
                   : hint == QAbstractItemDelegate::EditPreviousItem ? -1
                                                                     : 0;
    if (by != 0 && Current() != nullptr) {
        BeginEdit(FindRow(Current(), by), false);
    }
}

void CPropertyGridTree::keyPressEvent(QKeyEvent* event)
{
    if (IsEditing()) { // what the editor has no use for must not move the selection or close a dialog
        event->accept();
        return;
    }
    CPropertyGridItem* item = Current();
    const bool isRow = item != nullptr && item->GetKind() == CPropertyGridItem::KIND_ROW;
    switch (event->key()) {
    case Qt::Key_F2:
    case Qt::Key_Enter:
    case Qt::Key_Return:
        event->accept();
        if (isRow) {
            BeginEdit(item, true);
        } else if (item != nullptr) {
            item->setExpanded(!item->isExpanded());
        }
        return;
    case Qt::Key_Escape:
        event->ignore();
        return;
    default:
        break;
    }
    if (!IsTyping(*event)) {
        QTreeWidget::keyPressEvent(event);
        return;
    }
    event->accept();
    if (isRow && !item->IsChoiceOnly()) {
        BeginEdit(item, false);
        if (QWidget* editor = m_delegate->GetEditor()) {
            QCoreApplication::sendEvent(editor, event); // its whole text is selected and so replaced
        }
    }
}

void CPropertyGridTree::contextMenuEvent(QContextMenuEvent* event)
{
    const QPoint at = event->reason() == QContextMenuEvent::Keyboard
                          ? visualItemRect(currentItem()).bottomLeft()
                          : event->pos();
    auto* item = static_cast<CPropertyGridItem*>(itemAt(at));
    if (item == nullptr) {
        item = Current();
    }
    if (item == nullptr || item->GetKind() != CPropertyGridItem::KIND_ROW) {
        return;
    }
    EndEdit(true);
    setCurrentItem(item, kValueColumn);
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction* reset = menu->addAction("Reset to default");
    reset->setEnabled(item->IsChanged());
    connect(reset, &QAction::triggered, this, [this] {
        if (CPropertyGridItem* current = Current()) {
            current->Reset();
            current->Show(m_emptyText);
        }
    });
    menu->popup(viewport()->mapToGlobal(at));
}

} // namespace alidade
