// Replays every seed of the API-sequence fuzzer through its interpreter, so
// that the hand-written re-entrancy programs run in every build of the suite.
// The interpreter traps on any disagreement with its model.

#include "ApiSequence.h"
#include "VORNDisplayInternal.h"
#include "VORNHostInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNProcessingInternal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

TEST(ApiSequenceReplayTest, EverySeedRunsCleanAgainstTheModel)
{
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(VORN_API_SEQUENCE_CORPUS))
        seeds.push_back(entry.path());
    std::sort(seeds.begin(), seeds.end());
    ASSERT_GE(seeds.size(), 8u);
    for (const std::filesystem::path& seed : seeds) {
        SCOPED_TRACE(seed.filename().string());
        std::ifstream in(seed, std::ios::binary);
        const std::vector<uint8_t> program(std::istreambuf_iterator<char>(in), {});
        ASSERT_FALSE(program.empty());
        const vornfuzz::SequenceStats first = vornfuzz::RunApiSequence(program.data(), program.size());
        EXPECT_GT(first.steps, 2);
        EXPECT_GT(first.callbacks, 0);  // the seeds are about callbacks re-entering the library
        // Same program, same run: nothing of the first run is left behind.
        const vornfuzz::SequenceStats second = vornfuzz::RunApiSequence(program.data(), program.size());
        EXPECT_EQ(second.steps, first.steps);
        EXPECT_EQ(second.callbacks, first.callbacks);
        EXPECT_TRUE(gAllPlugins.empty());
        EXPECT_EQ(VORNLiveWindowCount(), 0);
        EXPECT_EQ(VORNFirstFlightLoop(), nullptr);
        EXPECT_EQ(gHooks, nullptr);
    }
}

}  // namespace
