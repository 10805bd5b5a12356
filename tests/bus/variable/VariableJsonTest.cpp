#include "foundation/bus/text/VariableJson.h"

#include "foundation/bus/ImageVariable.h"

#include <limits>

using namespace alidade;

TEST(VariableJson, EachNodeHasTheFormOfItsContents)
{
    CIPVariable v;
    EXPECT_EQ(VariableToJson(v), "{}");
    v.SetChildItem("Z", -3);
    v.SetChildItem("A", 2.5);
    v.SetChildItem("u", 4000000000u);
    v.SetChildItem("inf", -std::numeric_limits<double>::infinity());
    v.SetChildItem("text", "a \"b\"\n\x01 \xFF");
    v.SetChildItem("wide", L"\u00E4");
    v.SetChildItem("raw", "\x0A\xFF", 2, 0);
    v.SetChildItem("long", nullptr, 257, 0);
    v.SetChildItemEmpty("none", IPVAR_DOUBLE);
    ConvertMatToVar(v("image"), cv::Mat(2, 3, CV_8UC3, cv::Scalar(0)));
    EXPECT_EQ(VariableToJson(v),
              "{\"Z\":-3,\"A\":2.5,\"u\":4000000000,\"inf\":\"-inf\","
              "\"text\":\"a \\\"b\\\"\\n\\u0001 \xEF\xBF\xBD\",\"wide\":\"\xC3\xA4\","
              "\"raw\":{\"bytes\":2,\"hex\":\"0aff\"},\"long\":{\"bytes\":257},\"none\":null,"
              "\"image\":{\"rows\":2,\"cols\":3,\"type\":16,\"bytes\":18}}");
}

TEST(VariableJson, ChildrenWithoutNamesOfTheirOwnAreAList)
{
    CIPVariable v;
    v.SetChildItem("same", 1);
    v.AddChildItem(CIPVariable(v("same")));
    v("same").SetChildItem("x", 5);
    CIPVariable& inner = v.SetChildItem(nullptr, "unnamed");
    inner.SetChildItem(nullptr, 7);
    CIPVariable list(IPVAR_TREE, "list");
    list.SetChildItem(nullptr, 8);
    v.AddChildItem(std::move(list));
    EXPECT_EQ(VariableToJson(v), "[{\"same\":{\"value\":1,\"children\":{\"x\":5}}},{\"same\":1},"
                                 "{\"value\":\"unnamed\",\"children\":[7]},{\"list\":[8]}]");
}
