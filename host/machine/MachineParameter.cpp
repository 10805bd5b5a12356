#include "host/machine/MachineParameter.h"

#include "foundation/platform/Text.h"
#include "host/machine/MachineNumber.h"

#include <cmath>

namespace alidade {
namespace {

/// A parameter as messages show it: name and value, cut where it is long.
CString Show(const CIPVariable& node)
{
    constexpr std::size_t kMost = 40;
    const CString name = ToWide(node.GetName());
    switch (node.GetType()) {
    case IPVAR_INT:
    case IPVAR_UINT:
    case IPVAR_DOUBLE:
        return name + L" = " + node.GetWideString(L"(empty)");
    case IPVAR_STRING:
    case IPVAR_WSTRING: {
        CString text = node.GetWideString();
        if (text.size() > kMost) {
            text = text.substr(0, kMost) + L"...";
        }
        return name + L" = \"" + text + L"\"";
    }
    default:
        return name;
    }
}

} // namespace

void CMachineParameters::Refuse(CString error)
{
    if (m_error.empty()) {
        m_error = std::move(error);
    }
}

std::optional<double> CMachineParameters::Number(std::initializer_list<const char*> names)
{
    const CIPVariable* found = nullptr;
    for (const char* name : names) {
        const CIPVariable* child = m_in.FindChild(name);
        if (child != nullptr && found != nullptr) {
            Refuse(Format(L"%S and %S are given both", found->GetName(), name));
            return {};
        }
        found = child != nullptr ? child : found;
    }
    if (found == nullptr) {
        return {};
    }
    const std::optional<double> number = ReadMachineNumber(*found);
    if (!number) {
        Refuse(Show(*found) + L" is no number");
    }
    return number;
}

std::optional<int> CMachineParameters::Whole(const char* name, int least, int most)
{
    const std::optional<double> number = Number({name});
    if (number && (*number != std::floor(*number) || *number < least || *number > most)) {
        Refuse(Format(L"%ls is no whole number from %d to %d", Show(m_in(name)).c_str(), least, most));
        return {};
    }
    return number ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

double CMachineParameters::Speed(const char* name)
{
    const double speed = Number({name}).value_or(0);
    if (speed < 0) {
        Refuse(Show(m_in(name)) + L" is no speed");
    }
    return speed;
}

double CMachineParameters::Tolerance(const char* name)
{
    const std::optional<double> tolerance = Number({name});
    if (tolerance && *tolerance <= 0) {
        Refuse(Show(m_in(name)) + L" is no tolerance: it must be above 0");
    }
    return tolerance.value_or(0);
}

std::optional<eMACHINE_AXIS> CMachineParameters::Axis(const char* name, std::size_t count)
{
    constexpr const char* kNames[kMachineAxes] = {"X", "Y", "Z", "SlitX", "SlitY", "SlitT"};
    const CIPVariable* node = m_in.FindChild(name);
    if (node == nullptr) {
        return {};
    }
    const bool isText = node->GetType() == IPVAR_STRING || node->GetType() == IPVAR_WSTRING;
    const std::optional<double> number = ReadMachineNumber(*node);
    for (std::size_t i = 0; i < count; ++i) {
        if (number ? *number == static_cast<double>(i)
                   : isText && CompareNoCase(Trim(std::string_view(node->GetString())), kNames[i]) == 0) {
            return MachineAxis(i);
        }
    }
    Refuse(Format(L"%ls is no axis: there are 0 to %d and %S to %S", Show(*node).c_str(),
                  static_cast<int>(count) - 1, kNames[0], kNames[count - 1]));
    return {};
}

std::optional<int> CMachineParameters::Word(const char* name, std::initializer_list<const wchar_t*> words)
{
    const CIPVariable* node = m_in.FindChild(name);
    if (node == nullptr) {
        return {};
    }
    int number = 0;
    CString list;
    for (const wchar_t* word : words) {
        if (CompareNoCase(Trim(std::wstring_view(node->GetWideString())), word) == 0) {
            return number;
        }
        list += (number++ == 0 ? L"" : L", ") + CString(word);
    }
    Refuse(Show(*node) + L" is none of " + list);
    return {};
}

} // namespace alidade
