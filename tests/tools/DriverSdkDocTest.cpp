// The driver author's guide shows the example driver as it is, and names every check.

#include "DriverCheck.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using namespace alidade;

namespace {

std::string ReadText(const std::string& name)
{
    std::ifstream file(std::string(ALIDADE_SOURCE_DIR) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The lines that hold something, of a text.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

/// All code blocks of one language, in order, as one text.
std::string CodeBlocks(const std::string& document, const std::string& language)
{
    std::string code;
    bool inside = false;
    std::istringstream stream(document);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = line == "```" + language;
        } else if (inside) {
            code += line + "\n";
        }
    }
    return code;
}

} // namespace

TEST(DriverSdkDoc, ShowsTheExampleDriverWhole)
{
    const std::string document = ReadText("docs/driver-sdk.md");
    EXPECT_EQ(LinesOf(CodeBlocks(document, "cpp")), LinesOf(ReadText("examples/driver/Gradient.cpp")));
    EXPECT_EQ(LinesOf(CodeBlocks(document, "cmake")), LinesOf(ReadText("examples/driver/CMakeLists.txt")));
}

TEST(DriverSdkDoc, ListsEveryCheckAsTheProgramDoes)
{
    const std::string document = ReadText("docs/driver-sdk.md");
    for (const T_DRIVER_CHECK& check : CDriverCheck::GetTable()) {
        const std::string row = "| `" + std::string(check.name) + "` | " + check.description + " |";
        EXPECT_NE(document.find(row), document.npos) << row;
    }
}
