// The program from end to end: frames in, files and a report out.

#include "HostProcess.h"

#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace alidade {
namespace {

using nlohmann::json;

class HostProgram : public testing::Test {
protected:
    /// Pictures that carry their number in every pixel of the left half; the right half is black.
    void PutPictures(int count, int type = CV_8UC1)
    {
        const double unit = CV_MAT_DEPTH(type) == CV_16U ? 256 : 1;
        std::filesystem::create_directory(m_folder / "in");
        for (int i = 1; i <= count; ++i) {
            cv::Mat picture(24, 32, type, cv::Scalar::all(0));
            picture.colRange(0, 16).setTo(cv::Scalar::all(i * unit));
            char name[16];
            std::snprintf(name, sizeof(name), "in/%04d.png", i);
            ASSERT_TRUE(cv::imwrite((m_folder / name).string(), picture));
        }
    }

    std::string Source() const { return "Replay.Source=" + (m_folder / "in").string(); }
    std::string Pattern() const { return (m_folder / "out/%04d.png").string(); }
    std::string ReportFile() const { return (m_folder / "report.json").string(); }
    json Report() const { return json::parse(m_folder.Read("report.json")); }
    std::vector<std::string> Files() const { return ListNames(m_folder / "out"); }
    cv::Mat File(const std::string& name) const
    {
        return cv::imread((m_folder / "out" / name).string(), cv::IMREAD_UNCHANGED);
    }

    CTempFolder m_folder;
};

TEST_F(HostProgram, PlaysPicturesThroughTurnAndClipToFilesAndAReport)
{
    PutPictures(7);
    CHostProcess host({"--grabber", "Replay", "--set", Source(), "--set", "Replay.FrameRate=0", "--set",
                       "Replay.Loop=False", "--set", "Image.Rotate=1", "--clip", "12,0,8,10", "--frames", "7",
                       "--save", Pattern(), "--report", ReportFile()});
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    EXPECT_EQ(host.Errors(), "");
    EXPECT_EQ(host.Output().find("Replay: 7 frames of 10 x 8 CV_8UC3"), 0u) << host.Output();

    EXPECT_EQ(Files(), (std::vector<std::string>{"0001.png", "0002.png", "0003.png", "0004.png", "0005.png",
                                                 "0006.png", "0007.png"}));
    for (int i = 1; i <= 7; ++i) {
        const cv::Mat file = File("000" + std::to_string(i) + ".png");
        ASSERT_EQ(file.type(), CV_8UC3);
        ASSERT_EQ(file.size(), cv::Size(10, 8));
        // Turned anticlockwise, the bright left half of the clip is at the bottom.
        EXPECT_EQ(cv::norm(file.rowRange(4, 8), cv::Mat(4, 10, CV_8UC3, cv::Scalar::all(i)), cv::NORM_INF),
                  0);
        EXPECT_EQ(cv::norm(file.rowRange(0, 4), cv::NORM_INF), 0);
    }

    const json report = Report();
    EXPECT_EQ(report["driver"], "Replay");
    EXPECT_EQ(report["message"], "Replay: 7 pictures, 32 x 24, 8-bit colour as 0001.png");
    EXPECT_EQ(report["settings"]["Image.Rotate"], "1");
    EXPECT_EQ(report["source_size"], (json{{"width", 32}, {"height", 24}}));
    EXPECT_EQ(report["size"], (json{{"width", 10}, {"height", 8}}));
    EXPECT_EQ(report["type"], "CV_8UC3");
    EXPECT_EQ(report["frames"], 7);
    EXPECT_EQ(report["delivered"], 7);
    EXPECT_EQ(report["drops"], 0);
    EXPECT_GT(report["frame_rate"], 0.0);
    EXPECT_GE(report["time_to_first_frame_ms"], 0.0);
    EXPECT_EQ(report["first_file"], (m_folder / "out/0001.png").string());
    EXPECT_EQ(report["last_file"], (m_folder / "out/0007.png").string());
    EXPECT_EQ(report["ended"], "frames");
    EXPECT_TRUE(report["error"].is_null());
}

TEST_F(HostProgram, KeepsSixteenBits)
{
    PutPictures(2, CV_16UC1);
    CHostProcess host({"--grabber", "Replay", "--set", Source(), "--set", "Replay.Color=Unchanged",
                       "--frames", "2", "--save", Pattern()});
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    const cv::Mat file = File("0002.png");
    ASSERT_EQ(file.type(), CV_16UC1);
    EXPECT_EQ(file.at<std::uint16_t>(0, 0), 512);
}

TEST_F(HostProgram, DropsAreCountedWhenTheDriverIsFasterThanTheWriter)
{
    PutPictures(100);
    CHostProcess host({"--grabber", "Replay", "--set", Source(), "--set", "Replay.FrameRate=0", "--frames",
                       "60", "--buffers", "1", "--save", Pattern(), "--report", ReportFile()});
    ASSERT_EQ(host.Wait(), 0) << host.Errors();
    const json report = Report();
    EXPECT_EQ(report["frames"], 60);
    EXPECT_EQ(report["delivered"].get<int>(), 60 + report["drops"].get<int>());
    // The number in each file tells which frame it was: it runs on by one, or by one more for each drop.
    int delivered = 0;
    int before = 0;
    for (const std::string& name : Files()) {
        const int number = File(name).at<cv::Vec3b>(0, 0)[0];
        delivered += (number - before + 100) % 100 == 0 ? 100 : (number - before + 100) % 100;
        before = number;
    }
    EXPECT_EQ(delivered % 100, report["delivered"].get<int>() % 100);
}

TEST_F(HostProgram, ReadsTheSectionOfASettingsFile)
{
    m_folder.Write("machine.ini", "[CameraSettings/Default]\nDummy.resolution=320x200\nDummy.FrameRate=100\n"
                                  "[CameraSettings/Top]\nDummy.resolution=64x48\nDummy.FrameRate=100\n");
    const std::string profile = (m_folder / "machine.ini").string();
    const struct {
        std::vector<std::string> arguments;
        int width;
    } cases[] = {
        {{}, 320},
        {{"--section", "Top"}, 64},
        {{"--section", "Top", "--set", "Dummy.resolution=128x48"}, 128},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = {"--grabber", "Dummy", "--profile", profile,
                                              "--frames",  "1",     "--report",  ReportFile()};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        CHostProcess host(arguments);
        EXPECT_EQ(host.Wait(), 0) << host.Errors();
        EXPECT_EQ(Report()["size"]["width"], c.width);
    }
}

TEST_F(HostProgram, AnInterruptEndsItWithWhatItHas)
{
    CHostProcess host({"--grabber", "Dummy", "--set", "Dummy.resolution=320x200", "--set",
                       "Dummy.FrameRate=100", "--save", Pattern(), "--report", ReportFile()});
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(m_folder / "out/0003.png"); }));
    EXPECT_FALSE(std::filesystem::exists(ReportFile()));
    host.Interrupt();
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    EXPECT_EQ(host.Errors(), "");
    const json report = Report();
    EXPECT_EQ(report["ended"], "interrupted");
    EXPECT_GE(report["frames"], 3);
    const std::vector<std::string> files = Files();
    EXPECT_EQ(files.size(), report["frames"].get<std::size_t>()) << "no file is missing or half written";
    EXPECT_EQ(report["last_file"], (m_folder / "out" / files.back()).string());
    EXPECT_FALSE(File(files.back()).empty());
}

TEST_F(HostProgram, ListsDriversWithTheirSettings)
{
    CHostProcess host({"--list-drivers"});
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    const std::string list = host.Output();
    for (const char* line : {"\nReplay\n", "  Replay.Source ", "[Color, Gray, Unchanged]\n",
                             "  Dummy.FrameRate ", "[15, 30 or another]\n"}) {
        EXPECT_NE(("\n" + list).find(line), std::string::npos) << line << " is not in\n" << list;
    }
}

TEST_F(HostProgram, WritesALog)
{
    PutPictures(2);
    m_folder.Write("in/0000.png", "junk");
    CHostProcess host({"--grabber", "Replay", "--set", Source(), "--frames", "4", "--log",
                       (m_folder / "host.log").string()});
    EXPECT_EQ(host.Wait(), 0) << host.Errors();
    EXPECT_NE(m_folder.Read("host.log").find("0000.png cannot be read and is skipped"), std::string::npos);
}

} // namespace
} // namespace alidade
