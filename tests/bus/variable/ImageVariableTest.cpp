#include "foundation/bus/ImageVariable.h"
#include <algorithm>

using namespace alidade;

namespace {

cv::Mat MakeImage(int rows, int cols, int type)
{
    cv::Mat image(rows, cols, type);
    for (int y = 0; y < rows; ++y) {
        for (std::size_t x = 0; x < cols * image.elemSize(); ++x) {
            image.ptr(y)[x] = static_cast<unsigned char>(y * 31 + static_cast<int>(x) * 7 + 1);
        }
    }
    return image;
}

bool IsSame(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type()) {
        return false;
    }
    for (int y = 0; y < a.rows; ++y) {
        if (std::memcmp(a.ptr(y), b.ptr(y), a.cols * a.elemSize()) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(ImageVariable, AnImageComesBackAsItWas)
{
    const cv::Mat whole = MakeImage(20, 30, CV_16UC3);
    for (const cv::Mat& image :
         {whole, whole(cv::Rect(3, 4, 10, 6)), whole(cv::Rect(5, 19, 25, 1)), whole(cv::Rect(7, 0, 1, 20)),
          MakeImage(1, 1, CV_64FC4), MakeImage(1200, 1600, CV_8UC3)}) {
        CIPVariable v;
        v.SetChildItem("old", 1);
        ASSERT_EQ(ConvertMatToVar(v, image), 1);
        ASSERT_EQ(v.GetChildCount(), 4);
        EXPECT_EQ(v("rows", 0), image.rows);
        EXPECT_EQ(v("cols", 0), image.cols);
        EXPECT_EQ(v("type", 0), image.type());
        EXPECT_EQ(v("data").GetSize(), image.total() * image.elemSize()) << "without gaps between rows";
        cv::Mat back = MakeImage(2, 2, CV_8U);
        const cv::Mat bystander = back;
        ASSERT_EQ(ConvertVarToMat(v, back), 1);
        EXPECT_TRUE(IsSame(image, back));
        EXPECT_TRUE(IsSame(bystander, MakeImage(2, 2, CV_8U)));
    }
}

TEST(ImageVariable, TheVariableAndTheImageDoNotShareMemory)
{
    cv::Mat image = MakeImage(10, 10, CV_8U);
    const cv::Mat before = image.clone();
    CIPVariable v;
    ConvertMatToVar(v, image);
    image.setTo(0);
    cv::Mat back;
    ConvertVarToMat(v, back);
    EXPECT_TRUE(IsSame(back, before));
    back.setTo(0);
    cv::Mat again;
    ConvertVarToMat(v, again);
    EXPECT_TRUE(IsSame(again, before));

    // An image within the variable that it is written to.
    const cv::Mat inside(10, 10, CV_8U, v("data").GetRawData());
    ConvertMatToVar(v, inside(cv::Rect(0, 0, 5, 10)));
    ConvertVarToMat(v, again);
    EXPECT_TRUE(IsSame(again, before(cv::Rect(0, 0, 5, 10))));
}

TEST(ImageVariable, AShortBlockLeavesTheRestBlack)
{
    const cv::Mat image = MakeImage(4, 5, CV_8U);
    for (const unsigned bytes : {0u, 5u, 12u, 19u, 20u, 25u}) {
        SCOPED_TRACE(bytes);
        CIPVariable v;
        ConvertMatToVar(v, image);
        std::vector<unsigned char> block(bytes, 0xAA);
        std::copy_n(image.data, std::min(bytes, 20u), block.begin());
        v.SetChildItem("data", block.data(), bytes, 0);
        cv::Mat back;
        ASSERT_EQ(ConvertVarToMat(v, back), 1);
        for (unsigned i = 0; i < 20; ++i) {
            EXPECT_EQ(back.data[i], i < bytes ? image.data[i] : 0) << i;
        }
    }
    CIPVariable v;
    v.SetChildItem("rows", 2);
    v.SetChildItem("cols", 3);
    v.SetChildItem("type", CV_32F);
    cv::Mat back;
    EXPECT_EQ(ConvertVarToMat(v, back), 1) << "without data";
    EXPECT_TRUE(IsSame(back, cv::Mat::zeros(2, 3, CV_32F)));
    v.SetChildItem("data", "a text");
    EXPECT_EQ(ConvertVarToMat(v, back), 1) << "data that is no raw block";
    EXPECT_TRUE(IsSame(back, cv::Mat::zeros(2, 3, CV_32F)));
}

TEST(ImageVariable, SizesThatNoImageHasAreRefused)
{
    struct T_CASE {
        int rows, cols, type;
    };
    for (const T_CASE& c :
         {T_CASE{0, 5, 0}, T_CASE{5, 0, 0}, T_CASE{-1, 5, 0}, T_CASE{5, -5, 0}, T_CASE{5, 5, -1},
          T_CASE{5, 5, 0x1000}, T_CASE{INT_MAX, INT_MAX, 0xfff}, T_CASE{INT_MAX, 1, 0},
          T_CASE{1 << 16, 1 << 16, 0}, T_CASE{1 << 15, (1 << 15) + 1, 0}, T_CASE{1 << 20, 1, CV_64FC(512)}}) {
        SCOPED_TRACE(std::to_string(c.rows) + " " + std::to_string(c.cols) + " " + std::to_string(c.type));
        CIPVariable v;
        v.SetChildItem("rows", c.rows);
        v.SetChildItem("cols", c.cols);
        v.SetChildItem("type", c.type);
        cv::Mat image = MakeImage(3, 3, CV_8U);
        EXPECT_EQ(ConvertVarToMat(v, image), 0);
        EXPECT_TRUE(image.empty());
    }
}

TEST(ImageVariable, OnlyAMatrixHoldsAnImage)
{
    CIPVariable v;
    ConvertMatToVar(v, MakeImage(3, 3, CV_8U));
    EXPECT_EQ(ConvertMatToVar(v, cv::Mat()), 0);
    EXPECT_EQ(v.GetChildCount(), 0);
    ConvertMatToVar(v, MakeImage(3, 3, CV_8U));
    v.SetValue(5);
    cv::Mat image = MakeImage(3, 3, CV_8U);
    EXPECT_EQ(ConvertVarToMat(v, image), 0);
    EXPECT_TRUE(image.empty());
    v.SetName("picture");
    EXPECT_EQ(ConvertMatToVar(v, MakeImage(3, 3, CV_8U)), 1);
    EXPECT_EQ(v.IsTypeMat(), 1);
    EXPECT_STREQ(v.GetName(), "picture");
    const int sizes[] = {2, 2, 2};
    EXPECT_EQ(ConvertMatToVar(v, cv::Mat(3, sizes, CV_8U, cv::Scalar(0))), 0) << "more than rows and columns";
}
