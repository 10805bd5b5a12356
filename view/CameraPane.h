#pragma once

#include "acquisition/Export.h"

class QWidget;

namespace alidade {

/// A window that holds views or other panes, as a view or a pane inside it sees it.
class ICameraPane {
public:
    virtual ~ICameraPane() = default;
    /// Brings a direct child to the front, asking the panes around this one first. 1, or 0 for a bad
    /// argument.
    virtual int ActivateChildPane(QWidget* child) = 0;
};

} // namespace alidade
