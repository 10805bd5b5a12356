#include "widgets/PropertyGridDelegate.h"

#include "foundation/platform/Text.h"
#include "widgets/PropertyGridTree.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStandardItemModel>
#include <QTimer>
#include <QWheelEvent>
#include <functional>

namespace alidade {
namespace {

constexpr int kRowMargin = 4;  // above and below the text
constexpr int kTextMargin = 4; // before the text
constexpr int kSeparatorHeight = 11;
constexpr const wchar_t* kFurtherValues = L"...";

/// A list to choose from that says when it closes. The wheel scrolls the grid and never turns the value.
class CChoiceBox : public QComboBox {
public:
    using QComboBox::QComboBox;
    void OnClosed(std::function<void()> onClosed) { m_onClosed = std::move(onClosed); }
    void hidePopup() override
    {
        const bool wasOpen = view()->isVisible();
        QComboBox::hidePopup();
        if (wasOpen && m_onClosed) {
            m_onClosed();
        }
    }

protected:
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }

private:
    std::function<void()> m_onClosed;
};

QString EditorText(const QWidget* editor)
{
    if (const auto* choice = qobject_cast<const QComboBox*>(editor)) {
        return choice->currentText();
    }
    return static_cast<const QLineEdit*>(editor)->text();
}

} // namespace

CPropertyGridDelegate::CPropertyGridDelegate(CPropertyGridTree& tree)
    : QStyledItemDelegate(&tree), m_tree(tree)
{
}

void CPropertyGridDelegate::Finish(QWidget* editor, bool take)
{
    if (editor == nullptr || editor != m_editor) {
        return;
    }
    if (!take) {
        m_shown = EditorText(editor); // counts as unchanged from here on
    }
    if (auto* choice = qobject_cast<QComboBox*>(editor)) {
        choice->hidePopup(); // gives the keyboard back
    }
    if (take) {
        emit commitData(editor);
    }
    emit closeEditor(editor);
}

bool CPropertyGridDelegate::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Enter || key == Qt::Key_Return) { // at once, and only once for a list of choices
            Finish(qobject_cast<QWidget*>(object), true);
            return true;
        }
    }
    return QStyledItemDelegate::eventFilter(object, event);
}

QComboBox* CPropertyGridDelegate::MakeChoice(QWidget* parent, const CPropertyGridItem& item) const
{
    const CMFCPropertyGridProperty& property = item.GetProperty();
    auto* self = const_cast<CPropertyGridDelegate*>(this);
    auto* box = new CChoiceBox(parent);
    // The box sets its choice only after its list has closed.
    const auto finishSoon = [self, editor = QPointer<QWidget>(box)] {
        QTimer::singleShot(0, self, [self, editor] { self->Finish(editor, true); });
    };
    const bool choiceOnly = item.IsChoiceOnly();
    if (choiceOnly) {
        box->OnClosed(finishSoon);
    }
    const QSize rowSize(0, box->fontMetrics().height() + 2 * kRowMargin);
    int current = -1;
    for (const CString& option : property.GetOptions()) {
        if (current < 0 && CompareNoCase(option, property.GetValue()) == 0) {
            current = box->count();
        }
        box->addItem(QString::fromStdWString(option));
        box->setItemData(box->count() - 1, rowSize, Qt::SizeHintRole);
        if (option == kFurtherValues) {
            static_cast<QStandardItemModel*>(box->model())->item(box->count() - 1)->setEnabled(false);
        }
    }
    box->setFrame(false);
    box->setMaxVisibleItems(16);
    if (choiceOnly) {
        if (current < 0) { // a value from elsewhere is not lost by looking at the others
            box->insertItem(0, QString::fromStdWString(property.GetValue()));
            box->setItemData(0, rowSize, Qt::SizeHintRole);
            current = 0;
        }
        box->setCurrentIndex(current);
    } else {
        box->setEditable(true);
        box->setInsertPolicy(QComboBox::NoInsert);
        box->setCompleter(nullptr); // the value is what was typed, not what it begins
        box->setCurrentIndex(current);
        box->setEditText(QString::fromStdWString(property.GetValue()));
        box->lineEdit()->selectAll();
        connect(box, &QComboBox::activated, box, finishSoon);
    }
    return box;
}

QWidget* CPropertyGridDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                             const QModelIndex& index) const
{
    const CPropertyGridItem* item = m_tree.ItemAt(index);
    if (item == nullptr || item->GetKind() != CPropertyGridItem::KIND_ROW) {
        return nullptr;
    }
    if (item->GetProperty().GetOptions().empty()) {
        auto* line = new QLineEdit(QString::fromStdWString(item->GetProperty().GetValue()), parent);
        line->setFrame(false);
        line->selectAll();
        m_editor = line;
    } else {
        m_editor = MakeChoice(parent, *item);
    }
    m_editor->setAutoFillBackground(true);
    m_shown = EditorText(m_editor);
    return m_editor;
}

void CPropertyGridDelegate::destroyEditor(QWidget* editor, const QModelIndex& index) const
{
    if (editor == m_editor) {
        m_editor = nullptr;
    }
    QStyledItemDelegate::destroyEditor(editor, index);
}

void CPropertyGridDelegate::setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const
{
    CPropertyGridItem* item = m_tree.ItemAt(index);
    const QString text = EditorText(editor);
    if (item != nullptr && text != m_shown) {
        m_tree.TakeValue(*item, text.toStdWString());
        m_shown = text;
    }
}

void CPropertyGridDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                                 const QModelIndex&) const
{
    editor->setGeometry(option.rect.adjusted(1, 0, 0, -1)); // the grid's lines stay
}

void CPropertyGridDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const
{
    const CPropertyGridItem* item = m_tree.ItemAt(index);
    const QColor line = option.palette.color(QPalette::Midlight);
    const QRect rect = option.rect;
    if (item != nullptr && item->GetKind() == CPropertyGridItem::KIND_SEPARATOR) {
        painter->setPen(option.palette.color(QPalette::Mid));
        painter->drawLine(rect.left(), rect.center().y(), m_tree.viewport()->width(), rect.center().y());
        return;
    }
    QStyleOptionViewItem text = option;
    initStyleOption(&text, index);
    m_tree.style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &text, painter, &m_tree);
    text.rect.adjust(kTextMargin, 0, 0, 0);
    QStyledItemDelegate::paint(painter, text, index);
    painter->setPen(line);
    painter->drawLine(rect.bottomLeft(), rect.bottomRight());
    if (index.column() == CPropertyGridTree::kValueColumn) {
        painter->drawLine(rect.topLeft(), rect.bottomLeft());
    }
}

QSize CPropertyGridDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const CPropertyGridItem* item = m_tree.ItemAt(index);
    if (item != nullptr && item->GetKind() == CPropertyGridItem::KIND_SEPARATOR) {
        return {0, kSeparatorHeight};
    }
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(option.fontMetrics.height() + 2 * kRowMargin);
    return size;
}

} // namespace alidade
