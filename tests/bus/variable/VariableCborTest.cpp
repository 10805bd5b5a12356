#include "foundation/bus/wire/VariableCbor.h"
#include "foundation/platform/Text.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <random>

using namespace alidade;

namespace {

using T_BYTES = std::vector<std::uint8_t>;

T_BYTES FromHex(std::string_view hex)
{
    T_BYTES bytes;
    CStringA digits;
    for (const char c : hex) {
        if (c != ' ') {
            digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

T_BYTES Encode(const CIPVariable& variable)
{
    T_BYTES bytes;
    const std::size_t size = EncodeVariable(variable, bytes);
    EXPECT_EQ(size, bytes.size());
    return bytes;
}

/// What the document is refused with; empty when it is not.
CStringA Refusal(const T_BYTES& bytes, const T_CBOR_LIMITS& limits = {})
{
    CIPVariable target;
    target.SetChildItem("before", 1);
    const CIPVariable before = target;
    CString error;
    if (DecodeVariable(bytes, target, error, limits)) {
        return "";
    }
    EXPECT_EQ(target, before) << "a refused document changes nothing";
    EXPECT_FALSE(error.empty());
    return ToNarrow(error);
}

CStringA RandomText(std::mt19937& random)
{
    static const char* const kPieces[] = {
        "a", "Z", " ", "\n", "\"", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x94\xAC"};
    CStringA text;
    for (unsigned i = random() % 30; i > 0; --i) {
        text += kPieces[random() % std::size(kPieces)];
    }
    return text;
}

CIPVariable RandomTree(std::mt19937& random, int depth)
{
    CIPVariable node(random() % 8 == 0 ? IPVAR_UINT : IPVAR_TREE, RandomText(random).c_str());
    const auto bits = (static_cast<std::uint64_t>(random()) << 32) | random();
    double number = 0.0;
    switch (random() % 8) {
    case 0:
        node.SetValue(static_cast<int>(random()));
        break;
    case 1:
        node.SetValue(static_cast<unsigned>(random() >> random() % 32));
        break;
    case 2:
        std::memcpy(&number, &bits, sizeof number);
        node.SetValue(number);
        break;
    case 3:
        node.SetValue(RandomText(random).c_str());
        break;
    case 4:
        node.SetValue(ToWide(RandomText(random)).c_str());
        break;
    case 5: {
        const T_BYTES bytes(random() % 2 == 0 ? random() % 50 : random() % 40000,
                            static_cast<std::uint8_t>(random()));
        node.SetValue(bytes.data(), static_cast<unsigned>(bytes.size()));
        break;
    }
    default:
        break;
    }
    for (unsigned i = depth > 0 ? random() % 5 : 0; i > 0; --i) {
        node.AddChildItem(RandomTree(random, depth - 1));
    }
    return node;
}

} // namespace

TEST(VariableCbor, WritesTheDocumentedForm)
{
    CIPVariable v;
    v.SetChildItem("n", -500);
    v.SetChildItem("d", 1.5);
    v.SetChildItem("t", "hi");
    v.SetChildItem("w", L"\u00E4");
    v.SetChildItem("r", "\x01\x02", 2, 0);
    v.SetChildItemEmpty(nullptr, IPVAR_UINT);
    EXPECT_EQ(Encode(v), FromHex("84 00 60 f6 86"
                                 "83 01 616e 3901f3"
                                 "83 03 6164 fb3ff8000000000000"
                                 "83 04 6174 626869"
                                 "83 05 6177 62c3a4"
                                 "83 08 6172 420102"
                                 "83 02 60 f6"));
}

TEST(VariableCbor, AnyTreeComesBackAsItWas)
{
    std::mt19937 random(20);
    for (int i = 0; i < 300; ++i) {
        SCOPED_TRACE(i);
        const CIPVariable tree = RandomTree(random, 4);
        const T_BYTES bytes = Encode(tree);
        CIPVariable back;
        CString error;
        ASSERT_TRUE(DecodeVariable(bytes, back, error)) << ToNarrow(error);
        ASSERT_EQ(back, tree);

        // With long blocks left out, the pieces in order are the same document.
        T_BYTES rest{0x55};
        std::vector<T_CBOR_BLOCK> blocks;
        EXPECT_EQ(EncodeVariable(tree, rest, &blocks), bytes.size());
        T_BYTES joined;
        std::size_t done = 1;
        for (const T_CBOR_BLOCK& block : blocks) {
            joined.insert(joined.end(), rest.begin() + static_cast<std::ptrdiff_t>(done),
                          rest.begin() + static_cast<std::ptrdiff_t>(block.at));
            const auto* data = static_cast<const std::uint8_t*>(block.data.get());
            joined.insert(joined.end(), data, data + block.size);
            done = block.at;
        }
        joined.insert(joined.end(), rest.begin() + static_cast<std::ptrdiff_t>(done), rest.end());
        ASSERT_EQ(joined, bytes);

        // Any document that is cut short is refused.
        const std::size_t cut = random() % bytes.size();
        EXPECT_NE(Refusal(T_BYTES(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut))), "");
    }
}

TEST(VariableCbor, ALongBlockIsSharedWithTheReceivedBytes)
{
    CIPVariable v;
    v.SetChildItem("image", nullptr, 100000, 0);
    v.SetChildItem("small", "abc", 3, 0);
    auto received = std::make_shared<T_BYTES>(Encode(v));
    const std::uint8_t* memory = received->data();
    const std::size_t size = received->size();
    CIPVariable back;
    CString error;
    ASSERT_TRUE(DecodeVariable(std::span(memory, size), back, error, {}, std::move(received)));
    EXPECT_EQ(back, v);
    const auto inside = [&](const char* name) {
        const auto* data = static_cast<const std::uint8_t*>(std::as_const(back)(name).GetRawData());
        return data >= memory && data < memory + size;
    };
    EXPECT_TRUE(inside("image"));
    EXPECT_FALSE(inside("small"));
    back("image").GetRawData();
    EXPECT_FALSE(inside("image")) << "what is written becomes the variable's own";
}

TEST(VariableCbor, TakesWhatOtherWritersWrite)
{
    struct T_CASE {
        const char* what;
        const char* hex;
        double value;
        eIP_VARIABLE_TYPE type;
    };
    for (const T_CASE& c :
         {T_CASE{"wide heads", "9b0000000000000003 1801 7800 1b0000000000000007", 7, IPVAR_INT},
          T_CASE{"an int of 8 bytes", "83 01 60 1b0000000000000007", 7, IPVAR_INT},
          T_CASE{"a type of 4 bytes", "83 1a00000001 60 07", 7, IPVAR_INT},
          T_CASE{"an int as a half float", "83 01 60 f94700", 7, IPVAR_INT},
          T_CASE{"an int as a double", "83 01 60 fbc01c000000000000", -7, IPVAR_INT},
          T_CASE{"an unsigned as a float", "83 02 60 fa40e00000", 7, IPVAR_UINT},
          T_CASE{"a double as an int", "83 03 60 3863", -100, IPVAR_DOUBLE},
          T_CASE{"a double as a half", "83 03 60 f93e00", 1.5, IPVAR_DOUBLE},
          T_CASE{"a small half", "83 03 60 f90001", std::ldexp(1.0, -24), IPVAR_DOUBLE},
          T_CASE{"an infinite half", "83 03 60 f9fc00", -INFINITY, IPVAR_DOUBLE},
          T_CASE{"a double as a single", "83 03 60 fa3fc00000", 1.5, IPVAR_DOUBLE},
          T_CASE{"lists of no length", "9f 01 60 07 ff", 7, IPVAR_INT},
          T_CASE{"children of no length", "9f 01 60 07 9f 8100 9f02ff ff ff", 7, IPVAR_INT},
          T_CASE{"tags", "d9d9f7 83 c1 01 d818 60 c2 07", 7, IPVAR_INT},
          T_CASE{"a null name", "83 01 f6 07", 7, IPVAR_INT},
          T_CASE{"no value", "82 03 60", -99, IPVAR_DOUBLE}, T_CASE{"a type alone", "81 01", -99, IPVAR_INT},
          T_CASE{"an undefined value", "83 01 60 f7", -99, IPVAR_INT},
          T_CASE{"null children", "84 01 60 07 f6", 7, IPVAR_INT}}) {
        SCOPED_TRACE(c.what);
        CIPVariable v;
        CString error;
        ASSERT_TRUE(DecodeVariable(FromHex(c.hex), v, error)) << ToNarrow(error);
        EXPECT_EQ(v.GetType(), c.type);
        EXPECT_EQ(v.GetDouble(-99.0), c.value);
    }
    CIPVariable v;
    CString error;
    ASSERT_TRUE(DecodeVariable(FromHex("83 04 7f 6161 60 6162 ff 7f 6163 6164 ff"), v, error));
    EXPECT_STREQ(v.GetName(), "ab");
    EXPECT_STREQ(v.GetString(), "cd");
    ASSERT_TRUE(DecodeVariable(FromHex("83 08 60 5f 4101 40 420203 ff"), v, error));
    EXPECT_EQ(v.GetSize(), 3u);
}

TEST(VariableCbor, AnotherLibraryReadsAndWritesTheSameDocuments)
{
    CIPVariable v(IPVAR_TREE, "result");
    v.SetChildItem("count", -70000);
    v.SetChildItem("scale", 0.25); // in 4 bytes, when the other one writes
    v.SetChildItem("pi", 3.141592653589793);
    v("list").SetChildItem(nullptr, "\xE2\x82\xAC");
    v.SetChildItem("raw", "\x00\xFF", 2, 0);
    nlohmann::json expected = nlohmann::json::parse(
        R"([0, "result", null, [[1, "count", -70000], [3, "scale", 0.25], [3, "pi", 3.141592653589793],
            [0, "list", null, [[4, "", "\u20AC"]]], [8, "raw", null]]])");
    expected[3][4][2] = nlohmann::json::binary({0x00, 0xFF});
    EXPECT_EQ(nlohmann::json::from_cbor(Encode(v)), expected);
    CIPVariable back;
    CString error;
    ASSERT_TRUE(DecodeVariable(nlohmann::json::to_cbor(expected), back, error)) << ToNarrow(error);
    EXPECT_EQ(back, v);
}

TEST(VariableCbor, MalformedDocumentsAreRefused)
{
    struct T_CASE {
        const char* hex;
        const char* reason; // part of the message
    };
    for (const T_CASE& c : {T_CASE{"", "a node is due"},
                            T_CASE{"00", "a node is due"},
                            T_CASE{"a0", "a node is due"},
                            T_CASE{"80", "no type"},
                            T_CASE{"9f ff", "no type"},
                            T_CASE{"81 06", "type 6"},
                            T_CASE{"81 09", "type 9"},
                            T_CASE{"81 1bffffffffffffffff", "type 18446744073709551615"},
                            T_CASE{"81 20", "type is due"},
                            T_CASE{"82 00 01", "name is due"},
                            T_CASE{"83 00 60 01", "null is due"},
                            T_CASE{"83 01 60 6131", "integer is due"},
                            T_CASE{"83 01 60 f93e00", "integer is due"},
                            T_CASE{"83 01 60 1a80000000", "not between"},
                            T_CASE{"83 02 60 20", "not between"},
                            T_CASE{"83 01 60 1bffffffffffffffff", "out of range"},
                            T_CASE{"83 01 60 3bffffffffffffffff", "out of range"},
                            T_CASE{"83 03 60 f5", "number is due"},
                            T_CASE{"83 04 60 4161", "a text is due"},
                            T_CASE{"83 08 60 6161", "a byte string is due"},
                            T_CASE{"84 01 60 07 01", "children are due"},
                            T_CASE{"84 01 60 07 81 05", "a node is due"},
                            T_CASE{"85 01 60 07 80 80", "more than"},
                            T_CASE{"9f 01 60 07 80 80 ff", "more than"},
                            T_CASE{"9f 01 60 07", "ends within"},
                            T_CASE{"83 01 60 1900", "ends within an item"},
                            T_CASE{"83 01 60 c1", "behind a tag"},
                            T_CASE{"83 01 60 1c", "reserved"},
                            T_CASE{"83 01 60 1f", "reserved"},
                            T_CASE{"83 01 60 ff", "end of a list"},
                            T_CASE{"83 01 60 07 00", "follow"},
                            T_CASE{"83 08 60 5b00000001000000ff", "announces more"},
                            T_CASE{"83 08 60 5bffffffffffffffff", "announces more"},
                            T_CASE{"84 00 60 f6 9bffffffffffffffff", "announces more"},
                            T_CASE{"83 08 60 5f 6161 ff", "something else"},
                            T_CASE{"83 08 60 5f 4161", "something else"},
                            T_CASE{"83 04 60 6100", "zero character"},
                            T_CASE{"82 04 61ff", "not UTF-8"},
                            T_CASE{"83 05 60 63eda080", "not UTF-8"},
                            T_CASE{"84 00 60 f6 82 8100 84 00 6161 f6 82 8100 83 04 6162 61c3", "in a.b"},
                            T_CASE{"84 00 60 f6 82 8100 84 00 60 f6 81 83 04 6162 61c3", "in [1].b"}}) {
        const CStringA refusal = Refusal(FromHex(c.hex));
        EXPECT_NE(refusal.find(c.reason), CStringA::npos) << c.hex << " gives \"" << refusal << '"';
    }
}

TEST(VariableCbor, TheLimitsHold)
{
    const auto nested = [](int levels) {
        T_BYTES bytes;
        for (int i = 1; i < levels; ++i) {
            const T_BYTES level = FromHex("84 00 60 f6 81");
            bytes.insert(bytes.end(), level.begin(), level.end());
        }
        bytes.insert(bytes.end(), {0x81, 0x00});
        return bytes;
    };
    EXPECT_EQ(Refusal(nested(64)), "");
    EXPECT_NE(Refusal(nested(65)).find("deeper than 64"), CStringA::npos);
    EXPECT_NE(Refusal(nested(10000)).find("deeper than 64"), CStringA::npos);
    // A deeper limit does not make the reader recurse.
    T_CBOR_LIMITS limits;
    limits.depth = 1000000;
    EXPECT_EQ(Refusal(nested(200000), limits), "");

    CIPVariable wide;
    for (int i = 0; i < 99; ++i) {
        wide.SetChildItem(nullptr, i);
    }
    const T_BYTES bytes = Encode(wide);
    limits.nodes = 100;
    limits.bytes = bytes.size();
    EXPECT_EQ(Refusal(bytes, limits), "");
    limits.nodes = 99;
    EXPECT_NE(Refusal(bytes, limits).find("more than 99 nodes"), CStringA::npos);
    limits.nodes = 100;
    limits.bytes = bytes.size() - 1;
    EXPECT_NE(Refusal(bytes, limits).find("more than the"), CStringA::npos);

    // The sender learns it before it sends.
    CString error;
    EXPECT_TRUE(CheckVariable(wide, error));
    CIPVariable deep;
    CString deepError;
    ASSERT_TRUE(DecodeVariable(nested(65), deep, deepError, {100, 100, 1000}));
    EXPECT_FALSE(CheckVariable(deep, error));
    EXPECT_NE(Refusal(Encode(deep)).find("deeper than 64"), CStringA::npos);
}

TEST(VariableCbor, ATextThatIsNotUtf8IsMendedOnTheWay)
{
    CIPVariable v;
    v.SetChildItem("bad\xFF", "x\xC3");
    CIPVariable back;
    CString error;
    ASSERT_TRUE(DecodeVariable(Encode(v), back, error)) << ToNarrow(error);
    EXPECT_STREQ(back("bad\xEF\xBF\xBD", ""), "x\xEF\xBF\xBD");
}

TEST(CborReader, PassesOverItemsOfAnyKind)
{
    T_BYTES bytes;
    CCborWriter writer(bytes);
    writer.BeginMap(2);
    writer.WriteText("future");
    const T_BYTES unknown = FromHex("bf 01 9f 5f 4101 ff c1 f0 ff 6161 a1 20 f7 ff");
    bytes.insert(bytes.end(), unknown.begin(), unknown.end());
    writer.WriteText("number");
    writer.WriteUnsigned(UINT64_MAX);
    CCborReader reader(bytes);
    CCborReader::T_SEQUENCE members;
    ASSERT_TRUE(reader.BeginMap(members));
    std::uint64_t number = 0;
    while (reader.HasMore(members)) {
        CStringA key;
        reader.ReadText(key);
        if (key == "number") {
            reader.ReadUnsigned(number);
        } else {
            EXPECT_TRUE(reader.Skip()) << ToNarrow(reader.GetError());
        }
    }
    EXPECT_TRUE(reader.Finish());
    EXPECT_EQ(number, UINT64_MAX);

    for (const char* hex : {"9f", "ff", "81", "bf 01", "5f 01 ff"}) {
        const T_BYTES bad = FromHex(hex);
        CCborReader broken(bad);
        EXPECT_FALSE(broken.Skip()) << hex;
        bool value = true;
        EXPECT_FALSE(broken.ReadBool(value));
        EXPECT_TRUE(value);
    }
    const T_BYTES nested(10000, 0x81);
    CCborReader deep(nested);
    EXPECT_FALSE(deep.Skip());
}
