#include "foundation/bus/IPTask.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/Path.h"

namespace alidade {

IIPTask::IIPTask(const wchar_t* folder)
{
    const bool given = folder != nullptr && *folder != L'\0';
    GetAbsolutePath(nullptr, given ? folder : L".", m_folder);
}

IIPTask::~IIPTask() = default;

CString IIPTask::GetAbsPath(const wchar_t* path) const
{
    CString absolute;
    return path != nullptr && GetAbsolutePath(m_folder.c_str(), path, absolute) != 0 ? absolute : m_folder;
}

CString IIPTask::GetRelPath(const wchar_t* path) const
{
    CString absolute;
    if (path == nullptr || GetAbsolutePath(m_folder.c_str(), path, absolute) == 0) {
        return {};
    }
    const std::filesystem::path relative = ToPath(absolute).lexically_relative(ToPath(m_folder));
    return relative.empty() ? CString(path) : FromPath(relative);
}

} // namespace alidade
