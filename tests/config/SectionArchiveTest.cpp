#include "foundation/config/SectionArchive.h"
#include "tests/config/ConfigHarness.h"

namespace alidade {
namespace {

CProfileSection Sample()
{
    CProfileSection section(L"Cam1");
    section.SetItemValue(L"key", L"\u00E4\U0001F4F7", L"a comment");
    section.SetItemValue(L"", L"");
    section.GetSubSection(L"Lens_0").SetItemValue(L"x", CString(300, L'x').c_str());
    section.GetSubSection(L"key").GetSubSection(L"");
    return section;
}

std::string Stored(const CProfileSection& section)
{
    CArchiveU archive;
    StoreSection(archive, section);
    return archive.GetData();
}

TEST(SectionArchive, ATreeIsReadBackWithoutItsComments)
{
    const std::string bytes = Stored(Sample());
    CArchiveU archive(bytes.data(), bytes.size());
    CProfileSection read(L"old");
    read.SetItemValue(L"old", L"item");
    LoadSection(archive, read);
    EXPECT_EQ(read, Sample());
    EXPECT_TRUE(read.m_items.NodeAt(0)->item->m_strComment.empty());
    EXPECT_EQ(archive.GetRemaining(), 0u);
}

TEST(SectionArchive, TheBytesAreAsTheFormatSays)
{
    CProfileSection section(L"A");
    section.SetItemValue(L"k", L"");
    EXPECT_EQ(Stored(section), std::string("\x01\x00\x34\x12"
                                           "\xFF\xFE\xFF\x01"
                                           "A\0"
                                           "\x01\0\0\0"
                                           "\xFF\xFE\xFF\x01k\0"
                                           "\xFF\xFE\xFF\0"
                                           "\0\0\0\0",
                                           4 + 6 + 4 + 6 + 4 + 4));
}

TEST(SectionArchive, WithoutItsMarkerASectionIsEmptyAndTheRestIsLeft)
{
    const std::string bytes = std::string("\x02\x00\x34\x12", 4) + "rest";
    CArchiveU archive(bytes.data(), bytes.size());
    CProfileSection section = Sample();
    LoadSection(archive, section);
    EXPECT_EQ(section, CProfileSection());
    EXPECT_EQ(archive.GetRemaining(), 4u);
}

TEST(SectionArchive, AnArchiveThatEndsEarlyIsRefusedWherever)
{
    const std::string bytes = Stored(Sample());
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        const std::string part = bytes.substr(0, cut);
        CArchiveU archive(part.data(), part.size());
        CProfileSection section;
        EXPECT_THROW(LoadSection(archive, section), CArchiveException) << cut;
    }
}

TEST(SectionArchive, HostileCountsAndDepthsEndInAClearError)
{
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += std::string("\x01\x00\x34\x12\0\0\0\0\0\x01\0\0\0", 13); // no name, no items, one sub-section
    }
    std::string many("\x01\x00\x34\x12\0\xFF\xFF\xFF\xFF", 9);
    for (const std::string& bytes : {deep, many}) {
        CArchiveU archive(bytes.data(), bytes.size());
        CProfileSection section;
        EXPECT_THROW(LoadSection(archive, section), CArchiveException);
    }
    CProfileSection tree;
    CProfileSection* at = &tree;
    for (int depth = 2; depth <= kMaxArchivedSectionDepth; ++depth) {
        at = &at->GetSubSection(L"");
    }
    EXPECT_NO_THROW(Stored(tree));
    at->GetSubSection(L"");
    EXPECT_THROW(Stored(tree), CArchiveException);
}

} // namespace
} // namespace alidade
