#include "foundation/bus/IPVariable.h"

#include <cmath>
#include <limits>

using namespace alidade;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

/// A chain of nodes, one in the other, so many levels deep.
CIPVariable MakeChain(int depth)
{
    CIPVariable chain;
    chain.SetValue(depth);
    for (int i = 0; i < depth; ++i) {
        CIPVariable outer(IPVAR_TREE, "level");
        outer.AddChildItem(std::move(chain));
        chain = std::move(outer);
    }
    return chain;
}

} // namespace

TEST(Variable, ReadsEachNumberInEachForm)
{
    struct T_CASE {
        double value;
        int asInt;
        unsigned asUnsigned;
        const char* asText;
    };
    for (const T_CASE& c :
         {T_CASE{2.9, 2, 2u, "2.9"}, T_CASE{-2.9, -2, 0u, "-2.9"}, T_CASE{3e9, INT_MAX, 3000000000u, "3e+09"},
          T_CASE{1e300, INT_MAX, UINT_MAX, "1e+300"}, T_CASE{-kInf, INT_MIN, 0u, "-inf"},
          T_CASE{std::nan(""), 0, 0u, "nan"}, T_CASE{0.1, 0, 0u, "0.1"}}) {
        SCOPED_TRACE(c.asText);
        CIPVariable v;
        v.SetChildItem("x", c.value);
        EXPECT_EQ(v("x", 7), c.asInt);
        EXPECT_EQ(v("x", 7u), c.asUnsigned);
        EXPECT_STREQ(v("x", ""), c.asText);
        EXPECT_STREQ(v("x", L""), CString(c.asText, c.asText + std::strlen(c.asText)).c_str());
        // A double that went through text is the same one.
        CIPVariable text;
        text.SetValue(v("x", ""));
        EXPECT_TRUE(std::isnan(c.value) ? std::isnan(text.GetDouble()) : text.GetDouble() == c.value);
    }
    CIPVariable v;
    v.SetChildItem("i", -5);
    v.SetChildItem("u", 4000000000u);
    EXPECT_EQ(v("i", 0u), 0u);
    EXPECT_EQ(v("i", 0.0), -5.0);
    EXPECT_EQ(v("u", 0), INT_MAX);
    EXPECT_EQ(v("u", 0.0), 4e9);
    EXPECT_STREQ(v("u", L""), L"4000000000");
}

TEST(Variable, ReadsATextAsFarAsItIsANumber)
{
    struct T_CASE {
        const char* text;
        double number;
    };
    for (const T_CASE& c :
         {T_CASE{"12", 12.0}, T_CASE{" \t-2.5mm", -2.5}, T_CASE{"+7", 7.0}, T_CASE{"1e3x", 1000.0},
          T_CASE{"1e", 1.0}, T_CASE{".5", 0.5}, T_CASE{"3,5", 3.0}, T_CASE{"lens", 0.0}, T_CASE{"", 0.0},
          T_CASE{"-", 0.0}, T_CASE{"information", 0.0}, T_CASE{"-inf", -kInf}, T_CASE{"1e999", kInf},
          T_CASE{"-0.001e999", -kInf}, T_CASE{"1e-999", 0.0}, T_CASE{"0x10", 0.0}}) {
        SCOPED_TRACE(c.text);
        CIPVariable v;
        v.SetValue(c.text);
        EXPECT_EQ(v.GetDouble(99.0), c.number);
        v.SetValue(CString(c.text, c.text + std::strlen(c.text)).c_str());
        EXPECT_EQ(v.GetDouble(99.0), c.number);
    }
}

TEST(Variable, GivesTheDefaultWhereThereIsNoValue)
{
    CIPVariable v;
    v.SetChildItemEmpty("empty", IPVAR_INT);
    v.SetChildItem("raw", "abc", 3, 0);
    for (const char* name : {"empty", "raw", "absent", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(v(name, 7), 7);
        EXPECT_EQ(v(name, 7.5), 7.5);
        const char* text = "default";
        EXPECT_EQ(v(name, text), text);
        EXPECT_STREQ(v(name, L"wide"), L"wide");
    }
    EXPECT_TRUE(v("empty").IsEmpty());
    EXPECT_EQ(v.IsChildItem("empty", IPVAR_INT), 1);
    const CIPVariable& constant = v;
    EXPECT_TRUE(constant("absent").IsEmpty());
    EXPECT_TRUE(constant(7).IsEmpty());
    EXPECT_TRUE(constant(-1).IsEmpty());
    EXPECT_EQ(v.GetChildCount(), 2);
}

TEST(Variable, WideAndNarrowTextsAreOneText)
{
    CIPVariable v;
    v.SetChildItem("n", "gr\xC3\xBC\xC3\x9F");
    v.SetChildItem("w", L"gr\u00FC\u00DF");
    EXPECT_STREQ(v("n", L""), L"gr\u00FC\u00DF");
    EXPECT_STREQ(v("w", ""), "gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(v("w").GetSize(), 6u);
    // The converted text goes with the value that it was made from.
    v("w").SetValue(L"other");
    EXPECT_STREQ(v("w", ""), "other");
    v("n").SetValue(static_cast<const char*>(nullptr));
    EXPECT_STREQ(v("n", L"default"), L"");
}

TEST(Variable, SettingAChildReplacesTheFirstOfItsName)
{
    CIPVariable v;
    v.SetChildItem("a", 1);
    v("a").SetChildItem("inner", 5);
    v.AddChildItem(CIPVariable(IPVAR_INT, "a"));
    v.SetChildItem(nullptr, 2);
    v.SetChildItem(nullptr, 3);
    ASSERT_EQ(v.GetChildCount(), 4);
    CIPVariable& set = v.SetChildItem("a", 2.5, 9u);
    EXPECT_EQ(&set, &v(0));
    EXPECT_EQ(v(0).GetChildCount(), 0);
    EXPECT_EQ(v(0).GetFlags(), 9u);
    EXPECT_EQ(v("a", 0.0), 2.5);
    EXPECT_TRUE(v(1).IsEmpty());
    EXPECT_EQ(v(3).GetInt(), 3);
    v("new")("nested").SetValue(1);
    EXPECT_EQ(v.IsChildItemMat("new"), 1);
    EXPECT_EQ(v("new")("nested", 0), 1);
    v.DeleteAllChildItems();
    EXPECT_TRUE(v.IsEmpty());
    EXPECT_EQ(v.FindChild("a"), nullptr);
}

TEST(Variable, MayBeSetFromItsOwnParts)
{
    CIPVariable v;
    v.SetChildItem("text", "a text that is longer than any small buffer");
    v.SetChildItem("text", v("text", ""));
    EXPECT_STREQ(v("text", ""), "a text that is longer than any small buffer");
    v("text").SetValue(v("text", "") + 2);
    EXPECT_STREQ(v("text", ""), "text that is longer than any small buffer");
    v.SetChildItem(v("text").GetName(), 4);
    EXPECT_EQ(v("text", 0), 4);
    v("text").SetName(v("text").GetName() + 2);
    EXPECT_EQ(v("xt", 0), 4);

    v("child")("x").SetValue(1);
    v.AddChildItem(v(0));
    EXPECT_EQ(v(2).GetInt(), 4);
    v.AddChildItem(v);
    EXPECT_EQ(v.GetChildCount(), 4);
    EXPECT_EQ(v(3).GetChildCount(), 3);
    v = v("child");
    EXPECT_EQ(v("x", 0), 1);
    v = std::move(v("x"));
    EXPECT_EQ(v.GetInt(), 1);
}

TEST(Variable, CopiesShareARawBlockUntilOneWrites)
{
    CIPVariable a;
    a.SetValue("0123456789", 10);
    CIPVariable b = a;
    EXPECT_EQ(std::as_const(a).GetRawData(), std::as_const(b).GetRawData());
    static_cast<char*>(b.GetRawData())[0] = 'x';
    EXPECT_EQ(std::memcmp(std::as_const(a).GetRawData(), "0123456789", 10), 0);
    EXPECT_EQ(std::memcmp(std::as_const(b).GetRawData(), "x123456789", 10), 0);
    const void* own = std::as_const(b).GetRawData();
    EXPECT_EQ(b.GetRawData(), own) << "a block of its own is not copied once more";

    const auto kept = b.ShareRawData();
    static_cast<char*>(b.GetRawData())[0] = 'y';
    EXPECT_EQ(*static_cast<const char*>(kept.get()), 'x');

    // Memory that was handed in is never written, whoever else holds it.
    auto block = std::make_shared<std::vector<char>>(100, 'm');
    const char* memory = block->data();
    a.SetShared(std::shared_ptr<const void>(std::move(block), memory), 100);
    EXPECT_EQ(std::as_const(a).GetRawData(), memory);
    const auto held = a.ShareRawData();
    static_cast<char*>(a.GetRawData())[0] = 'z';
    EXPECT_EQ(*memory, 'm');
}

TEST(Variable, RawBlocksAreReadWholeOrNotAtAll)
{
    CIPVariable v;
    CIPVariable& raw = v.SetChildItemEmpty("block", IPVAR_RAW, 8);
    char bytes[9] = "unchange";
    EXPECT_EQ(raw.GetRawData(bytes, 9), 0);
    EXPECT_STREQ(bytes, "unchange");
    EXPECT_EQ(raw.GetRawData(bytes, 8), 1);
    EXPECT_EQ(std::memcmp(bytes, "\0\0\0\0\0\0\0\0", 8), 0) << "a new block is zeroed";
    raw.SetValue(static_cast<const void*>(nullptr), 0);
    EXPECT_EQ(raw.GetRawData(), nullptr);
    EXPECT_TRUE(raw.HasValue());
    EXPECT_EQ(raw.GetRawData(bytes, 0), 1);
    v.SetChildItem("number", 5);
    EXPECT_EQ(v("number").GetRawData(), nullptr);
    EXPECT_EQ(v("number").GetRawData(bytes, 4), 0);
}

TEST(Variable, ATypedValueSaysWhatIsMissing)
{
    struct T_POINT {
        double x, y;
    };
    const auto messageOf = [](const auto& read) {
        try {
            read();
        } catch (const CIPVariableException& exception) {
            return CString(exception.GetSource()) + L": " + exception.GetText();
        }
        return CString(L"no exception");
    };
    CIPVariable v;
    EXPECT_EQ(messageOf([&] { v.Value<int>(); }), L"CIPVariable::Value: Variable is EMPTY");
    v.SetValue("", 0);
    EXPECT_EQ(messageOf([&] { v.Value<char>(); }), L"CIPVariable::Value: Variable is EMPTY");
    v.SetValue("123456789012345", 15);
    EXPECT_EQ(messageOf([&] { v.Value<T_POINT>(); }), L"CIPVariable::Value: Variable size is small");
    const T_POINT point{1.5, -2.5};
    v.SetValue(&point, sizeof point);
    EXPECT_EQ(v.Value<T_POINT>().y, -2.5);
    v.SetValue(2.75);
    EXPECT_EQ(v.Value<int>(), 2);
    EXPECT_EQ(v.Value<double>(), 2.75);
    EXPECT_THROW(v(3), CIPException);
}

TEST(Variable, ComparesWholeTrees)
{
    CIPVariable a = MakeChain(3);
    CIPVariable b = a;
    EXPECT_EQ(a, b);
    b(0)(0).SetChildItem("more", 1);
    EXPECT_FALSE(a == b);
    CIPVariable zero, minusZero, nan1, nan2;
    zero.SetValue(0.0);
    minusZero.SetValue(-0.0);
    nan1.SetValue(std::nan(""));
    nan2 = nan1;
    EXPECT_FALSE(zero == minusZero);
    EXPECT_EQ(nan1, nan2);
    EXPECT_FALSE(CIPVariable(IPVAR_INT) == CIPVariable(IPVAR_DOUBLE));
}

TEST(Variable, ATreeOfAnyDepthIsCopiedComparedAndDestroyed)
{
    constexpr int kDepth = 200000;
    CIPVariable deep = MakeChain(kDepth);
    {
        const CIPVariable copy = deep;
        EXPECT_EQ(copy, deep);
    }
    deep = CIPVariable();
    EXPECT_TRUE(deep.IsEmpty());
    CIPVariable parent;
    parent.AddChildItem(MakeChain(kDepth));
    parent.SetChildItem("level", 1);
    parent.DeleteAllChildItems();
}
