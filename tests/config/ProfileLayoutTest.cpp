#include "tests/config/ConfigHarness.h"
#include "tests/support/SortedSection.h"

namespace alidade {
namespace {

class ProfileLayout : public CProfileTest {
protected:
    /// Loads `before`, applies `change`, saves, and gives the file.
    template <class Change>
    std::string After(std::string_view before, Change change)
    {
        Put(before);
        CProfile profile(m_path.c_str());
        EXPECT_EQ(profile.Load(), 1);
        EXPECT_EQ(profile.GetFirstBadLine(), 0);
        change(profile);
        EXPECT_EQ(profile.Save(), 1);
        EXPECT_EQ(Sorted(Reread()), Sorted(profile.GetRoot()));
        return Get();
    }
};

// As a machine builder would leave it: aligned, commented, with odd spaces and a heading twice.
constexpr std::string_view kHandWritten = "; Machine 12, hall B\r\n"
                                          "# set up by Kim\r\n"
                                          "\r\n"
                                          "Version = 3\r\n"
                                          "\r\n"
                                          "\r\n"
                                          "; ---- cameras ----\r\n"
                                          "\r\n"
                                          "; above the stage\r\n"
                                          "[CameraSettings/Cam1]   ; main\r\n"
                                          "   FrameGrabber   =   GenICam   \r\n"
                                          "Exposure       = 1500\r\n"
                                          "  ; in microseconds\r\n"
                                          "Gain=\r\n"
                                          ";Gain=7\r\n"
                                          "\r\n"
                                          "[ Other Program ]\r\n"
                                          "Command=\"run; now\" # all of this\r\n"
                                          "\r\n"
                                          "[CameraSettings/Cam1]\r\n"
                                          "Exposure=1600\r\n"
                                          "[Empty]\r\n"
                                          "\r\n"
                                          "; the end\r\n"
                                          "  ";

TEST_F(ProfileLayout, AHandWrittenFileIsReadAsItsWriterMeansIt)
{
    Put(kHandWritten);
    ASSERT_EQ(m_profile.Load(), 1);
    EXPECT_EQ(m_profile.GetFirstBadLine(), 0);
    EXPECT_STREQ(Value(nullptr, L"Version"), L"3");
    EXPECT_STREQ(Value(L"Other Program", L"Command"), L"\"run; now\" # all of this");
    EXPECT_NE(m_profile.FindSection(L"Empty"), nullptr);
    const CProfileSection camera = *m_profile.FindSection(L"CameraSettings")->FindSubSection(L"Cam1");
    EXPECT_STREQ(camera.GetItemValue(L"FrameGrabber", L""), L"GenICam");
    EXPECT_STREQ(camera.GetItemValue(L"Gain", L"?"), L"");
    EXPECT_EQ(camera.GetItemValue(L"Exposure", 0), 1600) << "the last of two settings of one key counts";
    EXPECT_EQ(camera.m_items.NodeAt(2)->item->m_strComment, L"in microseconds");
    Put("[A]\n; a group\n\n;one\n# two\nx=1\n");
    ASSERT_EQ(m_profile.Load(), 1);
    EXPECT_EQ(m_profile.GetSection(L"A").m_items.First()->m_strComment, L"one\ntwo");
}

TEST_F(ProfileLayout, AChangedValueChangesItsOwnPlaceOnly)
{
    const auto replaced = [](std::string text, std::string_view from, std::string_view to) {
        return text.replace(text.find(from), from.size(), to);
    };
    const std::string text(kHandWritten);
    EXPECT_EQ(After(text, [](CProfile&) {}), text);
    EXPECT_EQ(After(text, [](CProfile& p) { p.SetProfileValue(nullptr, L"Version", L"4"); }),
              replaced(text, "Version = 3", "Version = 4"));
    const auto camera = [](CProfile& p) -> CProfileSection& {
        return p.GetSection(L"CameraSettings").GetSubSection(L"Cam1");
    };
    EXPECT_EQ(After(text, [&](CProfile& p) { camera(p).SetItemValue(L"Exposure", 9); }),
              replaced(text, "Exposure=1600", "Exposure=9"));
    EXPECT_EQ(After(text, [&](CProfile& p) { camera(p).SetItemValue(L"Gain", L"x "); }),
              replaced(text, "\r\nGain=", "\r\nGain=x&#32;"));
    EXPECT_EQ(After(text, [&](CProfile& p) { camera(p).SetItemValue(L"FrameGrabber", L"Replay"); }),
              replaced(text, "GenICam   ", "Replay"));
}

TEST_F(ProfileLayout, SettingsAndSectionsGoIntoAndOutOfTheirPlaces)
{
    const struct {
        const char* what;
        const char* before;
        void (*change)(CProfile&);
        const char* after;
    } rows[] = {
        {"a new key stands behind the last one of its section, in the manner of the file",
         "[A]\nx = 1\n; y = 2\n\n[B]\nz = 3\n", [](CProfile& p) { p.SetProfileValue(L"A", L"n", L"5"); },
         "[A]\nx = 1\nn = 5\n; y = 2\n\n[B]\nz = 3\n"},
        {"a new key in an empty section", "[A]\n\n[B]\nz=3\n",
         [](CProfile& p) { p.SetProfileValue(L"A", L"n", L"5"); }, "[A]\nn=5\n\n[B]\nz=3\n"},
        {"a new key with a comment", "[A]\nx=1",
         [](CProfile& p) { p.SetProfileValue(L"A", L"n", L"5", L"why\n\nso"); },
         "[A]\nx=1\n; why\n;\n; so\nn=5\n"},
        {"a new key before the first section", "; head\n\n[A]\nx=1\n",
         [](CProfile& p) { p.SetProfileValue(nullptr, L"n", L"5"); }, "; head\n\nn=5\n\n[A]\nx=1\n"},
        {"a new key before the first comment of a section", "; about A\n[A]\nx=1\n",
         [](CProfile& p) { p.SetProfileValue(nullptr, L"n", L"5"); }, "n=5\n\n; about A\n[A]\nx=1\n"},
        {"a new sub-section stands with its own", "[A/1]\nx=1\n;y=2\n\n; about B\n[B]\nz=3\n",
         [](CProfile& p) { p.GetSection(L"A").GetSubSection(L"2").SetItemValue(L"x", 4); },
         "[A/1]\nx=1\n;y=2\n\n[A/2]\nx=4\n\n; about B\n[B]\nz=3\n"},
        {"two new sections at the end, with what they hold", "[A]\nx=1\n\n; end",
         [](CProfile& p) {
             p.GetSection(L"N").GetSubSection(L"1");
             p.GetSection(L"M").SetItemValue(L"y", 2);
         },
         "[A]\nx=1\n\n[N/1]\n\n[M]\ny=2\n\n; end"},
        {"a key goes, comments stay", "[A]\n; group\nx=1\ny=2\nx=3\n",
         [](CProfile& p) { p.GetSection(L"A").DeleteItem(L"x"); }, "[A]\n; group\ny=2\n"},
        {"a section goes with the comments in it",
         "[A]\nx=1\n\n; b\n[B]\ny=2\n; in B\n\n; about C\n[C]\nz=3\n",
         [](CProfile& p) { p.DeleteSection(L"B"); }, "[A]\nx=1\n\n; b\n; about C\n[C]\nz=3\n"},
        {"the last section goes, the end of the file stays", "[A]\nx=1\n\n[B]\ny=2\n; in B\n\n; end\n",
         [](CProfile& p) { p.DeleteSection(L"B"); }, "[A]\nx=1\n\n; end\n"},
        {"comments that end the last section go with it", "[A]\nx=1\n\n[B]\n\ny=2\n; in B\n",
         [](CProfile& p) { p.DeleteSection(L"B"); }, "[A]\nx=1\n\n"},
        {"a section goes with its sub-sections", "[A]\nx=1\n[A/1]\nx=1\n[B]\n[A/1/2]\nx=1\n",
         [](CProfile& p) { p.DeleteSection(L"A"); }, "[B]\n"},
        {"a section that is emptied keeps its heading", "[A]\nx=1\n[B]\ny=1\n",
         [](CProfile& p) { p.GetSection(L"A").Init(0); }, "[A]\n[B]\ny=1\n"},
        {"names that are written in another way than ours are the same names", "[ A / &#66; ]\n&#120;=1\n",
         [](CProfile& p) { p.GetSection(L"A").GetSubSection(L"B").SetItemValue(L"x", 2); },
         "[ A / &#66; ]\n&#120;=2\n"},
        {"a comment is replaced where it stands at once before its setting", "[A]\n; group\n\n# old\nx=1\n",
         [](CProfile& p) { p.SetProfileValue(L"A", L"x", L"1", L"new"); }, "[A]\n; group\n\n; new\nx=1\n"},
        {"and put between where it stands apart", "[A]\n; group\n\nx=1\n",
         [](CProfile& p) { p.SetProfileValue(L"A", L"x", L"1", L"new"); }, "[A]\n; group\n\n; new\nx=1\n"},
        {"but the head of the file is nobody's", "; head\nx=1\n",
         [](CProfile& p) { p.SetProfileValue(nullptr, L"x", L"1", L"new"); }, "; head\n; new\nx=1\n"},
        {"a section assigned from elsewhere leaves comments and order", "[A]\n; why\nx=1\ny=2\n",
         [](CProfile& p) {
             CProfileSection other(L"A");
             other.SetItemValue(L"y", 2);
             other.SetItemValue(L"x", 7);
             p.GetSection(L"A") = other;
         },
         "[A]\n; why\nx=7\ny=2\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(After(row.before, row.change), row.after);
    }
}

TEST_F(ProfileLayout, ACommentThatWasWrittenIsNotWrittenAgain)
{
    for (const char* before : {"; head\nx=1\n", "x=1\n", " ; c\nx=1\n", "[A]\n; y\n\nx=1\n"}) {
        SCOPED_TRACE(before);
        const auto change = [](CProfile& p) {
            (p.FindSection(L"A") != nullptr ? p.GetSection(L"A") : const_cast<CProfileSection&>(p.GetRoot()))
                .SetItemValue(L"x", L"1", L" two \n lines");
        };
        const std::string once = After(before, change);
        EXPECT_EQ(After(once, change), once);
        EXPECT_NE(once, before);
    }
}

TEST_F(ProfileLayout, AFileThatIsNewBeginsWithItsComment)
{
    CProfile profile(m_path.c_str(), CArchiveU::ENCODING_DEFAULT, L"Alidade settings\n\u00E4");
    EXPECT_EQ(profile.Load(), 0);
    profile.SetProfileValue(L"S", L"x", L"1");
    ASSERT_EQ(profile.Save(), 1);
    EXPECT_EQ(Get(), "; Alidade settings\n; \xC3\xA4\n\n[S]\nx=1\n");
}

TEST_F(ProfileLayout, AnUnchangedProfileLeavesTheFileUntouched)
{
    Put(kHandWritten);
    ASSERT_EQ(m_profile.Load(), 1);
    const std::filesystem::path file = m_folder / "settings.ini";
    const auto old = std::filesystem::last_write_time(file) - std::chrono::hours(1);
    std::filesystem::last_write_time(file, old);
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(std::filesystem::last_write_time(file), old);
    std::filesystem::remove(file);
    ASSERT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(Get(), kHandWritten);
}

TEST_F(ProfileLayout, SavingElsewhereLeavesTheLoadedFileAloneAndMakesFolders)
{
    Put("; mine\nx=1\n");
    ASSERT_EQ(m_profile.Load(), 1);
    m_profile.SetProfileValue(nullptr, L"x", L"2");
    ASSERT_EQ(m_profile.Save(FromPath(m_folder / "new" / "folder" / "copy.ini").c_str()), 1);
    EXPECT_EQ(Get(), "; mine\nx=1\n");
    EXPECT_EQ(m_folder.Read("new/folder/copy.ini"), "; mine\nx=2\n");
    EXPECT_EQ(m_profile.GetPath(), m_path);
}

} // namespace
} // namespace alidade
