#include "FrameOrder.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(FrameOrder, CountsMissingNumbersOverEveryKindOfWrap)
{
    const struct {
        std::uint64_t from, to, missed;
    } cases[] = {
        {1, 2, 0},     {1, 5, 3},     {65535, 1, 0}, // GigE Vision leaves out 0
        {65535, 0, 0}, {65534, 2, 2}, {65536, 65537, 0}, {0xFFFFFFFF, 0x100000002, 2}, {~0ull, 0, 0},
    };
    for (const auto& c : cases) {
        CFrameOrder order;
        EXPECT_TRUE(order.Check(1000, c.from).bAccepted);
        const CFrameOrder::T_VERDICT verdict = order.Check(2000, c.to);
        EXPECT_TRUE(verdict.bAccepted) << c.from << " to " << c.to;
        EXPECT_EQ(verdict.nMissed, c.missed) << c.from << " to " << c.to;
    }
}

TEST(FrameOrder, RefusesFramesThatTheCameraKeptOverAPause)
{
    CFrameOrder order;
    EXPECT_TRUE(order.Check(5000, 7).bAccepted);
    order.StartRun();
    EXPECT_FALSE(order.Check(3000, 1).bAccepted);
    EXPECT_FALSE(order.Check(5000, 2).bAccepted) << "the last frame once more";
    const CFrameOrder::T_VERDICT verdict = order.Check(6000, 3);
    EXPECT_TRUE(verdict.bAccepted);
    EXPECT_EQ(verdict.nMissed, 0u) << "numbers begin anew with a run";
}

TEST(FrameOrder, WithoutAClockNumbersDecide)
{
    CFrameOrder order;
    EXPECT_TRUE(order.Check(0, 7).bAccepted);
    EXPECT_FALSE(order.Check(0, 7).bAccepted);
    EXPECT_FALSE(order.Check(0, 6).bAccepted);
    EXPECT_TRUE(order.Check(0, 8).bAccepted);
    order.Reset();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(order.Check(0, 0).bAccepted) << "neither clock nor numbers: nothing can be said";
    }
}

TEST(FrameOrder, AClockThatWasSetBackCountsAfterALongRunInOrder)
{
    CFrameOrder order;
    EXPECT_TRUE(order.Check(1'000'000, 100).bAccepted);
    for (int i = 1; i <= CFrameOrder::kRefusedRun; ++i) {
        EXPECT_FALSE(order.Check(static_cast<std::uint64_t>(i), 100u + i).bAccepted);
    }
    const CFrameOrder::T_VERDICT verdict =
        order.Check(CFrameOrder::kRefusedRun + 1, 101 + CFrameOrder::kRefusedRun);
    EXPECT_TRUE(verdict.bAccepted);
    EXPECT_TRUE(verdict.bClockSetBack);
    EXPECT_FALSE(order.Check(CFrameOrder::kRefusedRun + 2, 102 + CFrameOrder::kRefusedRun).bClockSetBack);
}

TEST(FrameOrder, ADamagedFrameIsNotAMissingOne)
{
    CFrameOrder order;
    order.Check(1000, 10);
    EXPECT_EQ(order.NoteDamaged(11), 0u);
    EXPECT_EQ(order.NoteDamaged(14), 2u);
    EXPECT_EQ(order.NoteDamaged(9), 0u);
    EXPECT_EQ(order.Check(2000, 15).nMissed, 0u);
}

} // namespace
} // namespace alidade
