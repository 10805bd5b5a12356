#pragma once

#include "foundation/bus/engine/EngineTypes.h"

#include <QEvent>

namespace alidade {

/// Carries a delivered command through a window's event routing to its receiver.
class CBusEvent final : public QEvent {
public:
    explicit CBusEvent(std::shared_ptr<CRunningCommand> delivered)
        : QEvent(GetType()), command(std::move(delivered))
    {
    }
    static QEvent::Type GetType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    const std::shared_ptr<CRunningCommand> command;
    bool served = false;
};

} // namespace alidade
