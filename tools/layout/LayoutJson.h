#pragma once

#include "layout/CameraLayoutItem.h"

#include <stdexcept>
#include <string_view>

namespace alidade {

/// A JSON text that is no layout. The text says where: line and column for what is no JSON at all, otherwise
/// the way from the root, as in "/children/0/caption: ...".
class CLayoutJsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A layout as JSON, UTF-8, with a line for each member. Members that are as in a new node are left out, but
/// for those that a pane or a leaf is told by. Any depth of nodes is fine. Reentrant.
CStringA LayoutToJson(const CCameraLayoutItem& item);

/// The layout that a JSON text describes. Any depth of nodes is fine. Reentrant.
/// @throws CLayoutJsonError
CCameraLayoutItem LayoutFromJson(std::string_view text);

} // namespace alidade
