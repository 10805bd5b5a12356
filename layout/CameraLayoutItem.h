#pragma once

#include "acquisition/Export.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/containers/List.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// A node of the tree that says how a screen is tiled by camera views. A pane is split or tabbed among its
/// children; a leaf is a camera with the name of its driver and its settings.
///
/// Value type: a copy is deep. Any depth is fine: nothing here goes down the tree by recursion. Bound to one
/// thread at a time, reading included, since reading a child by its index moves the list's cursor.
class ALIDADE_API CCameraLayoutItem {
public:
    CCameraLayoutItem() = default;
    CCameraLayoutItem(const CCameraLayoutItem& other);
    CCameraLayoutItem(CCameraLayoutItem&& other) noexcept;
    /// The other node may lie inside this one's tree.
    CCameraLayoutItem& operator=(const CCameraLayoutItem& other);
    CCameraLayoutItem& operator=(CCameraLayoutItem&& other) noexcept;
    ~CCameraLayoutItem();

    int IsPane() const { return m_bPane; }
    const wchar_t* GetName() const { return m_strName.c_str(); }
    /// Null stands for an empty name.
    void SetName(const wchar_t* name);

    /// Back to a newly made node. Always 1.
    int Init();
    /// Makes this node a pane of that name without children. The other fields stay, also those that only a
    /// leaf uses. Always 1.
    int SetPane(const wchar_t* name);

    TList<CCameraLayoutItem, int, int>& GetChildPane() { return m_children; }
    const TList<CCameraLayoutItem, int, int>& GetChildPane() const { return m_children; }
    /// The child, or null when this node is a leaf or the index is out of range.
    CCameraLayoutItem* GetChildPane(int index);
    const CCameraLayoutItem* GetChildPane(int index) const;

    /// The text holds until the setting is written; the default is returned as it was given.
    const wchar_t* GetSettingValue(const wchar_t* key, const wchar_t* defaultValue) const;
    int SetSettingValue(const wchar_t* key, const wchar_t* value);

    /// Reads a layout file into this node. What fails is told in the log that InitVision remembered.
    ///
    /// A file of another version is not read: the node stays as it is, and the result is 1 nevertheless, so
    /// that a host with an older library starts with the layout it has. A file that is damaged leaves what
    /// could be read up to there; load into a node of your own when that matters.
    /// @return 1, or 0: cannot be opened (logged), no layout file (not logged), damaged or larger than a
    /// layout may be (logged, see LayoutArchive.h)
    int Load(const wchar_t* path);
    /// Writes over the file in place, so its links and rights stay. A disk that is full leaves it as far as
    /// it came; a layout that exceeds the bounds of LayoutArchive.h leaves the old file.
    /// @return 1, or 0 with the reason in the log
    int Store(const wchar_t* path) const;

    /// Appends the cameras of all leaves of a tree in their order, as often as they occur.
    static void GetCameraList(const CCameraLayoutItem& item, TList<CString, int, int>& names);

    int m_bPane = 1;            // 0: a leaf
    CString m_strName = L"..."; // caption text
    int m_nReserved1 = 0;       // stored and restored
    int m_nReserved2 = 0;       // likewise
    int m_bCaption = 0;         // as a child of a split pane, this node has a title bar
    int m_bTabbed = 0;          // pane: its children are tabs
    int m_bStacked = 0;         // split pane: its children lie one below the other, not side by side
    TList<CCameraLayoutItem, int, int> m_children;
    CString m_strFrameGrabber;  // leaf: name of the driver
    CString m_strCamera;        // leaf: name of the camera, under which its view is looked up
    CProfileSection m_settings; // leaf: for the grabber and the view

private:
    void CopyFields(const CCameraLayoutItem& other);
};

} // namespace alidade
