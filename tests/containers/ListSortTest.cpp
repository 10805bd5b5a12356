#include "foundation/containers/List.h"

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

/// Sorts a list of these values; checks the order, that nothing got lost, and the chain.
void CheckSort(std::vector<int> values, const char* what)
{
    SCOPED_TRACE(std::string(what) + " " + std::to_string(values.size()));
    TList<int> list;
    std::vector<const int*> items;
    for (const int value : values) {
        list.Insert(new int(value));
        items.push_back(list.Current());
    }
    list.NodeAt(static_cast<int>(values.size()) / 2);
    list.Sort();
    EXPECT_EQ(list.GetCursor(), 0);
    EXPECT_EQ(list.Current(), values.empty() ? nullptr : list.First());

    std::vector<const int*> sorted(list.begin(), list.end());
    std::vector<int> sortedValues;
    std::transform(sorted.begin(), sorted.end(), std::back_inserter(sortedValues),
                   [](const int* v) { return *v; });
    std::sort(values.begin(), values.end());
    EXPECT_TRUE(sortedValues == values);
    std::sort(items.begin(), items.end());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_TRUE(sorted == items); // each pointer once
}

std::vector<int> Make(std::size_t count, const std::function<int(int)>& value)
{
    std::vector<int> values(count);
    std::iota(values.begin(), values.end(), 0);
    std::transform(values.begin(), values.end(), values.begin(), value);
    return values;
}

void CheckPatterns(std::size_t count)
{
    std::mt19937 random(static_cast<unsigned>(count));
    const int n = static_cast<int>(count);
    CheckSort(Make(count, [&](int) { return static_cast<int>(random()); }), "random");
    CheckSort(Make(count, [&](int) { return static_cast<int>(random() % 5); }), "few values");
    CheckSort(Make(count, [](int i) { return i; }), "sorted");
    CheckSort(Make(count, [n](int i) { return n - i; }), "reversed");
    CheckSort(Make(count, [n](int i) { return std::min(i, n - i); }), "organ pipes");
    CheckSort(Make(count, [](int) { return 3; }), "all equal");
}

/// An opponent who decides the order while it is asked, so that every partition is as bad as can be:
/// M. D. McIlroy, "A Killer Adversary for Quicksort", 1999.
struct T_GAS {
    static constexpr int kGas = 1 << 30;
    static inline int s_solid = 0;
    static inline const T_GAS* s_candidate = nullptr;
    static inline long long s_comparisons = 0;

    mutable int value = kGas;
};

/// Equal keys at known places.
struct T_PLACED {
    int key;
    int place;
};

} // namespace

template <>
struct alidade::TListOrder<T_GAS> {
    static bool Less(const T_GAS& a, const T_GAS& b)
    {
        ++T_GAS::s_comparisons;
        if (a.value == T_GAS::kGas && b.value == T_GAS::kGas) {
            (&a == T_GAS::s_candidate ? a : b).value = T_GAS::s_solid++;
        }
        if (a.value == T_GAS::kGas) {
            T_GAS::s_candidate = &a;
        } else if (b.value == T_GAS::kGas) {
            T_GAS::s_candidate = &b;
        }
        return a.value < b.value;
    }
};

template <>
struct alidade::TListOrder<T_PLACED> {
    static bool Less(const T_PLACED& a, const T_PLACED& b) { return a.key < b.key; }
};

TEST(ListSort, ShortAndMiddlingLists)
{
    for (const std::size_t count : {0, 1, 2, 3, 20, 21, 22, 43, 1000, 20000}) {
        CheckPatterns(count);
    }
}

TEST(ListSort, ListsAroundTheLimitOfTheParallelSort)
{
    std::mt19937 random(5);
    for (const std::size_t count : {499999, 500000, 500003}) {
        CheckSort(Make(count, [&](int) { return static_cast<int>(random()); }), "random");
    }
    CheckSort(Make(500001, [&](int) { return static_cast<int>(random() % 3); }), "few values");
    CheckSort(Make(500002, [](int i) { return -i; }), "reversed");
}

TEST(ListSort, AmongEqualItemsOfALongListTheEarlierPartWins)
{
    constexpr int kCount = 500000;
    constexpr int kEvery = kCount / 50; // farther apart than a part that is sorted in one piece
    std::mt19937 random(9);
    TList<T_PLACED> list;
    for (int i = 0; i < kCount; ++i) {
        list.Insert(new T_PLACED{i % kEvery == 7 ? 1 << 20 : static_cast<int>(random() % (1 << 21)) | 1, i});
    }
    list.Sort();
    int last = -1;
    int seen = 0;
    for (const T_PLACED* item : list) {
        if (item->key == 1 << 20) {
            EXPECT_GT(item->place, last);
            last = item->place;
            ++seen;
        }
    }
    EXPECT_EQ(seen, 50);
}

TEST(ListSort, AnInputMadeAgainstQuicksortStaysBelowAQuadraticEffort)
{
    constexpr int kCount = 20000;
    T_GAS::s_solid = 0;
    T_GAS::s_comparisons = 0;
    TList<T_GAS> list;
    for (int i = 0; i < kCount; ++i) {
        list.Insert(new T_GAS);
    }
    list.Sort();
    int last = -1;
    for (const T_GAS* item : list) {
        EXPECT_GE(item->value, last);
        last = item->value;
    }
    // Some thirty partitions before the limit, then a heap sort. Without the limit it is some kCount / 4
    // comparisons an item.
    EXPECT_LT(T_GAS::s_comparisons, 100LL * kCount);
}

namespace {

/// Texts whose first characters say little, or are hard to put into a key.
template <class Text>
std::vector<Text> HardTexts()
{
    using Char = typename Text::value_type;
    std::vector<Text> texts;
    std::vector<Char> units{0, 1, 'a', 'b', 0x7F};
    if constexpr (sizeof(Char) == 1) {
        units.insert(units.end(), {Char(0x80), Char(0xFF)});
    } else {
        units.insert(units.end(), {0x80, 0x7FF, 0x800, 0xD800, 0xDC00, 0xFFFF});
        if constexpr (sizeof(Char) == 4) {
            for (const std::int64_t unit :
                 {0x10000LL, 0x10FFFFLL, 0x1FFFFELL, 0x1FFFFFLL, 0x200000LL, 0x7FFFFFFFLL, -1LL}) {
                units.push_back(static_cast<Char>(unit));
            }
        }
    }
    for (const std::size_t prefix : {0, 3, 7, 14, 15, 16, 20}) {
        const Text start(prefix, Char('p'));
        texts.push_back(start);
        for (const Char a : units) {
            texts.push_back(start + a);
            for (const Char b : units) {
                texts.push_back(start + a + b);
                texts.push_back(start + a + b + Char('c') + Char('c') + b);
            }
        }
    }
    return texts;
}

template <class Text>
void CheckTexts()
{
    std::vector<Text> texts = HardTexts<Text>();
    std::shuffle(texts.begin(), texts.end(), std::mt19937(3));
    TList<Text> list;
    for (const Text& text : texts) {
        list.Insert(new Text(text));
    }
    list.Sort();
    std::sort(texts.begin(), texts.end());
    std::size_t i = 0;
    for (const Text* text : list) {
        ASSERT_EQ(*text, texts[i++]);
    }
    for (i = 1; i < texts.size(); ++i) {
        ASSERT_LE(TListOrder<Text>::Key(texts[i - 1]), TListOrder<Text>::Key(texts[i]))
            << "a key contradicts its text";
    }
}

} // namespace

TEST(ListSort, TextsComeInTheOrderOfTheCaseSensitiveComparison)
{
    CheckTexts<CString>();
    CheckTexts<CStringA>();
}

TEST(ListSort, ALongListOfTextsIsSortedLikeAShortOne)
{
    std::mt19937 random(11);
    TList<CString> list;
    std::vector<CString> texts;
    for (int i = 0; i < 500000; ++i) {
        texts.push_back(L"Camera_" + std::to_wstring(random() % 400000));
        list.Insert(new CString(texts.back()));
    }
    list.Sort();
    std::sort(texts.begin(), texts.end());
    EXPECT_TRUE(std::equal(list.begin(), list.end(), texts.begin(), texts.end(),
                           [](const CString* a, const CString& b) { return *a == b; }));
}

TEST(ListSort, NullItemsComeFirst)
{
    TList<CString> texts;
    TList<int> numbers;
    for (const wchar_t* text : {L"b", L"", L"a"}) {
        texts.Insert(new CString(text));
        texts.Insert(nullptr);
        numbers.Insert(new int(-static_cast<int>(texts.Count())));
        numbers.Insert(nullptr);
    }
    texts.Sort();
    numbers.Sort();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(texts.NodeAt(i)->item, nullptr);
        EXPECT_EQ(numbers.NodeAt(i)->item, nullptr);
    }
    EXPECT_EQ(*texts.NodeAt(3)->item + *texts.NodeAt(4)->item + *texts.NodeAt(5)->item, L"ab");
    EXPECT_EQ(*numbers.NodeAt(3)->item, -6);
}

TEST(ListSort, HandlesKeepTheirReferences)
{
    TRefList<CString> list;
    std::vector<TRefPointer<CString>> kept;
    for (const wchar_t* text : {L"c", L"a", L"b"}) {
        kept.emplace_back(new CString(text));
        list.Insert(kept.back());
    }
    list.Insert(nullptr);
    list.Sort();
    EXPECT_FALSE(list.First().IsValid());
    EXPECT_EQ(*list.Next(), L"a");
    EXPECT_EQ(*list.Next(), L"b");
    EXPECT_EQ(*list.Next(), L"c");
    for (const auto& handle : kept) {
        EXPECT_EQ(handle.GetRefCount(), 2u);
    }
}
