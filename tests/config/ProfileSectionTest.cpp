#include "foundation/utility/Strings.h"
#include "tests/config/ConfigHarness.h"

#include <clocale>
#include <cmath>
#include <limits>
#include <thread>

namespace alidade {
namespace {

TEST(ProfileSection, CopiesAreDeepAndReferencesStay)
{
    CProfileSection section(L"S");
    CProfileSection& inner = section.GetSubSection(L"inner");
    inner.SetItemValue(L"x", 1);
    for (int i = 0; i < 100; ++i) {
        section.GetSubSection(DtoA(i).c_str());
    }
    EXPECT_EQ(&section.GetSubSection(L"inner"), &inner);
    CProfileSection copy(section);
    copy.GetSubSection(L"inner").SetItemValue(L"x", 2);
    EXPECT_EQ(inner.GetItemValue(L"x", 0), 1);
    EXPECT_FALSE(copy == section);
    copy = section;
    EXPECT_EQ(copy, section);
    copy = copy;
    EXPECT_EQ(copy, section);
    copy = copy.GetSubSection(L"inner"); // from inside itself
    EXPECT_EQ(copy, inner);
    const CProfileSection moved(std::move(copy));
    EXPECT_EQ(moved, inner);
    EXPECT_EQ(section.DeleteSubSection(L"inner"), 1);
    EXPECT_EQ(section.DeleteSubSection(L"inner"), 0);
    section.Init(0);
    EXPECT_EQ(section, CProfileSection(L"S"));
    section.Init(1);
    EXPECT_EQ(section, CProfileSection(nullptr));
}

TEST(ProfileSection, AnItemMaySetItselfAndIsFoundByItsExactKey)
{
    CProfileSection section;
    section.SetItemValue(L"Key", L"text", L"why");
    section.SetItemValue(L"Key", section.GetItemValue(L"Key", L""));
    EXPECT_STREQ(section.GetItemValue(L"Key", L""), L"text");
    EXPECT_EQ(section.m_items.Last()->m_strComment, L"why");
    const wchar_t* missing = L"default";
    EXPECT_EQ(section.GetItemValue(L"key", missing), missing);
    EXPECT_EQ(section.GetItemValue(nullptr, static_cast<const wchar_t*>(nullptr)), nullptr);
    EXPECT_EQ(section.DeleteItem(L"key"), 0);
    EXPECT_EQ(section.DeleteItem(L"Key"), 1);
    EXPECT_FALSE(section.HasItem(L"Key"));
}

constexpr int kDefault = -77;

TEST(ProfileSection, NumbersAreReadWholeOrNotAtAll)
{
    const struct {
        const wchar_t* text;
        int asInt;
        double asDouble;
        int asBoolean;
    } rows[] = {
        {L"42", 42, 42, 1},
        {L" \t-5 ", -5, -5, 1},
        {L"+7", 7, 7, 1},
        {L"0", 0, 0, 0},
        {L"-0", 0, 0, 0},
        {L"0x1F", 31, kDefault, 1},
        {L"-0X10", -16, kDefault, 1},
        {L"0x0", 0, kDefault, 0},
        {L"010", 10, 10, 1},
        {L"2147483647", 2147483647, 2147483647, 1},
        {L"-2147483648", -2147483647 - 1, -2147483648.0, 1},
        {L"2147483648", kDefault, 2147483648.0, 1},
        {L"99999999999999999999", kDefault, 1e20, 1},
        {L"0xFFFFFFFF", kDefault, kDefault, 1},
        {L"1.5", kDefault, 1.5, 1},
        {L"-.5e1", kDefault, -5, 1},
        {L"0.0", kDefault, 0, 0},
        {L"1e400", kDefault, kDefault, kDefault},
        {L"1,5", kDefault, kDefault, kDefault},
        {L"1 000", kDefault, kDefault, kDefault},
        {L"5mm", kDefault, kDefault, kDefault},
        {L"--5", kDefault, kDefault, kDefault},
        {L"+-5", kDefault, kDefault, kDefault},
        {L"0x", kDefault, kDefault, kDefault},
        {L"0x-5", kDefault, kDefault, kDefault},
        {L"inf", kDefault, kDefault, kDefault},
        {L"nan", kDefault, kDefault, kDefault},
        {L"", kDefault, kDefault, kDefault},
        {L"\uFF11", kDefault, kDefault, kDefault},
        {L"yes", kDefault, kDefault, 1},
        {L" TRUE ", kDefault, kDefault, 1},
        {L"On", kDefault, kDefault, 1},
        {L"False", kDefault, kDefault, 0},
        {L"no", kDefault, kDefault, 0},
        {L"off", kDefault, kDefault, 0},
        {L"maybe", kDefault, kDefault, kDefault},
    };
    const char* old = std::setlocale(LC_ALL, nullptr);
    const std::string kept = old != nullptr ? old : "C";
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // where it is there, its comma must not matter
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(ToNarrow(row.text)));
        CProfileSection section;
        section.SetItemValue(L"x", row.text);
        EXPECT_EQ(section.GetItemValue(L"x", kDefault), row.asInt);
        EXPECT_EQ(section.GetItemValue(L"x", double(kDefault)), row.asDouble);
        EXPECT_EQ(section.GetItemValueBoolean(L"x", kDefault), row.asBoolean);
        int number = kDefault;
        section.SyncItemValue(0, L"x", number);
        EXPECT_EQ(number, row.asInt);
    }
    std::setlocale(LC_ALL, kept.c_str());
}

TEST(ProfileSection, NumbersSurviveWritingExactly)
{
    CProfileSection section;
    for (const double value :
         {0.1, -1.0 / 3, 1e-310, 5e-324, 1.7976931348623157e308, 123456789.0, -0.0, 100.0}) {
        section.SetItemValue(L"d", value);
        EXPECT_EQ(section.GetItemValue(L"d", 5.5), value) << ToNarrow(section.GetItemValue(L"d", L""));
        EXPECT_EQ(std::signbit(section.GetItemValue(L"d", 5.5)), std::signbit(value));
    }
    section.SetItemValue(L"d", 0.1);
    EXPECT_STREQ(section.GetItemValue(L"d", L""), L"0.1");
    section.SetItemValueBoolean(L"b", 5);
    EXPECT_STREQ(section.GetItemValue(L"b", L""), L"True");
    EXPECT_EQ(section.GetItemValueBoolean(L"b", 0), 1);
}

TEST(ProfileSection, SyncWritesByAFormatAndReadsBack)
{
    CProfileSection section;
    CString text = L"a b";
    double number = 2.0 / 3;
    int whole = -3;
    unsigned colour = 0xFFFFFFFF;
    section.SyncItemValue(1, L"text", text);
    section.SyncItemValue(1, L"number", number, L"%.3f");
    section.SyncItemValue(1, L"whole", whole, L"%05d");
    section.SyncItemValue(1, L"colour", colour, L"0x%08X");
    EXPECT_STREQ(section.GetItemValue(L"number", L""), L"0.667");
    EXPECT_STREQ(section.GetItemValue(L"whole", L""), L"-0003");
    EXPECT_STREQ(section.GetItemValue(L"colour", L""), L"0xFFFFFFFF");
    colour = 0;
    section.SyncItemValue(0, L"colour", colour);
    EXPECT_EQ(colour, 0xFFFFFFFFu);
    section.SyncItemValue(1, L"colour", colour);
    EXPECT_STREQ(section.GetItemValue(L"colour", L""), L"4294967295");
    section.SetItemValue(L"colour", -1);
    colour = 5;
    section.SyncItemValue(0, L"colour", colour);
    EXPECT_EQ(colour, 5u) << "a negative number is no unsigned one";
    section.SyncItemValue(0, L"missing", text);
    section.SyncItemValue(0, L"text", number);
    EXPECT_EQ(text, L"a b");
    EXPECT_EQ(number, 2.0 / 3);
}

TEST(ProfileSection, NarrowTextIsCutBetweenCharacters)
{
    CProfileSection section;
    section.SetItemValue(L"x", L"a\u00E4\U0001F4F7");
    const struct {
        int size;
        const char* text;
    } rows[] = {
        {8, "a\xC3\xA4\xF0\x9F\x93\xB7"}, {7, "a\xC3\xA4"}, {4, "a\xC3\xA4"}, {3, "a"}, {2, "a"}, {1, ""}};
    for (const auto& row : rows) {
        char buffer[16];
        std::fill(std::begin(buffer), std::end(buffer), '?');
        EXPECT_EQ(section.GetItemValueString(L"x", buffer, row.size, "-"), int(std::string(row.text).size()));
        EXPECT_STREQ(buffer, row.text);
        EXPECT_EQ(buffer[row.size], '?');
    }
    char buffer[4];
    EXPECT_EQ(section.GetItemValueString(L"y", buffer, 4, "default"), 3);
    EXPECT_STREQ(buffer, "def");
    EXPECT_EQ(section.GetItemValueString(L"x", nullptr, 4, ""), 0);
    EXPECT_EQ(section.GetItemValueString(L"x", buffer, 0, ""), 0);
}

class ProfileDiagnostics : public ::testing::Test {
protected:
    ProfileDiagnostics() { CProfileSection::SetDiagnosticLog(&m_log); }
    ~ProfileDiagnostics() override { CProfileSection::SetDiagnosticLog(nullptr); }

    CLogLines m_log;
};

TEST_F(ProfileDiagnostics, AValueThatIsNoNumberIsReportedOnceForEachText)
{
    CProfileSection section(L"Cam1");
    section.SetItemValue(L"Width", L"wide\nfake line");
    for (int i = 0; i < 3; ++i) {
        section.GetItemValue(L"Width", 5);
    }
    EXPECT_EQ(m_log.Lines(),
              std::vector<CStringA>{"CProfileSection : [Cam1] Width = \"wide\nfake line\" is not an "
                                    "integer in range; the default is taken"});
    section.SetItemValue(L"Width", L"1e3");
    section.GetItemValue(L"Width", 5);
    section.GetItemValue(L"Width", 5.0);
    section.GetItemValue(L"Missing", 5);
    CProfileSection other(L"Cam2");
    other.SetItemValue(L"Width", L"1e3");
    double number = 0;
    int whole = 0;
    other.SyncItemValue(0, L"Width", number);
    other.SyncItemValue(0, L"Width", whole);
    EXPECT_EQ(m_log.Count("Cam1"), 2);
    EXPECT_EQ(m_log.Count("Cam2"), 1);
}

TEST_F(ProfileDiagnostics, ReportsOfManyThreadsAndManyTextsAreBounded)
{
    CProfileSection section(L"S");
    for (int i = 0; i < 3000; ++i) {
        section.SetItemValue(DtoA(i).c_str(), L"no number");
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&section, this] {
            for (const CProfileItem* item : section.m_items) {
                section.GetItemValue(item->m_strKey.c_str(), 1.0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(m_log.Count("no number"), 1000);
    EXPECT_EQ(m_log.Lines().size(), 1001u) << "and one that says that there are more";
}

} // namespace
} // namespace alidade
