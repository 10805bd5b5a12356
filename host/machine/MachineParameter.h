#pragma once

#include "foundation/bus/IPVariable.h"
#include "host/machine/MachineAxis.h"

#include <initializer_list>
#include <optional>

namespace alidade {

/// Reads the parameters of one command and keeps the first thing that is wrong with them. Reentrant.
class CMachineParameters {
public:
    explicit CMachineParameters(const CIPVariable& in) : m_in(in) {}

    /// The parameter that stands under one of the names. Nothing when it is absent, or is wrong.
    /// A number, or a text that is one; finite. Two of the names at once are wrong.
    std::optional<double> Number(std::initializer_list<const char*> names);
    /// A whole number from `least` to `most`.
    std::optional<int> Whole(const char* name, int least, int most);
    /// 0 or more; 0 when absent.
    double Speed(const char* name);
    /// Above 0; 0 when absent.
    double Tolerance(const char* name);
    /// One of the machine's first `count` axes, by number or name in any case.
    std::optional<eMACHINE_AXIS> Axis(const char* name, std::size_t count);
    /// The number of the word, in any case.
    std::optional<int> Word(const char* name, std::initializer_list<const wchar_t*> words);

    void Refuse(CString error);
    bool IsGood() const { return m_error.empty(); }
    const CString& GetError() const { return m_error; }

private:
    const CIPVariable& m_in;
    CString m_error;
};

} // namespace alidade
