#include "foundation/bus/text/CommandText.h"
#include "foundation/bus/text/VariableJson.h"
#include "foundation/platform/Text.h"

using namespace alidade;

namespace {

bool LoadNothing(const CString& path, CIPVariable& image, CString& error)
{
    if (path == L"bad.png") {
        error = L"no such file";
        return false;
    }
    image.SetChildItem("path", path.c_str());
    return true;
}

/// The variable that the arguments make, as JSON; or "error: ..." when they are refused.
CStringA Parse(const std::vector<CStringA>& arguments)
{
    CIPVariable variable;
    variable.SetChildItem("before", 1);
    const CIPVariable before = variable;
    CString error;
    if (!ParseCommandArguments(arguments, variable, LoadNothing, error)) {
        EXPECT_EQ(variable, before) << "a refused command changes nothing";
        EXPECT_FALSE(error.empty());
        return "error: " + ToNarrow(error);
    }
    return VariableToJson(variable).substr(std::strlen("{\"before\":1"));
}

} // namespace

TEST(CommandText, AValuesFormGivesItsType)
{
    struct T_CASE {
        const char* value;
        const char* json;
        eIP_VARIABLE_TYPE type;
    };
    for (const T_CASE& c :
         {T_CASE{"3", "3", IPVAR_INT}, T_CASE{"-2147483648", "-2147483648", IPVAR_INT},
          T_CASE{"4294967295", "4294967295", IPVAR_UINT}, T_CASE{"5000000000", "5000000000.0", IPVAR_DOUBLE},
          T_CASE{"2.5", "2.5", IPVAR_DOUBLE}, T_CASE{"-1e3", "-1000.0", IPVAR_DOUBLE},
          T_CASE{"\"3\"", "\"3\"", IPVAR_STRING}, T_CASE{"lens", "\"lens\"", IPVAR_STRING},
          T_CASE{"3mm", "\"3mm\"", IPVAR_STRING}, T_CASE{"inf", "\"inf\"", IPVAR_STRING},
          T_CASE{"", "\"\"", IPVAR_STRING}, T_CASE{"a=b", "\"a=b\"", IPVAR_STRING},
          T_CASE{"\"a \\\"b\\\" \\\\ C:\\temp\"", "\"a \\\"b\\\" \\\\ C:\\\\temp\"", IPVAR_STRING},
          T_CASE{"hex:0aFf", "{\"bytes\":2,\"hex\":\"0aff\"}", IPVAR_RAW},
          T_CASE{"hex:", "{\"bytes\":0,\"hex\":\"\"}", IPVAR_RAW},
          T_CASE{"@a b.png", "{\"path\":\"a b.png\"}", IPVAR_TREE},
          T_CASE{"@\"a b.png\"", "{\"path\":\"a b.png\"}", IPVAR_TREE}}) {
        SCOPED_TRACE(c.value);
        const CStringA argument = CStringA("key=") + c.value;
        EXPECT_EQ(Parse({argument}), CStringA(",\"key\":") + c.json + "}");
        CIPVariable v;
        CString error;
        ParseCommandArguments(std::vector{argument}, v, LoadNothing, error);
        EXPECT_EQ(v.IsChildItem("key", c.type), 1);
    }
}

TEST(CommandText, DottedKeysMakeNestedChildren)
{
    EXPECT_EQ(Parse({"A.B=3", "A.C.D=x", "A=1"}),
              ",\"A\":{\"value\":1,\"children\":{\"B\":3,\"C\":{\"D\":\"x\"}}}}");
}

TEST(CommandText, MalformedArgumentsAreRefused)
{
    CStringA deep = "a";
    for (int i = 0; i < 70; ++i) {
        deep += ".a";
    }
    for (const std::vector<CStringA>& arguments :
         std::vector<std::vector<CStringA>>{{"novalue"},
                                            {"=3"},
                                            {".a=3"},
                                            {"a.=3"},
                                            {"a..b=3"},
                                            {"a=\"open"},
                                            {"a=\"x\"y"},
                                            {"a=hex:0"},
                                            {"a=hex:0g"},
                                            {"a=hex:0x"},
                                            {"a=@"},
                                            {"a=@bad.png"},
                                            {"a=1e999"},
                                            {"a=1", "a=2"},
                                            {"good=1", "a.b=1", "a=@i.png"},
                                            {"a=@i.png", "a.path=1"},
                                            {"a=\xFF"},
                                            {deep + "=1"}}) {
        SCOPED_TRACE(arguments.back());
        EXPECT_TRUE(Parse(arguments).starts_with("error: Argument")) << Parse(arguments);
    }
    EXPECT_EQ(Parse({"a=@bad.png"}), "error: Argument \"a\": no such file");
    CIPVariable v;
    CString error;
    EXPECT_FALSE(ParseCommandArguments(std::vector<CStringA>{"a=@i.png"}, v, nullptr, error));
}

TEST(CommandText, ALineIsSplitIntoItsWords)
{
    T_COMMAND_TEXT command;
    CString error;
    ASSERT_TRUE(SplitCommandLine(
        "  \"\"\tImage \"Find Pattern\"  a=3 b=\"x \\\" y\" \"c=1 2\" d=@\"p q.png\"\n", command, error));
    EXPECT_EQ(command.unit, "");
    EXPECT_EQ(command.group, "Image");
    EXPECT_EQ(command.name, "Find Pattern");
    CIPVariable v;
    ASSERT_TRUE(ParseCommandArguments(command.arguments, v, LoadNothing, error)) << ToNarrow(error);
    EXPECT_EQ(VariableToJson(v), "{\"a\":3,\"b\":\"x \\\" y\",\"c\":\"1 2\",\"d\":{\"path\":\"p q.png\"}}");

    for (const char* line :
         {"", "Image Grab", "Cam Image \"\"", "Cam Image \"Grab", "Cam Image Grab a=\"x\\\""}) {
        SCOPED_TRACE(line);
        T_COMMAND_TEXT other{"unit", "group", "name", {"a=1"}};
        error.clear();
        EXPECT_FALSE(SplitCommandLine(line, other, error));
        EXPECT_FALSE(error.empty());
        EXPECT_EQ(other.unit + other.group + other.name, "unitgroupname");
    }
}
