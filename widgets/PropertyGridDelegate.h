#pragma once

#include "foundation/platform/Types.h"

#include <QPointer>
#include <QStyledItemDelegate>

class QComboBox;

namespace alidade {

class CPropertyGridItem;
class CPropertyGridTree;

/// Paints the grid's rows and makes the editors of their values.
class CPropertyGridDelegate : public QStyledItemDelegate {
public:
    explicit CPropertyGridDelegate(CPropertyGridTree& tree);

    QWidget* GetEditor() const { return m_editor; }
    /// Ends the editor if it is the open one.
    void Finish(QWidget* editor, bool take);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex& index) const override;
    void destroyEditor(QWidget* editor, const QModelIndex& index) const override;
    void setEditorData(QWidget*, const QModelIndex&) const override {} // it was made with its value
    void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex&) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    QComboBox* MakeChoice(QWidget* parent, const CPropertyGridItem& item) const;

    CPropertyGridTree& m_tree;
    mutable QPointer<QWidget> m_editor;
    mutable QString m_shown; // what the editor began with
};

} // namespace alidade
