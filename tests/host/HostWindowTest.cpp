// The host with its window, which is drawn in memory: what it shows, and how it ends.

#include "HostProcess.h"
#include "layout/CameraLayoutItem.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

class HostWindow : public testing::Test {
protected:
    // The machine's shared blocks are the computer's: one name a test process.
    HostWindow() { ::setenv("ALIDADE_INSTANCE", ("host-window-" + std::to_string(::getpid())).c_str(), 1); }

    std::string File(const char* name) const { return (m_folder / name).string(); }
    cv::Mat Picture(const char* name) const { return cv::imread(File(name)); }

    /// A work piece that is blue up to X = 0 and red beyond.
    std::vector<std::string> TwoColours() const
    {
        cv::Mat piece(100, 200, CV_8UC3, cv::Scalar(200, 0, 0));
        piece.colRange(100, 200).setTo(cv::Scalar(0, 0, 200));
        cv::imwrite(File("piece.png"), piece);
        return {"--headless",
                "--set",
                "Scene.Width=320",
                "--set",
                "Scene.Height=240",
                "--set",
                "Scene.Color=Color",
                "--set",
                "Scene.MmPerPixel=0.02",
                "--set",
                "Scene.WorkPiece=Picture",
                "--set",
                "Scene.PictureMmPerPixel=0.2",
                "--set",
                "Scene.Picture=" + File("piece.png")};
    }
    static std::vector<std::string> Join(std::vector<std::string> first, const std::vector<std::string>& more)
    {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    }
    /// Waits until there is a whole file.
    bool WaitForFile(const char* name) const
    {
        const CDeadline deadline(60000);
        while (!std::filesystem::exists(m_folder / name) && !deadline.IsOver()) {
            Sleep(5);
        }
        return std::filesystem::exists(m_folder / name);
    }
    bool WaitForText(const char* name, const std::string& text, int times) const
    {
        const CDeadline deadline(60000);
        int found = 0;
        do {
            const std::string content = m_folder.Read(name);
            found = 0;
            for (std::size_t at = content.find(text); at != content.npos; at = content.find(text, at + 1)) {
                ++found;
            }
            Sleep(found < times ? 5 : 0);
        } while (found < times && !deadline.IsOver());
        return found >= times;
    }

    CTempFolder m_folder;
};

/// 1 for red, -1 for blue, 0 for neither.
int ColourAt(const cv::Mat& picture, int x, int y)
{
    const cv::Vec3b pixel = picture.at<cv::Vec3b>(y, x);
    return pixel[2] > pixel[0] + 80 ? 1 : pixel[0] > pixel[2] + 80 ? -1 : 0;
}

double Spread(const cv::Mat& picture, const cv::Rect& part)
{
    cv::Mat grey;
    cv::cvtColor(picture(part), grey, cv::COLOR_BGR2GRAY);
    cv::Scalar mean, deviation;
    cv::meanStdDev(grey, mean, deviation);
    return deviation[0];
}

TEST_F(HostWindow, ShowsWhatTheCameraSeesWhenTheCommandsAreDone)
{
    CHostProcess before(Join(TwoColours(), {"--size", "640x480", "--screenshot", File("before.png")}));
    ASSERT_EQ(before.Wait(), 0) << before.Errors();
    EXPECT_EQ(before.Errors(), "");
    const cv::Mat first = Picture("before.png");
    ASSERT_EQ(first.size(), cv::Size(640, 480));
    EXPECT_EQ(ColourAt(first, 200, 300), -1);
    EXPECT_EQ(ColourAt(first, 440, 300), 1);

    CHostProcess after(
        Join(TwoColours(), {"--machine", "simulated", "--grabber", "Scene", "--size", "640x480", "--exec",
                            "\"\" Stage StageMovePos TargetX=8", "--screenshot", File("after.jpg")}));
    ASSERT_EQ(after.Wait(), 0) << after.Errors();
    EXPECT_NE(after.Output().find("\"ok\":true"), std::string::npos) << after.Output();
    const cv::Mat second = Picture("after.jpg");
    ASSERT_EQ(second.size(), cv::Size(640, 480));
    EXPECT_EQ(ColourAt(second, 200, 300), 1) << "the stage has moved on, and the picture is of after that";
    EXPECT_EQ(ColourAt(second, 440, 300), 1);
}

TEST_F(HostWindow, ALayoutShowsItsCamerasAlsoWhenOneCannotBeOpened)
{
    CCameraLayoutItem screen;
    for (const wchar_t* driver : {L"Dummy", L"Nobody"}) {
        auto* leaf = new CCameraLayoutItem;
        leaf->m_bPane = 0;
        leaf->m_strFrameGrabber = driver;
        leaf->m_strCamera = driver;
        leaf->m_settings.SetItemValue(L"Dummy.resolution", L"320x240");
        screen.m_children.Insert(leaf);
    }
    ASSERT_EQ(screen.Store((m_folder / "two.layout").wstring().c_str()), 1);
    CHostProcess host({"--headless", "--layout", File("two.layout"), "--size", "800x400", "--exec",
                       "Dummy Image Grab", "--screenshot", File("two.png"), "--log", File("log")});
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    EXPECT_TRUE(host.HasOneErrorLine("FrameGrabber(Nobody) FAILED")) << host.Errors();
    EXPECT_NE(m_folder.Read("log").find("FrameGrabber(Nobody) FAILED"), std::string::npos);
    EXPECT_NE(host.Output().find("\"cols\":320"), std::string::npos) << host.Output();
    const cv::Mat picture = Picture("two.png");
    ASSERT_EQ(picture.size(), cv::Size(800, 400));
    EXPECT_GT(Spread(picture, {50, 100, 300, 250}), 5) << "the dummy's bands";
    EXPECT_LT(Spread(picture, {450, 100, 300, 250}), 1) << "an empty view";
}

TEST_F(HostWindow, ASettingHoldsWhenTheHostIsStartedAgain)
{
    double top[2] = {};
    for (int shown = 0; shown < 2; ++shown) {
        m_folder.Write("machine.ini", std::string("[CameraSettings/Camera1]\nview.ToolMenu=") +
                                          (shown ? "True" : "False") + "\n");
        CHostProcess host(Join(TwoColours(), {"--size", "320x240", "--profile", File("machine.ini"),
                                              "--screenshot", File("shot.png")}));
        ASSERT_EQ(host.Wait(), 0) << host.Errors();
        top[shown] = cv::mean(Picture("shot.png")(cv::Rect(200, 2, 100, 6)))[1]; // the piece has no green
        EXPECT_NE(m_folder.Read("machine.ini").find(shown ? "view.ToolMenu=True" : "view.ToolMenu=False"),
                  std::string::npos);
    }
    EXPECT_LT(top[0], 30) << "the picture reaches up to the top";
    EXPECT_GT(top[1], 100) << "there is the tool menu bar";
}

TEST_F(HostWindow, SettingsThatCannotBeHadAreToldAndTheHostGoesOn)
{
    m_folder.Write("file", "x");
    for (const char* profile : {"", "file/settings.ini"}) {
        CHostProcess host({"--headless", "--grabber", "Dummy", "--profile", File(profile), "--screenshot",
                           File("shot.png")});
        EXPECT_EQ(host.Wait(), 0) << host.Errors();
        EXPECT_NE(host.Errors().find("will not be kept"), std::string::npos) << host.Errors();
        EXPECT_TRUE(std::filesystem::exists(m_folder / "shot.png"));
        std::filesystem::remove(m_folder / "shot.png");
    }
}

TEST_F(HostWindow, WhatIsWrongEndsItBeforeAWindowOpens)
{
    m_folder.Write("file", "x");
    m_folder.Write("text", "not what it should be");
    m_folder.Write("broken.layout", std::string("CL\x01\x00\x02\x00\x00\x00\x01", 9));
    const CWrongDriver stalling("InitStalls");
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* text;
    } cases[] = {
        {{"--layout", File("none.layout")}, 1, "none.layout cannot be read"},
        {{"--layout", File("broken.layout")}, 1, "broken.layout cannot be read: CCameraLayoutItem::Load : "},
        {{"--layout", File("text")}, 1, "is no layout"},
        {{"--grabber", "Nobody"}, 2, "no driver Nobody"},
        {{"--grabber", "Replay", "--set", "Replay.Source=" + File("none")}, 1, "none does not exist"},
        {{"--grabber", "Replay", "--set", "Replay.Sorce=x"}, 2, "Replay.Source"},
        {{"--grabber", "Dummy", "--profile", File("a.ini"), "--section", "Top"}, 2, "CameraSettings/Top"},
        {{"--screenshot", File("file/shot.png")}, 1, "cannot be made"},
        {{"--drivers", stalling.Folder(), "--grabber", "InitStalls", "--timeout", "5"}, 1, "did not open"},
    };
    for (const auto& c : cases) {
        CHostProcess host(Join({"--headless", "--quit-after", "600"}, c.arguments));
        EXPECT_EQ(host.Wait(), c.status) << c.text;
        EXPECT_TRUE(host.HasOneErrorLine(c.text)) << host.Errors();
    }
    EXPECT_EQ(m_folder.Read("file"), "x");
}

TEST_F(HostWindow, ACameraThatDoesNotCloseOrDeliverDoesNotHoldIt)
{
    const CWrongDriver noFrames("NoFrames");
    const CWrongDriver closeStalls("CloseStalls");
    const std::vector<std::string> common = {"--headless", "--timeout", "5", "--screenshot",
                                             File("shot.png")};
    CHostProcess silent(Join(common, {"--drivers", noFrames.Folder(), "--grabber", "NoFrames"}));
    EXPECT_EQ(silent.Wait(), 0) << silent.Errors();
    EXPECT_TRUE(silent.HasOneErrorLine("before every view had shown a frame")) << silent.Errors();
    EXPECT_EQ(Picture("shot.png").size(), cv::Size(1280, 960));
    CHostProcess stalling(Join(common, {"--drivers", closeStalls.Folder(), "--grabber", "CloseStalls"}));
    EXPECT_EQ(stalling.Wait(), 1);
    EXPECT_NE(stalling.Errors().find("a driver did not close"), std::string::npos) << stalling.Errors();
}

TEST_F(HostWindow, GoesOnWithoutADisplay)
{
    for (const char* display : {"", "DISPLAY=:4077"}) {
        std::vector<std::string> environment;
        if (*display != '\0') {
            environment.push_back(display);
        }
        CHostProcess host({"--screenshot", File("shot.png")}, environment);
        EXPECT_EQ(host.Wait(), 0);
        EXPECT_TRUE(host.HasOneErrorLine("there is no display")) << host.Errors();
        EXPECT_TRUE(std::filesystem::exists(m_folder / "shot.png"));
        std::filesystem::remove(m_folder / "shot.png");
    }
}

TEST_F(HostWindow, EndsWhenItsTimeIsOver)
{
    CHostProcess host({"--headless", "--grabber", "Dummy", "--quit-after", "1"});
    EXPECT_EQ(host.Wait(), 0);
    EXPECT_EQ(host.Errors(), "");
}

TEST_F(HostWindow, AnInterruptEndsItAlsoWhileACommandMovesTheStage)
{
    CHostProcess idle(
        {"--headless", "--grabber", "Dummy", "--screenshot", File("shot.png"), "--quit-after", "600"});
    ASSERT_TRUE(WaitForFile("shot.png"));
    idle.Interrupt();
    EXPECT_EQ(idle.Wait(), 0) << idle.Errors();

    CHostProcess moving({"--headless", "--machine", "simulated", "--grabber", "Dummy", "--exec",
                         "Camera1 Image Grab", "--exec", "\"\" Stage StageMovePos TargetX=200 Speed=0.01",
                         "--quit-after", "600"});
    const CDeadline deadline(60000);
    while (moving.Output().empty() && !deadline.IsOver()) {
        Sleep(5);
    }
    moving.Interrupt();
    EXPECT_EQ(moving.Wait(), 1) << "the second command failed";
    EXPECT_NE(moving.Errors().find("1 of 2 commands failed"), std::string::npos) << moving.Errors();
}

TEST_F(HostWindow, ACameraThatIsUnpluggedAndComesBackIsShownAgain)
{
    CHostProcess host({"--headless", "--set", "Scene.Width=320", "--set", "Scene.Height=240", "--set",
                       "Scene.FrameRate=50", "--set", "Scene.UnplugAfter=5", "--set", "Scene.UnplugFor=200",
                       "--log", File("log"), "--screenshot", File("shot.png"), "--quit-after", "600"});
    EXPECT_TRUE(WaitForText("log", "the camera is back", 3)) << m_folder.Read("log");
    EXPECT_TRUE(WaitForFile("shot.png"));
    host.Interrupt();
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    EXPECT_NE(host.Errors().find("the camera was unplugged"), std::string::npos) << host.Errors();
    EXPECT_GT(Spread(Picture("shot.png"), {100, 100, 1000, 800}), 5);
}

} // namespace
} // namespace alidade
