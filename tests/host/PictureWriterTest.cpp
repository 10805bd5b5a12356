#include "host/PictureWriter.h"

#include "foundation/platform/Text.h"
#include "host/OutputCheck.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace alidade {
namespace {

CPictureWriter MakeWriter(const std::filesystem::path& pattern)
{
    CFileNamePattern parsed;
    CString error;
    EXPECT_EQ(parsed.Parse(FromPath(pattern), error), 1) << ToNarrow(error);
    return CPictureWriter(parsed);
}

TEST(PictureWriter, KeepsEveryPixelOfEveryTypeItTakes)
{
    CTempFolder folder;
    const struct {
        const char* extension;
        int type;
        bool taken;
    } cases[] = {
        {".png", CV_8UC1, true},   {".png", CV_8UC3, true},    {".png", CV_16UC1, true},
        {".png", CV_16UC3, true},  {".png", CV_32FC1, false},  {".tif", CV_32FC1, true},
        {".TIFF", CV_16UC1, true}, {".bmp", CV_8UC3, true},    {".bmp", CV_16UC1, false},
        {".jpg", CV_16UC1, false}, {".webp", CV_16UC3, false}, {".png", CV_8UC2, false},
        {".png", CV_16SC1, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.extension << " " << cv::typeToString(c.type));
        CPictureWriter writer = MakeWriter(folder / (std::string("%d") + c.extension));
        CString error;
        ASSERT_TRUE(writer.IsFormatKnown());
        EXPECT_EQ(writer.CheckType(c.type, error), c.taken) << ToNarrow(error);
        if (!c.taken) {
            continue;
        }
        cv::Mat image(24, 32, c.type);
        cv::randu(image, 0, c.type == CV_8UC1 || c.type == CV_8UC3 ? 256 : 65536);
        ASSERT_EQ(writer.Write(image, 5, error), 1) << ToNarrow(error);
        const cv::Mat read = cv::imread(writer.GetFile(5).string(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(read.type(), c.type);
        EXPECT_EQ(cv::norm(read, image, cv::NORM_INF), 0);
    }
    EXPECT_FALSE(MakeWriter("%d.gif").IsFormatKnown());
    EXPECT_FALSE(MakeWriter("%d").IsFormatKnown());
}

TEST(OutputCheck, MakesFoldersAndLeavesNothingBehind)
{
    CTempFolder folder;
    CString error;
    EXPECT_EQ(CheckFolder(folder / "a/b", error), 1) << ToNarrow(error);
    EXPECT_EQ(CheckFile(folder / "a/c/report.json", error), 1) << ToNarrow(error);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "a/b"));
    EXPECT_TRUE(std::filesystem::is_empty(folder / "a/c"));
    folder.Write("old.json", "old");
    EXPECT_EQ(CheckFile(folder / "old.json", error), 1) << ToNarrow(error);
    EXPECT_EQ(folder.Read("old.json"), "old");
}

TEST(OutputCheck, RefusesWhatCannotBeAFile)
{
    CTempFolder folder;
    folder.Write("file", "x");
    for (const std::filesystem::path& path :
         {folder / "file/report.json", folder / "file/deeper/report.json", folder.Path(), folder / "new/",
          std::filesystem::path("/dev/null"), std::filesystem::path("/proc/report.json")}) {
        CString error;
        EXPECT_EQ(CheckFile(path, error), 0) << path;
        EXPECT_FALSE(error.empty()) << path;
    }
    EXPECT_EQ(folder.Read("file"), "x");
}

} // namespace
} // namespace alidade
