#include "foundation/utility/Strings.h"
#include "tests/config/ConfigHarness.h"
#include "tests/support/SortedSection.h"

#include <random>

namespace alidade {
namespace {

class ProfileRoundTrip : public CProfileTest {};

/// Texts that the form of the file, or a careless reader of it, could take for something else.
const std::vector<CString>& AwkwardTexts()
{
    static const std::vector<CString> texts = {L"",
                                               L" ",
                                               L"\t",
                                               L"  both  ",
                                               L"\ttab\t",
                                               L"a\tb",
                                               L"a\nb",
                                               L"a\r\nb",
                                               L"\n",
                                               L"\r",
                                               L"=",
                                               L"a=b",
                                               L"=a",
                                               L";",
                                               L"; no comment",
                                               L"#",
                                               L"#5",
                                               L"a;b",
                                               L"a # b",
                                               L"[",
                                               L"[x]",
                                               L"]",
                                               L"a]b",
                                               L"/",
                                               L"a/b",
                                               L"//",
                                               L"\\",
                                               L"C:\\new\\data",
                                               L"out/%04d.png",
                                               L"\"quoted\"",
                                               L"'",
                                               L"<<<",
                                               L"<<<END_OF_TEXT",
                                               L"&",
                                               L"&&",
                                               L"&#",
                                               L"&#;",
                                               L"&#10",
                                               L"&#10;",
                                               L"&#38;#10;",
                                               L"&#0;",
                                               L"&#00;",
                                               L"&#99999999;",
                                               L"&amp;",
                                               L"%s%n",
                                               L"\x01\x1F\x7F",
                                               L"\u0085\u2028\u2029",
                                               L"\uFEFF",
                                               L"\uFEFFx",
                                               L"\u00A0x\u00A0",
                                               L"\u00E4\u6F22\u5B57",
                                               L"\U0001F4F7",
                                               L"\uFFFD",
                                               L"e\u0301",
                                               L"\v\f",
                                               CString(1, wchar_t(0xD800)),
                                               CString(1, L'\0'),
                                               CString(3, L'\0'),
                                               CString(5000, L'x')};
    return texts;
}

TEST_F(ProfileRoundTrip, AnyTextSurvivesAsKeyAsValueAndAsName)
{
    for (const CString& text : AwkwardTexts()) {
        SCOPED_TRACE(::testing::PrintToString(ToNarrow(text)));
        CProfile profile(m_path.c_str());
        CProfileSection wanted;
        // Beside plain neighbours on either side, so that what leaks out of its place is seen.
        for (const CString& name : {CString(L"before"), text, CString(L"behind")}) {
            CProfileSection& section = profile.GetSection(L"(new)");
            section.m_strName = name;
            for (const CString& key : {CString(L"k1"), text, CString(L"k2")}) {
                section.SetItemValue(L"(new)", L"");
                CProfileItem* item = section.m_items.Last();
                item->m_strKey = key;
                item->m_strValue = text;
            }
            section.GetSubSection(L"inner").SetItemValue(L"x", text.c_str());
        }
        wanted = profile.GetRoot();
        std::filesystem::remove(m_folder / "settings.ini");
        ASSERT_EQ(profile.Save(), 1);
        EXPECT_EQ(Reread(), wanted);
    }
}

TEST_F(ProfileRoundTrip, OrdinaryTextsAreWrittenAsTheyStand)
{
    const wchar_t* const plain[] = {L"C:\\new\\data", L"out/%04d.png", L"a;b",        L"x = [1]",
                                    L"50 % # ok",     L"R&D &c. &#",   L"\"quoted\"", L"\u00E4 \u6F22",
                                    L"a\tb",          L"<<<"};
    std::string wanted = "[S]\n";
    for (int i = 0; i < int(std::size(plain)); ++i) {
        m_profile.GetSection(L"S").SetItemValue(DtoA(i).c_str(), plain[i]);
        wanted.append(std::to_string(i)).append("=").append(ToNarrow(plain[i])).append("\n");
    }
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(Get(), wanted);
}

TEST_F(ProfileRoundTrip, ItemsAndSubSectionsOfOneNameAndKeysThatDifferInCaseStayApart)
{
    CProfileSection& section = m_profile.GetSection(L"CameraSettings");
    section.SetItemValue(L"Cam1", L"item");
    section.SetItemValue(L"cam1", L"lower");
    section.SetItemValue(L"CAM1", L"upper");
    section.GetSubSection(L"Cam1").SetItemValue(L"Cam1", L"inner");
    m_profile.GetSection(L"CameraSettings/Cam1").SetItemValue(L"Cam1", L"no path");
    m_profile.GetSection(L"camerasettings");
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(Reread(), m_profile.GetRoot());
    EXPECT_EQ(Get(), "[CameraSettings]\nCam1=item\ncam1=lower\nCAM1=upper\n\n"
                     "[CameraSettings/Cam1]\nCam1=inner\n\n"
                     "[CameraSettings&#47;Cam1]\nCam1=no path\n\n"
                     "[camerasettings]\n");
}

/// Makes, changes and compares trees of awkward texts.
class CRandomTree {
public:
    explicit CRandomTree(unsigned seed) : m_random(seed) {}

    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(m_random); }

    CString Text()
    {
        static constexpr std::wstring_view kCharacters =
            L" \t\r\n=;#[]/\\&0123456789\"'<ab\u00E4\u6F22\uFEFF\x01";
        if (Below(3) == 0) {
            return AwkwardTexts()[std::size_t(Below(int(AwkwardTexts().size()) - 1))];
        }
        CString text;
        for (int length = Below(8); length > 0; --length) {
            text += kCharacters[std::size_t(Below(int(kCharacters.size())))];
        }
        return text;
    }

    void Fill(CProfileSection& section, int depth)
    {
        for (int n = Below(5); n > 0; --n) {
            section.SetItemValue(Text().c_str(), Text().c_str());
        }
        for (int n = depth > 0 ? Below(4) : 0; n > 0; --n) {
            Fill(section.GetSubSection(Text().c_str()), depth - 1);
        }
    }

    void Change(CProfileSection& section)
    {
        for (CProfileItem* item : section.m_items) {
            if (Below(4) == 0) {
                item->m_strValue = Text();
            }
        }
        if (Below(3) == 0) {
            section.m_items.Delete(Below(4));
        }
        if (Below(6) == 0) {
            section.m_sections.Delete(Below(4));
        }
        if (Below(4) == 0) {
            Fill(section, 1);
        }
        for (CProfileSection* child : section.m_sections) {
            Change(*child);
        }
    }

private:
    std::mt19937 m_random;
};

TEST_F(ProfileRoundTrip, RandomTreesSurviveAndSoDoTheirChanges)
{
    for (unsigned seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(seed);
        CRandomTree random(seed);
        std::filesystem::remove(m_folder / "settings.ini");
        CProfile profile(m_path.c_str());
        for (int n = random.Below(4); n >= 0; --n) {
            random.Fill(profile.GetSection(random.Text().c_str()), 3);
        }
        ASSERT_EQ(profile.Save(), 1);
        ASSERT_EQ(Reread(), profile.GetRoot());
        for (int round = 0; round < 3; ++round) {
            random.Change(const_cast<CProfileSection&>(profile.GetRoot()));
            ASSERT_EQ(profile.Save(), 1);
            ASSERT_EQ(Sorted(Reread()), Sorted(profile.GetRoot())) << Get();
            const std::string first = Get();
            ASSERT_EQ(profile.Load(), 1);
            ASSERT_EQ(profile.Save(), 1);
            ASSERT_EQ(Get(), first);
        }
    }
}

TEST_F(ProfileRoundTrip, EncodingsAreRecognisedAndKeptWhereTheyAreUtf8)
{
    const std::string utf8 = "[S]\nname=\xC3\xA4\xF0\x9F\x93\xB7\n";
    std::string little = "\xFF\xFE";
    std::string big = "\xFE\xFF";
    for (const char16_t c : std::u16string(u"[S]\nname=\u00E4\U0001F4F7\n")) {
        little += {char(c & 0xFF), char(c >> 8)};
        big += {char(c >> 8), char(c & 0xFF)};
    }
    const struct {
        const char* what;
        std::string bytes;
        CArchiveU::eENCODING saveAs;
        std::string saved;
    } rows[] = {
        {"plain", utf8, CArchiveU::ENCODING_DEFAULT, utf8},
        {"with mark", "\xEF\xBB\xBF" + utf8, CArchiveU::ENCODING_DEFAULT, "\xEF\xBB\xBF" + utf8},
        {"UTF-16", little, CArchiveU::ENCODING_DEFAULT, utf8},
        {"big-endian", big, CArchiveU::ENCODING_DEFAULT, utf8},
        {"plain to UTF-16", utf8, CArchiveU::ENCODING_UTF16, little},
        {"plain to marked", utf8, CArchiveU::ENCODING_UTF8_BOM, "\xEF\xBB\xBF" + utf8},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Put(row.bytes);
        CProfile profile(m_path.c_str());
        ASSERT_EQ(profile.Load(), 1);
        EXPECT_EQ(profile.GetFirstBadLine(), 0);
        EXPECT_EQ(CString(profile.GetProfileValue(L"S", L"name", L"")), L"\u00E4\U0001F4F7");
        ASSERT_EQ(profile.Save(nullptr, row.saveAs), 1);
        EXPECT_EQ(Get(), row.saved);
    }
}

TEST_F(ProfileRoundTrip, SectionsPastTheDeepestAFileMayHoldFailTheSaveAndKeepTheFile)
{
    m_profile.GetSection(L"S").SetItemValue(L"x", 1);
    ASSERT_EQ(m_profile.Save(), 1);
    const std::string before = Get();
    CProfileSection* at = &m_profile.GetSection(L"deep");
    for (int depth = 2; depth <= 64; ++depth) {
        at = &at->GetSubSection(L"d");
    }
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(Reread(), m_profile.GetRoot());
    const std::string deepest = Get();
    EXPECT_NE(deepest, before);
    for (int depth = 65; depth <= 500; ++depth) {
        at = &at->GetSubSection(L"d");
    }
    EXPECT_EQ(m_profile.Save(), 0);
    EXPECT_EQ(Get(), deepest);
    EXPECT_EQ(m_log.Count("CProfile::Save"), 1);
}

} // namespace
} // namespace alidade
