// Internal look-ups that the host's entry points cannot reach: draw buckets
// for phases outside the host's drawing steps, and the data-ref pool behind
// VORNIsDataRefGood (slots not handed out yet, blocks added as it grows).

#include "LibraryFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORNDataAccessInternal.h"
#include "VORNDisplayInternal.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gCalls;

int RecordDraw(int phase, int isBefore, void* refcon)
{
    gCalls.push_back(*static_cast<std::string*>(refcon) + " " + std::to_string(phase) + "/" +
                     std::to_string(isBefore));
    return 1;
}

int ReadSeven(void*)
{
    return 7;
}

class LookupIndexTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gCalls.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        Record(a).errorCallback = RecordError;
    }

    int Draw(std::string& name, int phase, int before)
    {
        StDispatchCallback as(a);
        return VORNRegisterDrawCallback(RecordDraw, phase, before, &name);
    }

    VORNDataRef Publish(const std::string& name)
    {
        StDispatchCallback as(a);
        return VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, ReadSeven, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    }

    int a = -1;
};

TEST_F(LookupIndexTest, PhasesAndHalvesOutsideTheHostsStepsAreKeptApartToo)
{
    std::string p1{"p1"}, p2{"p2"}, p3{"p3"};
    EXPECT_EQ(Draw(p1, 500, 2), 1);
    EXPECT_EQ(Draw(p2, 500, 2), 1);
    EXPECT_EQ(Draw(p1, 500, 2), 0) << "a duplicate";
    EXPECT_EQ(Draw(p3, -3, 1), 1);
    EXPECT_EQ(VORNDispatchDrawingHook(500, 2, 0), 1);
    VORNDispatchDrawingHook(500, 1, 0);
    VORNDispatchDrawingHook(-3, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p2 500/2", "p1 500/2", "p3 -3/1"));
    gCalls.clear();
    StDispatchCallback as(a);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p2), 1);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p2), 0);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p1), 1);
    VORNDispatchDrawingHook(500, 2, 0);
    EXPECT_THAT(gCalls, IsEmpty());
    EXPECT_EQ(Draw(p1, 500, 2), 1) << "the bucket starts afresh";
}

TEST_F(LookupIndexTest, TheDataRefPoolGrowsByBlocksAndKnowsWhichSlotsAreHandedOut)
{
    auto slot = [](const DataRefBlock* block, int n) {
        return const_cast<VORNDataRef>(&block->records[n]);
    };
    const std::string prefix = "test/pool/" + std::to_string(VORNDataRefRecordCount()) + "/";
    std::vector<VORNDataRef> refs;
    // Fill the newest block exactly, then add one more.
    while (VORNNewestDataRefBlock() == nullptr ||
           VORNNewestDataRefBlock()->used < VORNNewestDataRefBlock()->capacity)
        refs.push_back(Publish(prefix + std::to_string(refs.size())));
    const DataRefBlock* full = VORNNewestDataRefBlock();
    const DataRefBlock* oldest = VORNOldestDataRefBlock();
    const int created = VORNDataRefRecordCount();
    refs.push_back(Publish(prefix + "next"));
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    ASSERT_NE(newest, full);
    EXPECT_EQ(full->next, newest);
    EXPECT_EQ(VORNOldestDataRefBlock(), oldest);
    EXPECT_EQ(newest->capacity, 32);
    EXPECT_EQ(newest->used, 1);
    EXPECT_EQ(refs.back(), slot(newest, 0));
    EXPECT_EQ(VORNDataRefRecordCount(), created + 1);

    // Slots not handed out yet are no data refs; every handed-out one is.
    EXPECT_EQ(VORNIsDataRefGood(slot(newest, 1)), 0);
    EXPECT_EQ(VORNIsDataRefGood(slot(newest, kDataRefBlockCapacity - 1)), 0);
    {
        StDispatchCallback as(a);
        VORNUnregisterDataAccessor(slot(newest, 1));
    }
    EXPECT_THAT(gErrors, ElementsAre("Dataref is illegal and cannot be unregistered."));
    for (int n = 0; VORNOldestDataRefBlock()->next->next == nullptr; ++n)
        refs.push_back(Publish(prefix + "more" + std::to_string(n)));
    for (VORNDataRef ref : refs) {
        EXPECT_EQ(VORNIsDataRefGood(ref), 1);
        EXPECT_EQ(VORNGetDatai(ref), 7);
    }
    const DataRefBlock* third = VORNOldestDataRefBlock()->next->next;
    EXPECT_EQ(VORNIsDataRefGood(slot(third, 0)), 1);
    auto inside = [](VORNDataRef ref, int bytes) {
        return reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + bytes);
    };
    EXPECT_EQ(VORNIsDataRefGood(inside(refs.back(), 8)), 0);
    EXPECT_EQ(VORNIsDataRefGood(inside(refs.back(), sizeof(VORNData_t) - 1)), 0);
}

}  // namespace
