// Which pictures are played, in which order and form, and what is said about those that cannot be.

#include "ReplayHarness.h"
#include "drivers/replay/ReplaySettings.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

/// Plays a source once to its end and returns the frames' numbers.
std::vector<int> PlayToEnd(const CProfileSection& settings)
{
    CLogLines log;
    auto driver = MakeReplay();
    driver->SetLog(&log);
    CFrameCollector frames(*driver);
    CString message;
    EXPECT_EQ(driver->InitFrameGrabber(settings, message), 1) << ToNarrow(message);
    EXPECT_EQ(driver->StartCapture(), 1);
    EXPECT_TRUE(log.WaitFor("end of the source"));
    EXPECT_EQ(driver->CloseFrameGrabber(), 1);
    return frames.Numbers();
}

class ReplayFiles : public testing::Test {
protected:
    void Put(const std::filesystem::path& name, int number)
    {
        WritePicture(m_folder / name, NumberedPicture(number));
    }

    CTempFolder m_folder{std::filesystem::path(u8"alidade replay \u00e4\u6f22")};
};

TEST_F(ReplayFiles, AFolderPlaysItsPicturesInTheOrderOfTheirNames)
{
    Put("b.png", 2);
    Put("10.png", 0);
    Put("9.bmp", 1);
    Put("c.PNG", 3);
    Put(".hidden.png", 9);
    m_folder.Write("notes.txt", "not a picture");
    std::filesystem::create_directory(m_folder / "aa.png");
    EXPECT_EQ(PlayToEnd(ReplaySettings(m_folder.Path())), (std::vector{0, 1, 2, 3}));
}

TEST_F(ReplayFiles, AWildcardPlaysWhatMatches)
{
    Put("left01.png", 1);
    Put("left02.png", 2);
    Put("Left03.PNG", 3);
    Put("right01.png", 9);
    EXPECT_EQ(PlayToEnd(ReplaySettings(m_folder / "left*.png")), (std::vector{3, 1, 2})) << "case is ignored";
    EXPECT_EQ(PlayToEnd(ReplaySettings(m_folder / "left0?.png")).size(), 3u);

    CProfileSection settings = ReplaySettings(m_folder.Path());
    settings.SetItemValue(L"Replay.Source", (FromPath(m_folder.Path()) + L"\\right*").c_str());
    EXPECT_EQ(PlayToEnd(settings), std::vector{9}) << "back-slashes separate folders";
}

TEST_F(ReplayFiles, ASinglePictureIsPlayed)
{
    Put("only.png", 5);
    EXPECT_EQ(PlayToEnd(ReplaySettings(m_folder / "only.png")), std::vector{5});
}

struct ColorCase {
    int fileType;
    const wchar_t* setting;
    int frameType;
    cv::Scalar pixel;
};

TEST_F(ReplayFiles, ColorSettingDecidesDepthAndChannels)
{
    // The file's pixel is 40, 41, 42 and, where there is transparency, 7 (times 256 at 16 bits).
    const ColorCase cases[] = {
        {CV_8UC1, L"Color", CV_8UC3, {40, 40, 40}},
        {CV_8UC3, L"Color", CV_8UC3, {40, 41, 42}},
        {CV_8UC4, L"color", CV_8UC3, {40, 41, 42}},
        {CV_16UC1, L"Color", CV_8UC3, {40, 40, 40}},
        {CV_8UC1, L"Gray", CV_8UC1, {40}},
        {CV_8UC3, L"GRAY", CV_8UC1, {41}},
        {CV_16UC3, L"Gray", CV_8UC1, {41}},
        {CV_8UC1, L"Unchanged", CV_8UC1, {40}},
        {CV_8UC4, L"Unchanged", CV_8UC3, {40, 41, 42}},
        {CV_16UC1, L"Unchanged", CV_16UC1, {40 * 256}},
        {CV_16UC3, L"Unchanged", CV_16UC3, {40 * 256, 41 * 256, 42 * 256}},
        {CV_16UC4, L"Unchanged", CV_16UC3, {40 * 256, 41 * 256, 42 * 256}},
    };
    for (const ColorCase& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.fileType << " " << ToNarrow(c.setting));
        WritePicture(m_folder / "a.png", NumberedPicture(40, c.fileType));
        auto driver = MakeReplay();
        CFrameCollector frames(*driver);
        CProfileSection settings = ReplaySettings(m_folder.Path());
        settings.SetItemValue(L"Replay.Color", c.setting);
        CString message;
        ASSERT_EQ(driver->InitFrameGrabber(settings, message), 1) << ToNarrow(message);
        EXPECT_EQ(driver->m_imageSize, cv::Size(32, 24));
        driver->StartCapture();
        ASSERT_TRUE(frames.WaitFor(1));
        driver->CloseFrameGrabber();
        const cv::Mat frame = frames.LastFrame();
        ASSERT_EQ(frame.type(), c.frameType);
        EXPECT_EQ(cv::norm(frame, cv::Mat(frame.size(), frame.type(), c.pixel), cv::NORM_INF), 0);
    }
}

TEST_F(ReplayFiles, WhatCannotBePlayedIsSkippedCountedAndNamedOnce)
{
    Put("01.png", 1);
    m_folder.Write("02.png", "this is no picture at all");
    m_folder.Write("03.png", "");
    m_folder.Write("04.ppm", "P6\n300000 300000\n255\n");
    Put("05.png", 5);
    const std::string whole = m_folder.Read("05.png");
    m_folder.Write("06.png", std::string_view(whole).substr(0, whole.size() / 2));
    WritePicture(m_folder / "07.png", NumberedPicture(7, CV_8UC1, {33, 24}));
    Put("08.png", 8);

    CLogLines log;
    auto driver = MakeReplay();
    driver->SetLog(&log);
    CFrameCollector frames(*driver);
    CString message;
    ASSERT_EQ(driver->InitFrameGrabber(ReplaySettings(m_folder.Path(), true), message), 1)
        << ToNarrow(message);
    EXPECT_EQ(message, L"Replay: 8 pictures, 32 x 24, 8-bit colour as 01.png");
    driver->StartCapture();
    ASSERT_TRUE(frames.WaitFor(6));
    driver->CloseFrameGrabber();

    const std::vector<int> numbers = frames.Numbers();
    EXPECT_EQ(std::vector(numbers.begin(), numbers.begin() + 6), (std::vector{1, 5, 8, 1, 5, 8}));
    for (const char* name : {"02.png", "03.png", "04.ppm", "06.png"}) {
        EXPECT_EQ(log.Count(std::string(name) + " cannot be read"), 1) << name;
    }
    EXPECT_EQ(log.Count("07.png (33 x 24, 8-bit colour) is skipped: 01.png is 32 x 24, 8-bit colour"), 1);
    const std::string counts = "closed; " + std::to_string(numbers.size()) + " delivered, ";
    EXPECT_EQ(log.Count(counts), 1) << "the counters stand in the log";
    EXPECT_EQ(log.Count(", 0 skipped as unreadable"), 0);
}

TEST_F(ReplayFiles, PicturesOfAnotherTypeAreSkippedWhenNothingIsConverted)
{
    WritePicture(m_folder / "1.png", NumberedPicture(1, CV_16UC1));
    WritePicture(m_folder / "2.png", NumberedPicture(2, CV_8UC1));
    WritePicture(m_folder / "3.png", NumberedPicture(3, CV_16UC1));
    CProfileSection settings = ReplaySettings(m_folder.Path());
    settings.SetItemValue(L"Replay.Color", L"Unchanged");
    EXPECT_EQ(PlayToEnd(settings), (std::vector{1, 3}));
}

struct RefusalCase {
    const char* what;
    const wchar_t* key;
    const wchar_t* value; // "@" stands for the folder
    const wchar_t* text;  // part of the message
};

TEST_F(ReplayFiles, WhatCannotBeOpenedIsRefusedWithAClearText)
{
    std::filesystem::create_directory(m_folder / "empty");
    std::filesystem::create_directory(m_folder / "broken");
    m_folder.Write("broken/1.png", "junk");
    m_folder.Write("broken/2.png", "");
    m_folder.Write("text.avi", "this is no video");
    Put("good.png", 1);
    const RefusalCase cases[] = {
        {"no source", L"Replay.Source", L"  ", L"Replay.Source is empty"},
        {"missing file", L"Replay.Source", L"@/none.png", L"none.png does not exist"},
        {"missing folder of a wildcard", L"Replay.Source", L"@/none/a*.png", L"cannot be read"},
        {"nothing matches", L"Replay.Source", L"@/zz*.png", L"matches zz*.png"},
        {"empty folder", L"Replay.Source", L"@/empty", L"no picture in the folder"},
        {"only damaged pictures", L"Replay.Source", L"@/broken", L"nothing in"},
        {"damaged video", L"Replay.Source", L"@/text.avi",
         L"text.avi cannot be read as a picture or a video"},
        {"no file", L"Replay.Source", L"/dev/null", L"neither a file nor a folder"},
        {"colour word", L"Replay.Color", L"Sepia", L"Replay.Color = Sepia is none of Color;Gray;Unchanged"},
        {"negative rate", L"Replay.FrameRate", L"-1", L"Replay.FrameRate = -1"},
        {"rate too high", L"Replay.FrameRate", L"1e9", L"Replay.FrameRate = 1e9"},
        {"rate too low", L"Replay.FrameRate", L"1e-9", L"Replay.FrameRate = 1e-9"},
    };
    auto driver = MakeReplay();
    CFrameCollector frames(*driver);
    CString message;
    for (const RefusalCase& c : cases) {
        SCOPED_TRACE(c.what);
        CProfileSection settings = ReplaySettings(m_folder.Path());
        CString value = c.value;
        if (value.front() == L'@') {
            value = FromPath(m_folder.Path()) + value.substr(1);
        }
        settings.SetItemValue(c.key, value.c_str());
        message.clear();
        EXPECT_EQ(driver->InitFrameGrabber(settings, message), 0);
        EXPECT_NE(message.find(c.text), message.npos) << ToNarrow(message);
        EXPECT_EQ(driver->StartCapture(), 0) << "nothing is open";
    }
    EXPECT_EQ(driver->InitFrameGrabber(ReplaySettings(m_folder / "good.png"), message), 1)
        << ToNarrow(message);
}

TEST_F(ReplayFiles, ARateThatIsNoNumberMeansTheDefault)
{
    T_REPLAY_SETTINGS read;
    CString message;
    CProfileSection settings;
    settings.SetItemValue(L"Replay.Source", L"x");
    settings.SetItemValue(L"Replay.FrameRate", L"fast");
    ASSERT_EQ(ReadReplaySettings(settings, read, message), 1) << ToNarrow(message);
    EXPECT_EQ(read.dFrameRate, 15.0);
    EXPECT_TRUE(read.bLoop);
    EXPECT_EQ(read.eColor, eREPLAY_COLOR::COLOR);
}

} // namespace
} // namespace alidade
