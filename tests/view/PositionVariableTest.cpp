#include "view/transforms/PositionVariable.h"

#include "foundation/bus/ImageVariable.h"
#include "view/transforms/ViewTransforms.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

using Point = TPoint2<double>;
using Points = std::vector<Point>;

void Fill(TList<Point>& list, const Points& points)
{
    for (const Point& point : points) {
        list.Insert(new Point(point));
    }
}

/// "key=value" of each child in order.
std::string Describe(const CIPVariable& result)
{
    std::string text;
    for (const CIPVariable& child : result.GetChildren()) {
        text += std::string(child.GetName()) + "=" + child.GetString("(tree)") + " ";
    }
    return text;
}

/// A view of 1001 by 801 pixels with the laser 5 pixels to the right of the centre, at (10, 20) mm.
struct T_VIEW {
    T_VIEW()
    {
        T_VIEW_GEOMETRY geometry;
        geometry.imageWidth = 1001;
        geometry.imageHeight = 801;
        transforms.Update(geometry);
        transforms.SetLaserCenter({5, 0});
        transforms.SetStageFromImage({0.01, {1, 0, 0, 1}, {0, 0}, {10, 20}});
    }
    CViewTransforms transforms;
};

TEST(PositionVariable, WritesTheKeysOfEveryGroupInOrder)
{
    const std::string machine1 = "nPtsMachine=1 MX0=12 MY0=23 MX=12 MY=23 ";
    const std::string image1 = "nPtsImage=1 IX0=515 IY0=410 IX=515 IY=410 ";
    const struct {
        Points stage, image;
        std::string expected;
    } cases[] = {
        {{}, {}, ""},
        {{{12, 23}}, {}, machine1},
        // The count of the image points stands when there are no stage points.
        {{}, {{515, 410}}, image1 + "nPtsLaserImage=1 LIX0=10 LIY0=10 LIX=10 LIY=10 "},
        {{{12, 23}},
         {{515, 410}},
         machine1 + image1 + "nPtsLaserImage=1 LIX0=10 LIY0=10 LIX=10 LIY=10 LMX0=2 LMY0=3 LMX=2 LMY=3 "},
        // One key for both counts: the stage points' is written last.
        {{{12, 23}, {14, 20}, {16, 20}},
         {{505, 400}, {507, 404}},
         "nPtsMachine=3 MX0=12 MY0=23 MX1=14 MY1=20 MX2=16 MY2=20 MX=14 MY=21 "
         "nPtsImage=2 IX0=505 IY0=400 IX1=507 IY1=404 IX=506 IY=402 "
         "nPtsLaserImage=3 LIX0=0 LIY0=0 LIX1=2 LIY1=4 LIX=1 LIY=2 "
         "LMX0=2 LMY0=3 LMX1=4 LMY1=0 LMX2=6 LMY2=0 LMX=4 LMY=1 "},
    };
    const T_VIEW view;
    for (const auto& c : cases) {
        TList<Point> stage(true), image;
        Fill(stage, c.stage);
        Fill(image, c.image);
        CIPVariable result;
        EXPECT_EQ(view.transforms.SavePositionToVar(result, &stage, &image, nullptr), 1);
        EXPECT_EQ(Describe(result), c.expected);
        // The caller's points are as they were.
        std::size_t at = 0;
        for (const Point* point : image) {
            EXPECT_EQ(*point, c.image[at++]);
        }

        if (c.stage.size() <= 1 && c.image.size() <= 1) {
            CIPVariable shortForm;
            EXPECT_EQ(view.transforms.SavePositionToVar(shortForm, c.stage.empty() ? nullptr : &c.stage[0],
                                                        c.image.empty() ? nullptr : &c.image[0]),
                      1);
            EXPECT_EQ(Describe(shortForm), c.expected);
        }
    }
}

TEST(PositionVariable, CountsAreIntegersAndPositionsDoubles)
{
    const T_VIEW view;
    const Point point = {1.25, 2.5};
    CIPVariable result;
    view.transforms.SavePositionToVar(result, &point, &point);
    for (const char* key : {"nPtsMachine", "nPtsImage", "nPtsLaserImage"}) {
        EXPECT_EQ(result.IsChildItem(key, IPVAR_INT), 1) << key;
    }
    for (const char* key : {"MX0", "MY", "IX0", "IY", "LIX0", "LIY", "LMX0", "LMY"}) {
        EXPECT_EQ(result.IsChildItem(key, IPVAR_DOUBLE), 1) << key;
    }
}

TEST(PositionVariable, AddsAnImageThatIsNotEmpty)
{
    const T_VIEW view;
    const cv::Mat empty, image(3, 4, CV_8UC3, cv::Scalar(1, 2, 3));
    CIPVariable result;
    view.transforms.SavePositionToVar(result, nullptr, nullptr, &empty);
    EXPECT_EQ(result.GetChildCount(), 0);
    view.transforms.SavePositionToVar(result, nullptr, nullptr, &image);
    cv::Mat read;
    ASSERT_EQ(result.GetChildCount(), 1);
    ASSERT_EQ(ConvertVarToMat(result("matImage"), read), 1);
    EXPECT_EQ(cv::norm(read, image, cv::NORM_INF), 0.0);
}

} // namespace
} // namespace alidade
