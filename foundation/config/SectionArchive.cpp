#include "foundation/config/SectionArchive.h"

#include "foundation/utility/ListAppend.h"

namespace alidade {
namespace {

constexpr DWORD kMarker = 0x12340001;

void CheckDepth(int depth)
{
    if (depth > kMaxArchivedSectionDepth) {
        throw CArchiveException("archive: sections are nested deeper than " +
                                std::to_string(kMaxArchivedSectionDepth));
    }
}

void Store(CArchiveU& archive, const CProfileSection& section, int depth)
{
    CheckDepth(depth);
    archive.Write(kMarker);
    archive.WriteString(section.m_strName);
    archive.Write(static_cast<DWORD>(section.m_items.Count()));
    for (const CProfileItem* item : section.m_items) {
        archive.WriteString(item->m_strKey);
        archive.WriteString(item->m_strValue);
    }
    archive.Write(static_cast<DWORD>(section.m_sections.Count()));
    for (const CProfileSection* child : section.m_sections) {
        Store(archive, *child, depth + 1);
    }
}

void Load(CArchiveU& archive, CProfileSection& section, int depth)
{
    CheckDepth(depth);
    section.Init(1);
    if (archive.Read<DWORD>() != kMarker) {
        return;
    }
    section.m_strName = archive.ReadString();
    for (DWORD left = archive.Read<DWORD>(); left > 0; --left) {
        CProfileItem& item = Append(section.m_items, std::make_unique<CProfileItem>(nullptr, nullptr));
        item.m_strKey = archive.ReadString();
        item.m_strValue = archive.ReadString();
    }
    for (DWORD left = archive.Read<DWORD>(); left > 0; --left) {
        Load(archive, Append(section.m_sections, std::make_unique<CProfileSection>()), depth + 1);
    }
}

} // namespace

void StoreSection(CArchiveU& archive, const CProfileSection& section)
{
    Store(archive, section, 1);
}

void LoadSection(CArchiveU& archive, CProfileSection& section)
{
    Load(archive, section, 1);
}

} // namespace alidade
