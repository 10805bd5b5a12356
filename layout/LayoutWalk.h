#pragma once

#include "layout/CameraLayoutItem.h"

#include <deque>

namespace alidade {

/// Goes through a layout depth first without recursion: `enter(node)` before a node's children, `leave(node)`
/// behind them. From before `enter` to behind `leave` the lock of the node's list of children is held.
template <class Enter, class Leave>
void WalkLayout(const CCameraLayoutItem& root, Enter enter, Leave leave)
{
    struct T_FRAME {
        explicit T_FRAME(const CCameraLayoutItem& item)
            : node(item), lock(item.m_children.GetLock()), next(item.m_children.begin())
        {
        }
        const CCameraLayoutItem& node;
        CS lock;
        TListRangeIter<CCameraLayoutItem*> next;
    };
    std::deque<T_FRAME> open;
    open.emplace_back(root);
    enter(root);
    while (!open.empty()) {
        T_FRAME& top = open.back();
        if (top.next == top.node.m_children.end()) {
            leave(top.node);
            open.pop_back();
            continue;
        }
        const CCameraLayoutItem& child = **top.next;
        ++top.next;
        open.emplace_back(child);
        enter(child);
    }
}

} // namespace alidade
