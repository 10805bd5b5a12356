#pragma once

#include "foundation/Export.h"
#include "foundation/bus/IPVariable.h"

namespace alidade {

/// A variable's contents as JSON on one line, UTF-8; its own name does not show. Reentrant; any depth is
/// fine.
///
///   number, text    the value; "inf", "-inf" and "nan" are texts
///   raw block       {"bytes":N,"hex":"0a0b"}, hex up to 256 bytes
///   image           {"rows":R,"cols":C,"type":T,"bytes":N}
///   children        an object when each has a name of its own, otherwise an array, where one with a name is
///   an
///                   object of that one member
///   both            {"value":V,"children":...}
///   neither         {} for a plain node, null for one that has a type
///
/// Malformed UTF-8 becomes U+FFFD.
ALIDADE_FOUNDATION_API CStringA VariableToJson(const CIPVariable& variable);

} // namespace alidade
