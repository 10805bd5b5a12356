#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <exception>
#include <memory>

namespace alidade {

/// What the bus raises: where it was noticed, and what is wrong. Copyable; copies share their text.
class ALIDADE_FOUNDATION_API CIPException : public std::exception {
public:
    CIPException(const wchar_t* source, const wchar_t* text);
    ~CIPException() override;

    const wchar_t* GetSource() const noexcept { return m_text->source.c_str(); }
    const wchar_t* GetText() const noexcept { return m_text->text.c_str(); }
    /// Source and text as UTF-8.
    const char* what() const noexcept override { return m_text->what.c_str(); }

private:
    struct T_TEXT {
        CString source;
        CString text;
        CStringA what;
    };
    std::shared_ptr<const T_TEXT> m_text;
};

/// A variable was read as something that it is not.
class ALIDADE_FOUNDATION_API CIPVariableException : public CIPException {
public:
    using CIPException::CIPException;
    ~CIPVariableException() override;
};

} // namespace alidade
