#include "VexProcess.h"

#include "support/TempFolder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// The exit status of the next child that ends.
int WaitForChild()
{
	int nStatus = -1;
	EXPECT_GT(wait(&nStatus), 0);
	return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

bool bExitHandlerRan = false;
}    // namespace

TEST(CVexProcess, SpawnAnswersMinusOneAlwaysKept)
{
	const CTempFolder oFolder;
	const std::string sTarget = oFolder.Path("x");
	const char* apszArgs[] = { "sh", "-c", "printf '%s' \"$1\" >\"$0\"", sTarget.c_str(), "an argument", nullptr };
	EXPECT_EQ(CVexProcess::Spawn("sh", apszArgs), -1);
	EXPECT_EQ(WaitForChild(), 0);
	EXPECT_EQ(oFolder.ReadFile("x"), "an argument");
	EXPECT_EQ(CVexProcess::Spawn(nullptr, apszArgs), -1);

	// A failed one runs no exit handler of the parent.
	ASSERT_EQ(std::atexit([] { bExitHandlerRan = true; }), 0);
	EXPECT_EQ(CVexProcess::Spawn("/no/such/program", nullptr), -1);
	EXPECT_EQ(WaitForChild(), 255);
	EXPECT_FALSE(bExitHandlerRan);
}

TEST(CVexProcess, SpawnKeepsTheCallersSignalMask)
{
	const CTempFolder oFolder;
	const std::string sTarget = "of=" + oFolder.Path("status");
	const char* apszArgs[] = { "dd", "status=none", "if=/proc/self/status", sTarget.c_str(), nullptr };
	sigset_t oSignals, oBefore;
	sigemptyset(&oSignals);
	sigaddset(&oSignals, SIGUSR1);
	pthread_sigmask(SIG_SETMASK, &oSignals, &oBefore);
	CVexProcess::Spawn("dd", apszArgs);
	pthread_sigmask(SIG_SETMASK, &oBefore, &oSignals);
	EXPECT_EQ(WaitForChild(), 0);
	EXPECT_NE(oFolder.ReadFile("status").find("\nSigBlk:\t0000000000000200\n"), std::string::npos);
	EXPECT_TRUE(sigismember(&oSignals, SIGUSR1) && !sigismember(&oSignals, SIGTERM));
}

TEST(CVexProcess, ProgAndWorkDirEndInASeparatorAndTooLongOnesAreEmpty)
{
	EXPECT_EQ(
		CVexProcess::GetCurrentProgDir(), std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/");
	const CTempFolder oFolder;
	const auto WorkDirIn = [](const std::string& sDir)
	{
		std::filesystem::create_directories(sDir);
		std::filesystem::current_path(sDir);
		return CVexProcess::GetCurrentWorkDir();
	};
	const std::string sBase = std::filesystem::canonical(oFolder.Path()).string() + "/" + std::string(200, 'a') + "/";
	const std::string sLongest = sBase + std::string(349 - sBase.size(), 'b');
	EXPECT_EQ(WorkDirIn(sLongest), sLongest + "/");
	EXPECT_EQ(WorkDirIn(sLongest + "b"), "");
	EXPECT_EQ(WorkDirIn("/"), "/");
}
