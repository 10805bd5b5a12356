#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <filesystem>

namespace alidade {

/// A shared library that was loaded at run time. Null: none.
using HMODULE = void*;

/// Loads a shared library from a file, whatever its name ends in, with its symbols kept to itself.
/// @param error  receives the system's text on failure; may be null
/// @return null when the file is no library or one of its needs is missing
ALIDADE_FOUNDATION_API HMODULE LoadModule(const std::filesystem::path& path, CString* error = nullptr);
/// Gives back one LoadModule. Null is ignored.
ALIDADE_FOUNDATION_API void UnloadModule(HMODULE module);
/// Address of an exported symbol; null for a null module or when there is none.
ALIDADE_FOUNDATION_API void* GetModuleSymbol(HMODULE module, const char* name);

template <class Function>
Function GetModuleFunction(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(GetModuleSymbol(module, name));
}

/// File of the library or program that holds `address`; empty when there is none.
ALIDADE_FOUNDATION_API std::filesystem::path GetModulePath(const void* address);

} // namespace alidade
