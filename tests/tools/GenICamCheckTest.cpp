// The conformance kit against the network camera driver and the simulated camera.

#include "CheckRun.h"

#include "tests/drivers/genicam/FakeCamera.h"

#include <gtest/gtest.h>

using namespace alidade;

TEST(DriverCheck, GenICamPassesOnASimulatedCamera)
{
    if (!CFakeCamera::IsInstalled()) {
        GTEST_SKIP() << "the simulated camera is not installed";
    }
    const CFakeCamera camera;
    const T_CHECK_RUN run =
        RunCheck({ALIDADE_GENICAM_DRIVER, std::string("GenICam.DeviceId=") + CFakeCamera::kAddress,
                  "--deadline", "30"});
    EXPECT_EQ(run.status, 0) << run.output;
    // A camera has one master.
    EXPECT_EQ(ChecksWith(run, "skip"), Names{"two-objects"}) << run.output;
    EXPECT_NE(run.output.find("another program controls it"), run.output.npos) << run.output;
}
