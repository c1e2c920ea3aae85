#include "VexProcess.h"

#include "support/TempFolder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>

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

TEST(CVexProcess, ProgAndWorkDirEndInASeparatorAndTooLongOnesAreEmpty)
{
	EXPECT_EQ(
		CVexProcess::GetCurrentProgDir(), std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/");
	const CTempFolder oFolder;
	std::string sDir = std::filesystem::canonical(oFolder.Path()).string() + "/" + std::string(200, 'a') + "/";
	for (sDir.resize(349, 'b'); sDir.size() <= 350; sDir += 'b')
	{
		std::filesystem::create_directories(sDir);
		std::filesystem::current_path(sDir);
		EXPECT_EQ(CVexProcess::GetCurrentWorkDir(), sDir.size() == 349 ? sDir + "/" : "");
	}
	std::filesystem::current_path("/");
}
