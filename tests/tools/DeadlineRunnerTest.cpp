// Operations with a deadline, as the conformance kit runs them.

#include "DeadlineRunner.h"
#include "CheckOutcome.h"

#include <future>
#include <gtest/gtest.h>

using namespace alidade;

TEST(DeadlineRunner, TellsReturnThrowAndStallApart)
{
    auto release = std::make_shared<std::promise<void>>();
    {
        CDeadlineRunner runner(200);
        int value = 0;
        CDeadlineRunner patient(60000);
        patient.Run("counting", [&] { ++value; });
        EXPECT_EQ(value, 1);
        try {
            patient.Run("reading", [] { throw std::runtime_error("no cable"); });
            ADD_FAILURE() << "the exception was lost";
        } catch (const CCheckFailed& failed) {
            EXPECT_STREQ(failed.what(), "reading threw an exception: no cable");
        }
        patient.Run("counting", [&] { ++value; });
        EXPECT_EQ(value, 2);

        EXPECT_THROW(runner.Run("waiting", [release] { release->get_future().wait(); }), CCheckStalled);
        EXPECT_TRUE(runner.IsStalled());
        EXPECT_THROW(runner.Run("more", [] {}), CCheckStalled);
    }
    release->set_value();
}
