#include "tests/config/ConfigHarness.h"

#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace alidade {
namespace {

class ProfileSave : public CProfileTest {
protected:
    /// Runs `body` in a process of its own; true when it gives true.
    static bool InChild(const std::function<bool()>& body)
    {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(body() ? 0 : 1);
        }
        int status = 0;
        return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
               WEXITSTATUS(status) == 0;
    }

    /// From here on no file of this process grows past `bytes`, as on a full disk.
    static void FillDisk(rlim_t bytes)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {bytes, bytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
};

TEST_F(ProfileSave, AFullDiskFailsTheSaveAndKeepsTheOldFileAndTheContent)
{
    const std::string old = "; mine\n[S]\nx=1\n";
    Put(old);
    ASSERT_EQ(m_profile.Load(), 1);
    m_profile.SetProfileValue(L"S", L"big", CString(10000, L'x').c_str());
    EXPECT_TRUE(InChild([&] {
        FillDisk(4096);
        return m_profile.Save() == 0 && m_log.Count("CProfile::Save") == 1 &&
               CString(Value(L"S", L"big")).size() == 10000;
    }));
    EXPECT_EQ(Get(), old);
    EXPECT_EQ(Files(), std::vector<std::string>{"settings.ini"});
}

TEST_F(ProfileSave, ADamagedFileThatCannotBeKeptAsideIsNotWrittenOver)
{
    const std::string old = std::string("[S]\nx=1\n").append(10000, 'b').append("\n");
    Put(old);
    ASSERT_EQ(m_profile.Load(), 1);
    EXPECT_TRUE(InChild([&] {
        FillDisk(4096);
        return m_profile.Save() == 0 && m_log.Count("cannot be copied aside") == 1;
    }));
    EXPECT_EQ(Get(), old);
    EXPECT_EQ(Files(), std::vector<std::string>{"settings.ini"});
}

TEST_F(ProfileSave, AFolderThatMayNotBeWrittenFailsTheSave)
{
    Put("[S]\nx=1\n");
    ASSERT_EQ(m_profile.Load(), 1);
    m_profile.SetProfileValue(L"S", L"x", L"2");
    ASSERT_EQ(::chmod(m_folder.Path().c_str(), 0555), 0);
    EXPECT_TRUE(InChild([&] {
        // The superuser may write anywhere.
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            return false;
        }
        return m_profile.Save() == 0 && m_log.Count("cannot be written") == 1;
    }));
    ASSERT_EQ(::chmod(m_folder.Path().c_str(), 0755), 0);
    EXPECT_EQ(Get(), "[S]\nx=1\n");
    EXPECT_EQ(m_profile.Save(), 1);
    EXPECT_EQ(Get(), "[S]\nx=2\n");
}

TEST_F(ProfileSave, AFileThatCouldNotBeReadIsNotLostToASave)
{
    Put("[S]\nx=1\n");
    ASSERT_EQ(::chmod((m_folder / "settings.ini").c_str(), 0), 0);
    ASSERT_EQ(::chmod(m_folder.Path().c_str(), 0777), 0);
    EXPECT_TRUE(InChild([&] {
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            return false;
        }
        return m_profile.Load() == 0 && m_profile.Save() == 0;
    }));
    ASSERT_EQ(::chmod((m_folder / "settings.ini").c_str(), 0644), 0);
    EXPECT_EQ(Get(), "[S]\nx=1\n");
}

TEST(SimpleLogOnAFullDisk, IsReportedOnceAndStopsNobody)
{
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no device that is always full";
    }
    CSimpleLog::Options options;
    options.path = L"/dev/full";
    ::testing::internal::CaptureStderr();
    {
        CSimpleLog log(options);
        for (int i = 0; i < 100; ++i) {
            log.WriteErrorLog(L"%s", CString(1000, L'x').c_str());
        }
    }
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 1) << shown;
    EXPECT_NE(shown.find("cannot be written"), std::string::npos);
}

} // namespace
} // namespace alidade
