// A block as its writer and its readers see it.
#include "foundation/bus/data/BlockName.h"
#include "tests/bus/data/OwnInstance.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace alidade {
namespace {

constexpr const char* kBlock = "Machine 1/left";

class CSharedData : public ::testing::Test {
protected:
    void Create()
    {
        const std::vector<T_IP_DATA_ITEM> items = {{"AxisParameter.iCurrentLens", IPDATA_INT, 0},
                                                   {"MotorPosition.dMachine[0]", IPDATA_DOUBLE, 0},
                                                   {"Recipe.strName", IPDATA_STRING, 10}};
        ASSERT_EQ(m_writer.Create(kBlock, items, m_text), 1) << ::testing::PrintToString(m_text);
        ASSERT_EQ(m_data.Open(kBlock, m_text), 1) << ::testing::PrintToString(m_text);
        m_int = m_data.GetDataItem("AxisParameter.iCurrentLens");
        m_double = m_data.GetDataItem("MotorPosition.dMachine[0]");
        m_string = m_data.GetDataItem("Recipe.strName");
    }

    COwnInstance m_instance;
    CIPDataWriter m_writer{L"Tavro"};
    CIPData m_data{L"Tavro"};
    CIPDataItemIterator m_int, m_double, m_string;
    CString m_text;
};

TEST_F(CSharedData, StartsZeroedAndListsItsItems)
{
    Create();
    EXPECT_EQ(m_int.GetInt(), 0);
    EXPECT_EQ(m_double.GetDouble(), 0.0);
    EXPECT_EQ(m_string.GetString(), "");
    const auto items = m_data.ListItems();
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[2].path, "Recipe.strName");
    EXPECT_EQ(items[2].type, IPDATA_STRING);
    EXPECT_EQ(items[2].capacity, 10u);
    EXPECT_EQ(m_writer.FindItem("MotorPosition.dMachine[0]"), 1);
    EXPECT_EQ(m_writer.FindItem("MotorPosition.dMachine"), -1);
    EXPECT_THROW(m_data.GetDataItem("motorposition.dMachine[0]"), CIPException);
    EXPECT_TRUE(m_data == m_data.MakeMapName(kBlock));
    EXPECT_FALSE(m_data == m_data.MakeMapName("Machine 1.left"));
}

TEST_F(CSharedData, ConvertsBetweenNumbersAndTexts)
{
    Create();
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr int kLeast = std::numeric_limits<int>::min();
    const struct {
        double value;
        int asInt;
        const char* asText;
    } kNumbers[] = {
        {0.1, 0, "0.1"}, {-2.9, -2, "-2.9"},      {1e300, kMost, "1e+300"}, {-INFINITY, kLeast, "-inf"},
        {NAN, 0, "nan"}, {12345, 12345, "12345"}, {-0.0, 0, "-0"},          {kLeast, kLeast, "-2147483648"},
    };
    for (const auto& row : kNumbers) {
        EXPECT_EQ(m_writer.SetDouble(1, row.value), 1);
        EXPECT_EQ(m_double.GetInt(), row.asInt);
        EXPECT_EQ(m_double.GetString(), row.asText);
        EXPECT_EQ(m_writer.SetDouble(0, row.value), 1);
        EXPECT_EQ(m_int.GetInt(), row.asInt);
        EXPECT_EQ(m_int.GetDouble(), row.asInt);
        // The text has room for 10 bytes: a number is never cut.
        m_writer.SetString(2, "before");
        EXPECT_EQ(m_writer.SetDouble(2, row.value), std::strlen(row.asText) <= 10 ? 1 : 0);
        EXPECT_EQ(m_string.GetString(), std::strlen(row.asText) <= 10 ? row.asText : "before");
    }

    const struct {
        const char* text;
        bool isNumber;
        double value;
    } kTexts[] = {{" 2.5 ", true, 2.5}, {"+3", true, 3},   {"1e3", true, 1000}, {"", false, 0},
                  {"2.5mm", false, 0},  {"+-1", false, 0}, {"0x10", false, 0}};
    for (const auto& row : kTexts) {
        SCOPED_TRACE(row.text);
        m_writer.SetDouble(1, 7.0);
        EXPECT_EQ(m_writer.SetString(1, row.text), row.isNumber ? 1 : 0);
        EXPECT_EQ(m_double.GetDouble(), row.isNumber ? row.value : 7.0);
        EXPECT_EQ(m_writer.SetString(2, row.text), 1);
        if (row.isNumber) {
            EXPECT_EQ(m_string.GetDouble(), row.value);
        } else {
            EXPECT_THROW(m_string.GetDouble(), CIPException);
            EXPECT_THROW(m_string.GetInt(), CIPException);
        }
    }
}

TEST_F(CSharedData, CutsTextsBetweenCharacters)
{
    Create();
    const struct {
        const char* text;
        const char* kept;
    } kRows[] = {
        {"0123456789", "0123456789"},
        {"0123456789a", "0123456789"},
        {"01234567\xE2\x82\xAC", "01234567"}, // a euro sign takes three bytes
        {"0123456\xE2\x82\xAC!", "0123456\xE2\x82\xAC"},
        {"short", "short"}, // nothing of the longer one before it
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(m_writer.SetString(2, row.text), 1);
        EXPECT_EQ(m_string.GetString(), row.kept);
    }
    EXPECT_EQ(m_writer.SetString(2, "\xFF"), 0);
    EXPECT_EQ(m_string.GetString(), "short");
    EXPECT_EQ(m_writer.SetString(2, nullptr), 1);
    EXPECT_EQ(m_string.GetString(), "");
}

TEST_F(CSharedData, ShowsNothingOfAWriteBeforeItsOutermostCommit)
{
    Create();
    m_writer.SetInt(0, 1);
    m_writer.Begin();
    m_writer.SetInt(0, 2);
    m_writer.Begin();
    m_writer.SetDouble(1, 2.0);
    m_writer.Commit();
    EXPECT_EQ(m_int.GetInt(), 1);
    EXPECT_EQ(m_double.GetDouble(), 0.0);
    EXPECT_EQ(m_data.GetWriteCount(), 1u);
    m_writer.Commit();
    EXPECT_EQ(m_int.GetInt(), 2);
    EXPECT_EQ(m_double.GetDouble(), 2.0);
    EXPECT_EQ(m_data.GetWriteCount(), 2u);
    m_writer.Commit(); // one too many
    m_writer.SetInt(0, 3);
    EXPECT_EQ(m_int.GetInt(), 3);
}

// Each write goes into another copy of the values, which must catch up with all writes since its last turn.
TEST_F(CSharedData, KeepsEveryValueThroughManyWritesOfOthers)
{
    ASSERT_EQ(m_writer.Create("many", MakeNumbers(50), m_text), 1);
    ASSERT_EQ(m_data.Open("many", m_text), 1);
    std::vector<CIPDataItemIterator> items;
    for (const T_IP_DATA_ITEM& item : m_data.ListItems()) {
        items.push_back(m_data.GetDataItem(item.path.c_str()));
    }
    std::vector<double> expected(50, 0.0);
    std::vector<double> values(50);
    unsigned random = 1;
    for (int write = 1; write <= 2000; ++write) {
        m_writer.Begin();
        random = random * 1664525 + 1013904223;
        for (unsigned n = 0; n <= (random >> 16) % 4; ++n) {
            const unsigned item = (random >> (8 + 4 * n)) % 50;
            m_writer.SetDouble(static_cast<int>(item), write);
            expected[item] = write;
        }
        m_writer.Commit();
        ASSERT_EQ(CIPData::ReadTogether(items, values), static_cast<std::uint64_t>(write));
        ASSERT_EQ(values, expected) << "after write " << write;
    }
}

TEST_F(CSharedData, RefusesItemsThatMakeNoBlock)
{
    const struct {
        const char* why;
        std::vector<T_IP_DATA_ITEM> items;
        const wchar_t* says;
    } kRows[] = {
        {"none", {}, L"1 to 65536 items"},
        {"no path", {{"", IPDATA_INT, 0}}, L"no path"},
        {"path twice", {{"a", IPDATA_INT, 0}, {"a", IPDATA_DOUBLE, 0}}, L"two items with the path a"},
        {"path not UTF-8", {{"a\xFF", IPDATA_INT, 0}}, L"not UTF-8"},
        {"path with a zero", {{CStringA("a\0b", 3), IPDATA_INT, 0}}, L"not UTF-8"},
        {"unknown type", {{"a", static_cast<eIP_DATA_TYPE>(9), 0}}, L"unknown type 9"},
        {"text without room", {{"a", IPDATA_STRING, 0}}, L"room for 0 bytes"},
        {"text of 4 GB", {{"a", IPDATA_STRING, 0xFFFFFFFF}}, L"room for 4294967295 bytes"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(m_writer.Create(kBlock, row.items, m_text), 0);
        EXPECT_NE(m_text.find(row.says), m_text.npos) << ::testing::PrintToString(m_text);
    }
    EXPECT_EQ(m_writer.Create("", MakeNumbers(1), m_text), 0);
    EXPECT_EQ(m_writer.Create(kBlock, MakeNumbers(65537), m_text), 0);
    std::vector<T_IP_DATA_ITEM> large;
    for (const char* path :
         {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m", "n", "o", "p", "q",
          "r", "s", "t", "u", "v", "w", "x", "y", "z", "0", "1", "2", "3", "4", "5", "6"}) {
        large.push_back({path, IPDATA_STRING, 1 << 20});
    }
    EXPECT_EQ(m_writer.Create(kBlock, large, m_text), 0);
    EXPECT_EQ(m_data.Open(kBlock, m_text), 0);
    EXPECT_NE(m_text.find(L"There is no shared block"), m_text.npos);
    EXPECT_EQ(m_writer.SetInt(0, 1), 0);
    EXPECT_EQ(m_writer.FindItem("v[0]"), -1);
}

TEST_F(CSharedData, RaisesForWhatIsNotThere)
{
    EXPECT_THROW(m_data.GetDataItem("a"), CIPException);
    EXPECT_THROW(m_int.GetDouble(), CIPException);
    Create();
    CIPDataWriter other(L"Tavro");
    CIPData otherData(L"Tavro");
    ASSERT_EQ(other.Create("other", MakeNumbers(1), m_text), 1);
    ASSERT_EQ(otherData.Open("other", m_text), 1);
    std::vector<double> values(2);
    const CIPDataItemIterator ofOther = otherData.GetDataItem("v[0]");
    EXPECT_THROW(CIPData::ReadTogether(std::vector{m_int, ofOther}, values), CIPException);
    EXPECT_THROW(CIPData::ReadTogether(std::vector{m_int, m_string}, values), CIPException);
    EXPECT_THROW(CIPData::ReadTogether(std::vector{m_int, CIPDataItemIterator()}, values), CIPException);
    EXPECT_THROW(CIPData::ReadTogether(std::vector{m_int, m_int, m_int}, values), CIPException);
    EXPECT_EQ(m_writer.SetInt(3, 1), 0);
    EXPECT_EQ(m_writer.SetInt(-1, 1), 0);
    m_int.Clear();
    EXPECT_FALSE(m_int.IsUsable());
    EXPECT_THROW(m_int.GetInt(), CIPException);
}

TEST_F(CSharedData, IsSeparateByInstance)
{
    Create();
    const CStringA mapName = m_data.MakeMapName(kBlock);
    {
        COwnInstance another;
        EXPECT_EQ(m_data.Open(kBlock, m_text), 0);
        CIPDataWriter writer(L"Tavro");
        EXPECT_EQ(writer.Create(kBlock, MakeNumbers(1), m_text), 1);
    }
    EXPECT_NE(mapName, m_data.MakeMapName(kBlock));
}

TEST(SharedDataNames, DifferInTheMapWhereverTheyDiffer)
{
    const CStringA names[] = {
        MakeBlockMapName("", L"a", "b"),
        MakeBlockMapName("a", L"", "b"),
        MakeBlockMapName("", L"a", "B"),
        MakeBlockMapName("", L"a-b", ""),
        MakeBlockMapName("", L"a", "../b"),
        MakeBlockMapName("", L"a", "..%2Fb"),
        MakeBlockMapName("", L"a", std::string(300, 'x')),
        MakeBlockMapName("", L"a", std::string(301, 'x')),
        MakeBlockMapName("", L"a", std::string(47, 'x') + "~"),
        MakeBlockMapName("", L"a", "\xE2\x82\xAC"),
    };
    for (const CStringA& name : names) {
        EXPECT_EQ(
            name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-%~"),
            name.npos)
            << name;
        EXPECT_LT(name.size(), 255u);
        EXPECT_EQ(std::count(std::begin(names), std::end(names), name), 1) << name;
    }
}

} // namespace
} // namespace alidade
