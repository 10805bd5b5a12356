#pragma once

#include "foundation/config/ProfileSection.h"

#include <map>

namespace alidade {

/// A copy of a section with its items and sub-sections in the order of their names, for comparing content
/// alone.
inline CProfileSection Sorted(const CProfileSection& section)
{
    std::map<CString, const CProfileItem*> items;
    std::map<CString, const CProfileSection*> sections;
    for (const CProfileItem* item : section.m_items) {
        items.emplace(item->m_strKey, item);
    }
    for (const CProfileSection* child : section.m_sections) {
        sections.emplace(child->m_strName, child);
    }
    CProfileSection sorted;
    sorted.m_strName = section.m_strName;
    for (const auto& [key, item] : items) {
        sorted.m_items.Insert(new CProfileItem(*item));
    }
    for (const auto& [name, child] : sections) {
        sorted.m_sections.Insert(new CProfileSection(Sorted(*child)));
    }
    return sorted;
}

} // namespace alidade
