#include "widgets/PropertyGridCtrl2.h"

#include "widgets/PropertyGridTree.h"

#include <QFrame>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>

namespace alidade {
namespace {

constexpr int kDescriptionLines = 3;

CPropertyGridItem::eKIND KindOf(const CMFCPropertyGridProperty& row)
{
    return IsSeparator(row) ? CPropertyGridItem::KIND_SEPARATOR : CPropertyGridItem::KIND_ROW;
}

} // namespace

CMFCPropertyGridCtrl2::CMFCPropertyGridCtrl2(QWidget* parent)
    : QWidget(parent), m_tree(new CPropertyGridTree(this)), m_descriptionArea(new QFrame(this)),
      m_descriptionName(new QLabel(m_descriptionArea)), m_descriptionText(new QTextEdit(m_descriptionArea))
{
    setFocusProxy(m_tree);

    static_cast<QFrame*>(m_descriptionArea)->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    QFont bold = font();
    bold.setBold(true);
    m_descriptionName->setFont(bold);
    m_descriptionName->setTextFormat(Qt::PlainText);
    m_descriptionText->setReadOnly(true);
    m_descriptionText->setFocusPolicy(Qt::NoFocus);
    m_descriptionText->setFrameStyle(QFrame::NoFrame);
    m_descriptionText->viewport()->setAutoFillBackground(false);
    m_descriptionText->document()->setDocumentMargin(0);
    m_descriptionText->setFixedHeight(kDescriptionLines * fontMetrics().lineSpacing() + 4);

    auto* area = new QVBoxLayout(m_descriptionArea);
    area->setContentsMargins(6, 4, 6, 4);
    area->setSpacing(2);
    area->addWidget(m_descriptionName);
    area->addWidget(m_descriptionText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_tree, 1);
    layout->addWidget(m_descriptionArea);

    connect(m_tree, &QTreeWidget::currentItemChanged, this, [this] { DescribeSelected(); });
}

CMFCPropertyGridCtrl2::~CMFCPropertyGridCtrl2() = default;

void CMFCPropertyGridCtrl2::AddGroup(CPropertyGridGroup& group)
{
    CPropertyGridItem* heading = m_tree->Add(group, CPropertyGridItem::KIND_GROUP, nullptr);
    for (CPropertyGridRow* row : group.GetRows()) {
        m_tree->Add(*row, KindOf(*row), heading);
    }
}

void CMFCPropertyGridCtrl2::AddProperties(TList<CMFCPropertyGridProperty, int, int>& properties)
{
    for (CMFCPropertyGridProperty* row : properties) {
        m_tree->Add(*row, KindOf(*row), nullptr);
    }
}

void CMFCPropertyGridCtrl2::RemoveAll()
{
    CancelEdit();
    m_tree->clear();
}

void CMFCPropertyGridCtrl2::Redraw()
{
    CancelEdit();
    m_tree->ShowAll();
}

void CMFCPropertyGridCtrl2::EndEdit()
{
    m_tree->EndEdit(true);
}

void CMFCPropertyGridCtrl2::CancelEdit()
{
    m_tree->EndEdit(false);
}

bool CMFCPropertyGridCtrl2::IsEditing() const
{
    return m_tree->IsEditing();
}

void CMFCPropertyGridCtrl2::SetNameColumn(double fraction)
{
    m_tree->SetNameColumn(fraction);
}

void CMFCPropertyGridCtrl2::SetEmptyText(const CString& text)
{
    m_tree->SetEmptyText(text);
}

void CMFCPropertyGridCtrl2::ShowDescription(bool show)
{
    m_descriptionArea->setVisible(show);
}

void CMFCPropertyGridCtrl2::Select(const CMFCPropertyGridProperty* row)
{
    CPropertyGridItem* item = m_tree->FindItem(row);
    if (row == nullptr) {
        item = static_cast<CPropertyGridItem*>(m_tree->topLevelItem(0));
        if (item != nullptr && item->GetKind() != CPropertyGridItem::KIND_ROW) {
            item = m_tree->FindRow(item, 1);
        }
    }
    if (item != nullptr) {
        m_tree->setCurrentItem(item, CPropertyGridTree::kValueColumn);
        m_tree->scrollToItem(item);
    }
}

CMFCPropertyGridProperty* CMFCPropertyGridCtrl2::GetSelected() const
{
    const CPropertyGridItem* item = m_tree->Current();
    return item != nullptr ? &item->GetProperty() : nullptr;
}

QRect CMFCPropertyGridCtrl2::GetValueRect(const CMFCPropertyGridProperty* row) const
{
    CPropertyGridItem* item = m_tree->FindItem(row);
    return item != nullptr ? m_tree->visualRect(m_tree->indexFromItem(item, CPropertyGridTree::kValueColumn))
                           : QRect();
}

QWidget* CMFCPropertyGridCtrl2::GetCells() const
{
    return m_tree->viewport();
}

void CMFCPropertyGridCtrl2::DescribeSelected()
{
    const CMFCPropertyGridProperty* selected = GetSelected();
    m_descriptionName->setText(selected != nullptr ? QString::fromStdWString(selected->GetName())
                                                   : QString());
    m_descriptionText->setPlainText(selected != nullptr ? QString::fromStdWString(selected->GetDescription())
                                                        : QString());
}

} // namespace alidade
