#include "tests/config/ConfigHarness.h"

#include <random>

namespace alidade {
namespace {

class ProfileDamage : public CProfileTest {};

TEST_F(ProfileDamage, BadLinesAreLeftOutAndTheFirstIsReported)
{
    const struct {
        const char* what;
        std::string bytes;
        int firstBadLine;
        int badLines;
        std::string readBack; // what a save makes of it
    } rows[] = {
        {"no key, no sign", "[A]\nx=1\nrubbish\n=5\ny=2\n", 3, 2, "[A]\nx=1\ny=2\n"},
        {"not UTF-8", "[A]\nx=1\n; \xE4\ny=\xFF\xFE\nz=\xC3\xA4\n", 3, 2, "[A]\nx=1\nz=\xC3\xA4\n"},
        {"overlong and surrogate forms", "x=\xC0\xAF\ny=\xED\xA0\x80\nz=1\n", 1, 2, "z=1\n"},
        {"nulls", std::string("x=1\0\ny=2\n\0\0\0", 12), 1, 2, "y=2\n"},
        {"a heading that cannot be read takes its settings along", "[A]\nx=1\n[B\nx=2\n; note\n[C]\nx=3\n", 3,
         2, "[A]\nx=1\n; note\n[C]\nx=3\n"},
        {"headings of bad bytes", "[A]\nx=1\n[\xFF]\nx=2\n", 3, 2, "[A]\nx=1\n"},
        {"headings nested too deep", "[A]\nx=1\n[a" + std::string(64, '/') + "]\nx=2\n", 3, 2, "[A]\nx=1\n"},
        {"a cut last line", "[A]\nx=1\r\nkey", 3, 1, "[A]\nx=1\r\n"},
        {"line ends of all kinds are counted", "[A]\rx=1\r\n\nbad\n", 4, 1, "[A]\rx=1\r\n\n"},
        {"UTF-16 with a lone surrogate and half a character",
         std::string("\xFF\xFE"
                     "a\0=\0\x00\xD8\n\0b\0=\0"
                     "1\0\n\0c\0=\0x",
                     23),
         1, 2, "b=1\n"},
        {"marks inside a file, the first of which comes to its beginning",
         "bad\n\xEF\xBB\xBFx=1\n\xEF\xBB\xBF\xEF\xBB\xBFx=2\n\xEF\xBB\xBF[A]\ny=1\n", 1, 1,
         "x=1\nx=2\n[A]\ny=1\n"},
        {"UTF-16 without its mark",
         std::string("a\0=\0"
                     "1\0\n\0",
                     8),
         1, 2, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Put(row.bytes);
        CLogLines log;
        CProfile profile(m_path.c_str());
        profile.SetLog(&log);
        EXPECT_EQ(profile.Load(), 1);
        EXPECT_EQ(profile.GetFirstBadLine(), row.firstBadLine);
        EXPECT_EQ(log.Lines(),
                  std::vector{"CProfile::Load : line " + std::to_string(row.firstBadLine) + " of " +
                              ToNarrow(m_path) + " cannot be read; " + std::to_string(row.badLines) +
                              (row.badLines == 1 ? " line is" : " lines are") + " left out"});
        EXPECT_EQ(profile.Save(), 1);
        EXPECT_EQ(Get(), row.readBack);
        EXPECT_EQ(m_folder.Read("settings.ini.bad"), row.bytes);
        std::filesystem::remove(m_folder / "settings.ini.bad");
    }
}

TEST_F(ProfileDamage, EachDamagedFileIsKeptAsideOnceAndNoEarlierCopyIsWrittenOver)
{
    for (const char* bytes : {"first\n", "second\n", "third\n"}) {
        Put(bytes);
        ASSERT_EQ(m_profile.Load(), 1);
        ASSERT_EQ(m_profile.Save(), 1);
        m_profile.SetProfileValue(L"S", L"x", ToWide(bytes).c_str());
        ASSERT_EQ(m_profile.Save(), 1);
    }
    EXPECT_EQ(Files(), (std::vector<std::string>{"settings.ini", "settings.ini.bad", "settings.ini.bad2",
                                                 "settings.ini.bad3"}));
    EXPECT_EQ(m_folder.Read("settings.ini.bad"), "first\n");
    EXPECT_EQ(m_folder.Read("settings.ini.bad3"), "third\n");
    EXPECT_EQ(m_log.Count("is kept as"), 3);
}

TEST_F(ProfileDamage, ADamagedFileIsNotKeptAsideByASaveElsewhere)
{
    Put("bad\n[S]\nx=1\n");
    ASSERT_EQ(m_profile.Load(), 1);
    m_folder.Write("other.ini", "old");
    ASSERT_EQ(m_profile.Save(FromPath(m_folder / "other.ini").c_str()), 1);
    EXPECT_EQ(Files(), (std::vector<std::string>{"other.ini", "settings.ini"}));
    EXPECT_EQ(Get(), "bad\n[S]\nx=1\n");
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(m_folder.Read("settings.ini.bad"), "bad\n[S]\nx=1\n");
}

TEST_F(ProfileDamage, AFileThatCannotBeReadLeavesTheContent)
{
    m_profile.SetProfileValue(L"S", L"x", L"1");
    EXPECT_EQ(m_profile.Load(), 0);
    EXPECT_TRUE(m_log.Lines().empty()) << "a first start without a file is no fault";
    EXPECT_EQ(m_profile.Load(FromPath(m_folder.Path()).c_str()), 0);
    EXPECT_EQ(m_log.Count("CProfile::Load"), 1);
    EXPECT_EQ(m_profile.Load(L""), 0);
    EXPECT_STREQ(Value(L"S", L"x"), L"1");
    EXPECT_EQ(CProfile().Save(), 0);
    EXPECT_EQ(m_profile.Save(L""), 0);
    EXPECT_EQ(m_log.Count("no file is named"), 1);
}

TEST_F(ProfileDamage, AFileCutAnywhereGivesTheLinesBeforeTheCut)
{
    std::string whole =
        "; head\n\n[A]\nx=12\n; \xC3\xA4\nname = \xC3\xA4 b\n\n[A/B]\nx=1&#10;2\n[C]\r\ny=1\r\n";
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        const std::string part = whole.substr(0, cut);
        const std::string lines = part.substr(0, part.find_last_of('\n') + 1);
        Put(part);
        CProfile profile(m_path.c_str());
        ASSERT_EQ(profile.Load(), 1);
        Put(lines);
        CProfile complete(m_path.c_str());
        ASSERT_EQ(complete.Load(), 1);
        EXPECT_EQ(complete.GetFirstBadLine(), 0);
        // The cut line may have been read as well; nothing else may differ.
        const auto isIn = [](const CProfileSection& section, const CProfileSection& other,
                             const auto& self) -> bool {
            for (const CProfileItem* item : section.m_items) {
                if (item->m_strValue != other.GetItemValue(item->m_strKey.c_str(), L"(none)")) {
                    return false;
                }
            }
            for (const CProfileSection* child : section.m_sections) {
                const CProfileSection* found = other.FindSubSection(child->GetName());
                if (found == nullptr || !self(*child, *found, self)) {
                    return false;
                }
            }
            return true;
        };
        EXPECT_TRUE(isIn(complete.GetRoot(), profile.GetRoot(), isIn));
    }
}

TEST_F(ProfileDamage, NoiseOfFiftyMegabytesIsReadThroughAndKeptAside)
{
    std::mt19937_64 random(7);
    std::string noise(50u << 20, '\0');
    for (std::size_t i = 0; i + 8 <= noise.size(); i += 8) {
        const std::uint64_t bits = random();
        for (std::size_t k = 0; k < 8; ++k) {
            noise[i + k] = static_cast<char>(bits >> (8 * k));
        }
    }
    const std::string bytes = "[S]\nx=1\n" + noise + "\n[T]\ny=2\n";
    Put(bytes);
    ASSERT_EQ(m_profile.Load(), 1);
    EXPECT_STREQ(Value(L"S", L"x"), L"1");
    EXPECT_STREQ(Value(L"T", L"y"), L"2");
    EXPECT_EQ(m_profile.GetFirstBadLine(), 3);
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_TRUE(m_folder.Read("settings.ini.bad") == bytes);
}

TEST_F(ProfileDamage, SettingsBeyondTheMostThatAFileMayHoldCountAsDamage)
{
    std::string bytes = "[S]\n";
    for (int i = 0; i < 250100; ++i) {
        bytes.append("k").append(std::to_string(i)).append("=\n");
    }
    bytes += "[a/b/c]\nx=1\n";
    Put(bytes);
    ASSERT_EQ(m_profile.Load(), 1);
    EXPECT_EQ(m_profile.FindSection(L"S")->m_items.Count(), 249999);
    EXPECT_EQ(m_profile.GetFirstBadLine(), 250001);
    EXPECT_EQ(m_profile.FindSection(L"a"), nullptr);
}

} // namespace
} // namespace alidade
