#include "foundation/config/SimpleLogInterface.h"
#include "foundation/platform/Thread.h"
#include "tests/config/ConfigHarness.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <thread>

namespace alidade {
namespace {

const std::string kTimeForm = "0000-00-00 00:00:00.000 ";

class SimpleLog : public ::testing::Test {
protected:
    CSimpleLog::Options Options(const std::filesystem::path& name = "test.log") const
    {
        CSimpleLog::Options options;
        options.path = FromPath(m_folder / name);
        return options;
    }
    std::vector<std::string> Lines(const std::filesystem::path& name = "test.log") const
    {
        std::istringstream file(m_folder.Read(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            lines.push_back(line);
        }
        return lines;
    }

    CTempFolder m_folder;
};

TEST_F(SimpleLog, ALineHoldsTimeLevelThreadAndText)
{
    CSimpleLog log(Options());
    EXPECT_EQ(log.WriteLog(kLogNormal, L"found %d of %s %S", 2, L"\u6F22", "narrow"), 1);
    EXPECT_EQ(log.WriteErrorLog(L"100 %%, %ls", L"wide"), 1);
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u) << "each line is in the file when the call returns";
    for (std::string line : lines) {
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
        EXPECT_EQ(line.substr(0, kTimeForm.size()), kTimeForm);
    }
    const std::string thread = std::to_string(GetThisThreadNumber());
    EXPECT_EQ(lines[0].substr(kTimeForm.size()), "[info] [" + thread + "] found 2 of \xE6\xBC\xA2 narrow");
    EXPECT_EQ(lines[1].substr(kTimeForm.size()), "[error] [" + thread + "] 100 %, wide");
}

TEST_F(SimpleLog, FurtherLinesOfATextAreIndentedSoThatNonePassesForALine)
{
    CSimpleLog log(Options());
    log.WriteLog(kLogNormal, L"%s", L"one\r\ntwo\n2026-01-01 00:00:00.000 [error] [1] three\rfour\n\n");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(lines[0].ends_with("] one"));
    EXPECT_EQ(lines[1], "    two");
    EXPECT_EQ(lines[2], "    2026-01-01 00:00:00.000 [error] [1] three");
    EXPECT_EQ(lines[3], "    four");
}

TEST_F(SimpleLog, AFullFileIsRenamedAndTheOldestGoes)
{
    CSimpleLog::Options options = Options(std::filesystem::path(u8"\u00E4 \u6F22.log"));
    options.maxFileBytes = 1000;
    options.keptFiles = 2;
    CSimpleLog log(options);
    for (int i = 0; i < 200; ++i) {
        log.WriteLog(kLogNormal, L"line %03d", i);
    }
    std::set<std::filesystem::path> names;
    std::size_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
        names.insert(entry.path().filename());
        EXPECT_LE(entry.file_size(), 1000u);
        bytes += static_cast<std::size_t>(entry.file_size());
    }
    EXPECT_EQ(names, (std::set<std::filesystem::path>{u8"\u00E4 \u6F22.log", u8"\u00E4 \u6F22.1.log",
                                                      u8"\u00E4 \u6F22.2.log"}));
    EXPECT_GT(bytes, 2000u);
    EXPECT_TRUE(Lines(u8"\u00E4 \u6F22.log").back().ends_with("line 199"));
}

TEST_F(SimpleLog, LinesOfManyThreadsStayWhole)
{
    CSimpleLog::Options options = Options("new/folder/test.log");
    CSimpleLog log(options);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 250; ++i) {
                log.WriteLog(kLogNormal, L"thread %d line %d end", t, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<std::string> texts;
    std::set<std::string> numbers;
    for (const std::string& line : Lines("new/folder/test.log")) {
        const std::size_t text = line.rfind("] thread ");
        ASSERT_NE(text, std::string::npos) << line;
        ASSERT_TRUE(line.ends_with(" end")) << line;
        numbers.insert(line.substr(kTimeForm.size(), text - kTimeForm.size()));
        texts.insert(line.substr(text));
    }
    EXPECT_EQ(texts.size(), 1000u);
    EXPECT_EQ(numbers.size(), 4u);
}

TEST_F(SimpleLog, AFileThatCannotBeWrittenIsReportedOnceAndStopsNobody)
{
    m_folder.Write("file", "no folder");
    ::testing::internal::CaptureStderr();
    {
        CSimpleLog log(Options("file/test.log"));
        EXPECT_EQ(log.WriteLog(kLogNormal, L"a"), 0);
        EXPECT_EQ(log.WriteErrorLog(L"b"), 0);
        log.Flush();
    }
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 1) << shown;
    EXPECT_NE(shown.find("CSimpleLog : the log cannot be written"), std::string::npos);
}

TEST_F(SimpleLog, TheConsoleHasTheSameLines)
{
    CSimpleLog::Options options = Options();
    options.console = true;
    ::testing::internal::CaptureStderr();
    CSimpleLog log(options);
    log.WriteErrorLog(L"shown");
    const std::string shown = ::testing::internal::GetCapturedStderr();
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(shown.substr(0, shown.find_first_of("\r\n")), lines[0]);
}

class CLogging : public CSimpleLogInterface {};

TEST_F(SimpleLog, AnInterfaceForwardsToItsLogAndWithoutOneWritesNothing)
{
    CLogging object;
    EXPECT_EQ(object.WriteLog(kLogNormal, L"%d", 1), 0);
    EXPECT_EQ(object.WriteErrorLog(L"%d", 1), 0);
    CLogLines log;
    object.SetLog(&log);
    EXPECT_EQ(object.WriteLog(kLogNormal, L"%s %d", L"wide", 1), 1);
    EXPECT_EQ(object.WriteLog(kLogNormal, "%s %d", "narrow", 2), 1);
    EXPECT_EQ(object.WriteErrorLog(L"%S %d", "error", 3), 1);
    EXPECT_EQ(log.Lines(), (std::vector<CStringA>{"wide 1", "narrow 2", "error 3"}));
    EXPECT_EQ(CSimpleLog().WriteErrorLog(L"nowhere"), 0);
    EXPECT_EQ(log.WriteErrorLog(nullptr), 0);
}

} // namespace
} // namespace alidade
