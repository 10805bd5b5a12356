#include "layout/CameraLayoutItem.h"

#include "foundation/utility/ListAppend.h"
#include "layout/LayoutWalk.h"

#include <memory>
#include <utility>
#include <vector>

namespace alidade {
namespace {

/// Destroys a list's items so that none of them has children when its turn comes.
void DeleteLevelByLevel(TList<CCameraLayoutItem, int, int>& items) noexcept
{
    while (CCameraLayoutItem* const item = items.Remove(0)) {
        items.TakeFrom(item->m_children);
        delete item;
    }
}

} // namespace

CCameraLayoutItem::CCameraLayoutItem(const CCameraLayoutItem& other)
{
    std::vector<CCameraLayoutItem*> path; // the copies of the nodes that lead to where the walk is
    const auto enter = [&](const CCameraLayoutItem& from) {
        CCameraLayoutItem& to =
            path.empty() ? *this : Append(path.back()->m_children, std::make_unique<CCameraLayoutItem>());
        to.CopyFields(from);
        path.push_back(&to);
    };
    WalkLayout(other, enter, [&](const CCameraLayoutItem&) { path.pop_back(); });
}

CCameraLayoutItem::CCameraLayoutItem(CCameraLayoutItem&& other) noexcept
    : m_bPane(other.m_bPane), m_strName(std::move(other.m_strName)), m_nReserved1(other.m_nReserved1),
      m_nReserved2(other.m_nReserved2), m_bCaption(other.m_bCaption), m_bTabbed(other.m_bTabbed),
      m_bStacked(other.m_bStacked), m_children(std::move(other.m_children)),
      m_strFrameGrabber(std::move(other.m_strFrameGrabber)), m_strCamera(std::move(other.m_strCamera)),
      m_settings(std::move(other.m_settings))
{
}

CCameraLayoutItem& CCameraLayoutItem::operator=(const CCameraLayoutItem& other)
{
    CCameraLayoutItem copy(other);
    return *this = std::move(copy);
}

CCameraLayoutItem& CCameraLayoutItem::operator=(CCameraLayoutItem&& other) noexcept
{
    // Everything is taken first: the other node may be among the children that go.
    CCameraLayoutItem taken(std::move(other));
    m_children.DeleteAll();
    m_bPane = taken.m_bPane;
    m_strName = std::move(taken.m_strName);
    m_nReserved1 = taken.m_nReserved1;
    m_nReserved2 = taken.m_nReserved2;
    m_bCaption = taken.m_bCaption;
    m_bTabbed = taken.m_bTabbed;
    m_bStacked = taken.m_bStacked;
    m_children.TakeFrom(taken.m_children);
    m_strFrameGrabber = std::move(taken.m_strFrameGrabber);
    m_strCamera = std::move(taken.m_strCamera);
    m_settings = std::move(taken.m_settings);
    return *this;
}

CCameraLayoutItem::~CCameraLayoutItem()
{
    DeleteLevelByLevel(m_children);
}

void CCameraLayoutItem::CopyFields(const CCameraLayoutItem& other)
{
    m_bPane = other.m_bPane;
    m_strName = other.m_strName;
    m_nReserved1 = other.m_nReserved1;
    m_nReserved2 = other.m_nReserved2;
    m_bCaption = other.m_bCaption;
    m_bTabbed = other.m_bTabbed;
    m_bStacked = other.m_bStacked;
    m_strFrameGrabber = other.m_strFrameGrabber;
    m_strCamera = other.m_strCamera;
    m_settings = other.m_settings;
}

void CCameraLayoutItem::SetName(const wchar_t* name)
{
    // Through a copy: the name may be this node's own text.
    m_strName = CString(name != nullptr ? name : L"");
}

int CCameraLayoutItem::Init()
{
    *this = CCameraLayoutItem();
    return 1;
}

int CCameraLayoutItem::SetPane(const wchar_t* name)
{
    // The name first: it may be a child's.
    SetName(name);
    m_bPane = 1;
    m_children.DeleteAll();
    return 1;
}

CCameraLayoutItem* CCameraLayoutItem::GetChildPane(int index)
{
    return const_cast<CCameraLayoutItem*>(std::as_const(*this).GetChildPane(index));
}

const CCameraLayoutItem* CCameraLayoutItem::GetChildPane(int index) const
{
    if (m_bPane == 0 || index < 0) {
        return nullptr;
    }
    const auto* const node = m_children.NodeAt(index);
    return node != nullptr ? node->item : nullptr;
}

const wchar_t* CCameraLayoutItem::GetSettingValue(const wchar_t* key, const wchar_t* defaultValue) const
{
    return m_settings.GetItemValue(key, defaultValue);
}

int CCameraLayoutItem::SetSettingValue(const wchar_t* key, const wchar_t* value)
{
    return m_settings.SetItemValue(key, value);
}

void CCameraLayoutItem::GetCameraList(const CCameraLayoutItem& item, TList<CString, int, int>& names)
{
    const auto enter = [&](const CCameraLayoutItem& node) {
        if (node.m_bPane == 0) {
            Append(names, std::make_unique<CString>(node.m_strCamera));
        }
    };
    WalkLayout(item, enter, [](const CCameraLayoutItem&) {});
}

} // namespace alidade
