#pragma once

#include "acquisition/Export.h"
#include "widgets/PropertyGridGroup.h"

#include <QWidget>

class QLabel;
class QTextEdit;

namespace alidade {

class CPropertyGridTree;

/// A grid of settings: names on the left, values on the right, under headings that can be collapsed, in the
/// order in which they were added; below it the description of the row that is selected. There is no header.
///
/// A value is chosen from its row's options, or typed where the row allows that or has no options. An option
/// "..." hints at further values and cannot be chosen. A value that is not the one that the row was added
/// with is shown bold, and the row's menu takes it back. Rows named "----" are thin dividers.
///
/// Keys: arrows move, F2 or Enter opens a value, typing begins one, Enter or Tab takes it, Tab opens the next
/// row's, Esc leaves the value as it was. Without an open value Tab leaves the grid.
///
/// Properties are not owned and outlive their being shown. Bound to the user interface's thread.
class ALIDADE_API CMFCPropertyGridCtrl2 : public QWidget {
public:
    explicit CMFCPropertyGridCtrl2(QWidget* parent = nullptr);
    ~CMFCPropertyGridCtrl2() override;

    /// Adds a heading with its rows, expanded.
    void AddGroup(CPropertyGridGroup& group);
    /// Adds rows without a heading, as a driver lists its settings.
    void AddProperties(TList<CMFCPropertyGridProperty, int, int>& properties);
    /// Takes all rows out; an open edit is dropped.
    void RemoveAll();
    /// Shows the present values after they were changed behind the grid's back. An open edit is dropped.
    void Redraw();

    /// Ends an open edit: its value is taken.
    void EndEdit();
    /// Ends an open edit: the value stays as it was.
    void CancelEdit();
    bool IsEditing() const;

    /// Width of the names as a part of the whole, 0.1 to 0.9; kept when the grid is resized.
    void SetNameColumn(double fraction);
    /// What stands, in grey, where a value is empty; nothing at first.
    void SetEmptyText(const CString& text);
    void ShowDescription(bool show);

    /// Selects a row and shows it; null: the first row.
    void Select(const CMFCPropertyGridProperty* row);
    /// The row or heading that is selected, or null.
    CMFCPropertyGridProperty* GetSelected() const;
    /// Where a row's value is shown, in the coordinates of GetCells(). Empty for a row that is not shown.
    QRect GetValueRect(const CMFCPropertyGridProperty* row) const;
    /// The widget that the rows are painted on and that takes the mouse.
    QWidget* GetCells() const;

private:
    void DescribeSelected();

    CPropertyGridTree* m_tree;
    QWidget* m_descriptionArea;
    QLabel* m_descriptionName;
    QTextEdit* m_descriptionText;
};

} // namespace alidade
