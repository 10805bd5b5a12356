#pragma once

#include "foundation/config/Profile.h"
#include "foundation/platform/Text.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace alidade {

/// How a section is shown by a failing test.
inline void PrintTo(const CProfileSection& section, std::ostream* out)
{
    *out << "{" << ::testing::PrintToString(ToNarrow(section.m_strName)) << ":";
    for (const CProfileItem* item : section.m_items) {
        *out << " " << ::testing::PrintToString(ToNarrow(item->m_strKey)) << "="
             << ::testing::PrintToString(ToNarrow(item->m_strValue));
    }
    for (const CProfileSection* child : section.m_sections) {
        *out << " ";
        PrintTo(*child, out);
    }
    *out << "}";
}

/// A folder of its own for each test, with a settings file and a profile on it.
class CProfileTest : public ::testing::Test {
protected:
    CProfileTest() { m_profile.SetLog(&m_log); }

    void Put(std::string_view bytes) const { m_folder.Write("settings.ini", bytes); }
    std::string Get() const { return m_folder.Read("settings.ini"); }
    /// The names in the folder, with what they hold.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// What another profile reads from the file.
    CProfileSection Reread() const
    {
        CProfile profile(m_path.c_str());
        EXPECT_EQ(profile.Load(), 1);
        EXPECT_EQ(profile.GetFirstBadLine(), 0);
        return profile.GetRoot();
    }
    const wchar_t* Value(const wchar_t* section, const wchar_t* key) const
    {
        return m_profile.GetProfileValue(section, key, L"(none)");
    }

    CTempFolder m_folder;
    CString m_path = FromPath(m_folder / "settings.ini");
    CLogLines m_log;
    CProfile m_profile{m_path.c_str()};
};

} // namespace alidade
