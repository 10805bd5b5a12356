#pragma once

#include "widgets/PropertyGridGroup.h"

#include <QTreeWidget>

namespace alidade {

class CPropertyGridDelegate;

/// One line of the grid.
class CPropertyGridItem : public QTreeWidgetItem {
public:
    enum eKIND { KIND_GROUP, KIND_ROW, KIND_SEPARATOR };

    CPropertyGridItem(CMFCPropertyGridProperty& property, eKIND kind);

    CMFCPropertyGridProperty& GetProperty() const { return m_property; }
    eKIND GetKind() const { return m_kind; }
    /// True when there are options and nothing else may be given.
    bool IsChoiceOnly() const { return !m_property.IsEditAllowed() && !m_property.GetOptions().empty(); }
    bool IsChanged() const { return m_property.GetValue() != m_initial; }
    void Reset() { m_property.SetValue(m_initial); }
    /// Shows the property's present value.
    void Show(const CString& emptyText);

private:
    CMFCPropertyGridProperty& m_property;
    const CString m_initial;
    const eKIND m_kind;
};

/// The rows of the grid: how they are moved through and opened.
class CPropertyGridTree : public QTreeWidget {
public:
    static constexpr int kNameColumn = 0;
    static constexpr int kValueColumn = 1;

    explicit CPropertyGridTree(QWidget* parent);

    CPropertyGridItem* Add(CMFCPropertyGridProperty& property, CPropertyGridItem::eKIND kind,
                           CPropertyGridItem* group);
    CPropertyGridItem* FindItem(const CMFCPropertyGridProperty* property) const;
    CPropertyGridItem* ItemAt(const QModelIndex& index) const;
    CPropertyGridItem* Current() const { return static_cast<CPropertyGridItem*>(currentItem()); }
    /// The next row (by 1) or the previous one (by -1) that has a value and is not hidden, or null.
    CPropertyGridItem* FindRow(CPropertyGridItem* from, int by) const;

    void ShowAll();
    void SetEmptyText(const CString& text);
    void SetNameColumn(double fraction);

    /// Opens a row's value; `openList` drops down the list of a row without free text.
    void BeginEdit(CPropertyGridItem* item, bool openList);
    void EndEdit(bool take);
    bool IsEditing() const { return state() == EditingState; }
    using QTreeWidget::indexFromItem;
    /// The value has come from an editor.
    void TakeValue(CPropertyGridItem& item, const CString& value);

    void keyboardSearch(const QString&) override {}

protected:
    void closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;

private:
    CPropertyGridDelegate* m_delegate;
    CString m_emptyText;
    double m_nameColumn = 0.5;
};

} // namespace alidade
