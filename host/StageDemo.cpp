#include "host/StageDemo.h"

#include "foundation/bus/ImageVariable.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

constexpr int kColumns = 4;
constexpr int kRows = 3;
constexpr double kPitchX = 12.0; // mm between stops
constexpr double kPitchY = 9.0;
constexpr int kCellWidth = 400;
constexpr int kCaption = 28;
constexpr DWORD kTimeout = 60000;
// From the end of a move until a picture shows it: exposure, delay and delivery of what the camera then sees.
constexpr DWORD kCameraTime = 250;
// Of a camera that was held up in that time: frames that may still show where the stage was, and one more.
constexpr int kCameraFrames = 3;

const cv::Scalar kPaper(32, 32, 32);
const cv::Scalar kInk(230, 230, 230);

bool MoveTo(CIPClient& client, double x, double y, CString& error)
{
    CIPVariable target;
    target.SetChildItem("TargetX", x);
    target.SetChildItem("TargetY", y);
    if (!client.SendIPCommand("Sequence", nullptr, "Stage", "StageMovePos", target, kTimeout, nullptr)) {
        error =
            Format(L"The stage does not move to %.3f, %.3f: %ls", x, y, CIPClient::GetLastIPError().c_str());
        return false;
    }
    return true;
}

bool Grab(CIPClient& client, const char* unit, cv::Mat& image, CString& error)
{
    CIPVariable result;
    if (!client.SendIPCommand(nullptr, unit, "Image", "Grab", CIPVariable(), result, kTimeout, nullptr)) {
        error = L"There is no picture: " + CIPClient::GetLastIPError();
        return false;
    }
    if (!ConvertVarToMat(result("Image"), image)) {
        error = L"The answer to \"Image\" \"Grab\" holds no picture.";
        return false;
    }
    return true;
}

/// A picture of the sheet: the image at the cell's width, and below it where the stage stood.
cv::Mat MakeCell(const cv::Mat& image, double x, double y)
{
    cv::Mat colour = image;
    if (image.channels() == 1) {
        cv::cvtColor(image, colour, cv::COLOR_GRAY2BGR);
    }
    const int height = std::max(1, image.rows * kCellWidth / image.cols);
    cv::Mat cell(height + kCaption, kCellWidth, CV_8UC3, kPaper);
    cv::Mat picture = cell.rowRange(0, height);
    cv::resize(colour, picture, picture.size(), 0.0, 0.0, cv::INTER_AREA);
    cv::drawMarker(picture, {kCellWidth / 2, height / 2}, {0, 255, 255}, cv::MARKER_CROSS, 24, 1);
    cv::putText(cell, ToNarrow(Format(L"X %+.3f  Y %+.3f mm", x, y)), {8, height + kCaption - 9},
                cv::FONT_HERSHEY_SIMPLEX, 0.55, kInk, 1, cv::LINE_AA);
    return cell;
}

bool WriteSheet(const std::vector<cv::Mat>& cells, const CString& file, CString& error)
{
    constexpr int gap = 8;
    const cv::Size size = cells.front().size();
    cv::Mat sheet(kRows * (size.height + gap) + gap, kColumns * (size.width + gap) + gap, CV_8UC3, kPaper);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const int column = static_cast<int>(i) % kColumns;
        const int row = static_cast<int>(i) / kColumns;
        cells[i].copyTo(
            sheet(cv::Rect({gap + column * (size.width + gap), gap + row * (size.height + gap)}, size)));
    }
    std::vector<uchar> bytes;
    if (!cv::imencode(".png", sheet, bytes)) {
        error = L"The sheet cannot be encoded.";
        return false;
    }
    return ReplaceFileWith(ToPath(file), {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                           &error) != 0;
}

} // namespace

int RunStageDemo(CIPClient& client, const char* unit, const std::function<int()>& waitForFrame,
                 const CString& file, CEvent& stop, CString& error)
{
    std::vector<cv::Mat> cells(static_cast<std::size_t>(kColumns * kRows));
    for (int i = 0; i < kColumns * kRows; ++i) {
        // Back and forth, so that every move is a short one; the sheet shows the plane as it lies.
        const int row = i / kColumns;
        const int column = row % 2 == 0 ? i % kColumns : kColumns - 1 - i % kColumns;
        cv::Mat image;
        CIPVariable position;
        if (!MoveTo(client, (column - (kColumns - 1) / 2.0) * kPitchX, (row - (kRows - 1) / 2.0) * kPitchY,
                    error)) {
            return 0;
        }
        if (stop.Wait(kCameraTime)) {
            error = L"interrupted";
            return 0;
        }
        for (int frame = 0; frame < kCameraFrames && waitForFrame() != 0; ++frame) {
        }
        if (!Grab(client, unit, image, error)) {
            return 0;
        }
        if (!client.SendIPCommand("Sequence", nullptr, "Stage", "GetPosition", CIPVariable(), position,
                                  kTimeout, nullptr)) {
            error = L"The stage does not tell its position: " + CIPClient::GetLastIPError();
            return 0;
        }
        cells[static_cast<std::size_t>((kRows - 1 - row) * kColumns + column)] = // Y points up
            MakeCell(image, position("X", 0.0), position("Y", 0.0));
    }
    return WriteSheet(cells, file, error) ? 1 : 0;
}

} // namespace alidade
