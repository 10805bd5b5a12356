#pragma once

#include <memory>

namespace alidade {

class CIPVariable;
class CRunningCommand;

/// A new command. The memory of ended commands goes round through a queue of 4096 blocks, so an address comes
/// back only after as many others, and a pointer that a dialog kept is not soon taken for a new command.
/// Thread-safe.
std::shared_ptr<CRunningCommand> AllocateCommand(const char* group, const char* name,
                                                 CIPVariable&& parameter);

} // namespace alidade
